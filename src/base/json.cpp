#include "base/json.h"

#include <QHash>
#include <QString>
#include <QVector>

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// The text of a string literal as the toolkit reads it: an unknown escape stands for the character itself.
QString unescaped(const QByteArray &literal)
{
    if (!literal.contains('\\'))
        return QString::fromUtf8(literal);
    const QByteArray letters("bfnrt");
    QString text;
    int from = 0;
    for (int at = literal.indexOf('\\'); at >= 0 && at + 1 < literal.size(); at = literal.indexOf('\\', from)) {
        text += QString::fromUtf8(literal.constData() + from, at - from);
        const char escape = literal.at(at + 1);
        from = at + 2;
        const int letter = letters.indexOf(escape);
        if (escape == 'u') {
            text += QChar(literal.mid(from, 4).toUShort(nullptr, 16));
            from += 4;
        } else {
            text += letter >= 0 ? QLatin1Char("\b\f\n\r\t"[letter]) : QLatin1Char(escape);
        }
    }
    return text + QString::fromUtf8(literal.mid(from));
}

/// One pass over the tokens that matters only for documents that the parser takes, or takes in part; it is therefore
/// lenient about everything but strings, colons and brackets.
class RepeatedKeyFinder
{
public:
    explicit RepeatedKeyFinder(const QByteArray &bytes) : m_text(bytes.constData()), m_size(bytes.size()) {}

    /// Position of a key that comes again in its object while one of its values is an array or object; -1 for none.
    int find()
    {
        int at = 0;
        while (at < m_size) {
            const char c = m_text[at];
            if (c == '"') {
                const int end = endOfString(at);
                if (isRepeated(at, end))
                    return at;
                at = end;
            } else if (c == '{' || c == '[') {
                m_objects.append(QHash<QString, bool>());
            } else if ((c == '}' || c == ']') && !m_objects.isEmpty()) {
                m_objects.removeLast();
            }
            ++at;
        }
        return -1;
    }

private:
    int endOfString(int start) const
    {
        int at = start + 1;
        while (at < m_size && m_text[at] != '"')
            at += m_text[at] == '\\' ? 2 : 1;
        return qMin(at, m_size);
    }

    int nextToken(int at) const
    {
        while (at < m_size && isBlank(m_text[at]))
            ++at;
        return at;
    }

    bool isRepeated(int start, int end)
    {
        const int colon = nextToken(end + 1);
        if (m_objects.isEmpty() || colon >= m_size || m_text[colon] != ':')
            return false;
        const int value = nextToken(colon + 1);
        const bool holdsMore = value < m_size && (m_text[value] == '{' || m_text[value] == '[');
        QHash<QString, bool> &keys = m_objects.last();
        const QString key = unescaped(QByteArray(m_text + start + 1, end - start - 1));
        const auto earlier = keys.constFind(key);
        const bool repeated = earlier != keys.constEnd() && (*earlier || holdsMore);
        keys.insert(key, holdsMore);
        return repeated;
    }

    const char *m_text;
    int m_size;
    QVector<QHash<QString, bool>> m_objects; // open ones: key -> its value is an array or object
};

} // namespace

QJsonDocument parseJson(const QByteArray &bytes, QJsonParseError *error)
{
    const int repeated = RepeatedKeyFinder(bytes).find();
    if (repeated < 0)
        return QJsonDocument::fromJson(bytes, error);
    if (error) {
        error->error = QJsonParseError::IllegalValue;
        error->offset = repeated;
    }
    return {};
}
