#include "events/eventtypenames.h"

#include "base/coretext.h"
#include "base/safefile.h"
#include "data/eventtypelist.h"

#include <QDir>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <array>

namespace {

constexpr qint64 maximumFileSize = 1 << 20;
const QLatin1String colourKey("color;");

struct ColourPair
{
    QLatin1String normal;
    QLatin1String light;
};

const std::array<ColourPair, 14> palette = {{
    {QLatin1String("#048ACB"), QLatin1String("#039BE5")},
    {QLatin1String("#C62828"), QLatin1String("#E53935")},
    {QLatin1String("#2E7D32"), QLatin1String("#43A047")},
    {QLatin1String("#EF6C00"), QLatin1String("#FB8C00")},
    {QLatin1String("#6A1B9A"), QLatin1String("#8E24AA")},
    {QLatin1String("#00838F"), QLatin1String("#00ACC1")},
    {QLatin1String("#AD1457"), QLatin1String("#D81B60")},
    {QLatin1String("#558B2F"), QLatin1String("#7CB342")},
    {QLatin1String("#4527A0"), QLatin1String("#5E35B1")},
    {QLatin1String("#F9A825"), QLatin1String("#FDD835")},
    {QLatin1String("#283593"), QLatin1String("#3949AB")},
    {QLatin1String("#00695C"), QLatin1String("#00897B")},
    {QLatin1String("#4E342E"), QLatin1String("#6D4C41")},
    {QLatin1String("#B06556"), QLatin1String("#C8715F")},
}};

QString paletteColour(int index)
{
    return palette[static_cast<size_t>(index) % palette.size()].normal;
}

bool isColour(const QString &text)
{
    return text.size() == 7 && text.at(0) == QLatin1Char('#') && std::all_of(text.begin() + 1, text.end(), [](QChar c) {
               return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
                      (c.toLower() >= QLatin1Char('a') && c.toLower() <= QLatin1Char('f'));
           });
}

} // namespace

eventTypeNames::eventTypeNames(const QString &filePath, QObject *parent) : QObject(parent), m_filePath(filePath) {}

bool eventTypeNames::load(QString *error)
{
    QByteArray bytes;
    if (m_filePath.isEmpty() || !QFileInfo::exists(m_filePath))
        return true;
    m_unreadable = !readWholeFile(m_filePath, bytes, maximumFileSize, error);
    if (m_unreadable)
        return false;

    m_entries.clear();
    QTextStream stream(bytes);
    stream.setCodec("UTF-8");
    eventType type;
    QString line;
    bool afterEnd = false; // a colour belongs to the type that has just ended
    while (stream.readLineInto(&line)) {
        if (line.startsWith(colourKey)) {
            const QString colour = line.mid(colourKey.size()).trimmed();
            if (afterEnd && isColour(colour))
                m_entries.last().colour = colour;
            continue;
        }
        afterEnd = type.takeLine(line);
        if (afterEnd) {
            m_entries.append({type, nextColour()});
            type = eventType();
        }
    }
    emit dictionaryUpdated();
    return true;
}

QStringList eventTypeNames::names() const
{
    QStringList list = eventtype::names();
    for (const UserType &entry : m_entries)
        list.append(entry.type.name);
    return list;
}

QVector<eventType> eventTypeNames::types() const
{
    QVector<eventType> list;
    for (const QString &name : eventtype::names())
        list.append(eventType::builtIn(name));
    for (const UserType &entry : m_entries)
        list.append(entry.type);
    return list;
}

QString eventTypeNames::defaultName() const
{
    return QStringLiteral("event L%1").arg(userTypeCount() + 1);
}

QString eventTypeNames::colour(const QString &name) const
{
    const int code = eventtype::code(name);
    if (code >= 0)
        return paletteColour(code);
    const auto entry =
        std::find_if(m_entries.begin(), m_entries.end(), [&](const UserType &e) { return e.type.name == name; });
    return entry != m_entries.end() ? entry->colour : paletteColour(0);
}

QString eventTypeNames::lightColour(const QString &name) const
{
    return shownColour(colour(name), true);
}

QString eventTypeNames::shownColour(const QString &colour, bool onDark)
{
    const auto pair = std::find_if(palette.begin(), palette.end(), [&](const ColourPair &p) {
        return colour.compare(QLatin1String(p.normal), Qt::CaseInsensitive) == 0;
    });
    return onDark && pair != palette.end() ? QString(pair->light) : colour;
}

QStringList eventTypeNames::paletteColours()
{
    QStringList list;
    for (const ColourPair &pair : palette)
        list.append(pair.normal);
    return list;
}

bool eventTypeNames::setUserTypes(const QVector<UserType> &types, QString *error)
{
    m_entries = types;
    const bool saved = save(error);
    emit dictionaryUpdated();
    return saved;
}

bool eventTypeNames::add(const eventType &type, const QString &colour, QString *error)
{
    m_entries.append({type, isColour(colour) ? colour : nextColour()});
    const bool saved = save(error);
    emit dictionaryUpdated();
    return saved;
}

bool eventTypeNames::remove(int userIndex, QString *error)
{
    if (userIndex < 0 || userIndex >= m_entries.size())
        return true;
    m_entries.removeAt(userIndex);
    const bool saved = save(error);
    emit dictionaryUpdated();
    return saved;
}

QString eventTypeNames::nextColour() const
{
    return paletteColour(eventtype::builtInCount + m_entries.size());
}

bool eventTypeNames::save(QString *error) const
{
    if (m_filePath.isEmpty())
        return true;
    if (m_unreadable) {
        if (error)
            *error = CoreText::tr("%1 could not be read and is left as it is").arg(m_filePath);
        return false;
    }
    QByteArray bytes;
    QTextStream stream(&bytes);
    stream.setCodec("UTF-8");
    for (const UserType &entry : m_entries) {
        entry.type.toText(stream);
        stream << colourKey << entry.colour << '\n';
    }
    stream.flush();
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    return writeFileSafely(m_filePath, bytes, error);
}

#include "moc_eventtypenames.cpp"
