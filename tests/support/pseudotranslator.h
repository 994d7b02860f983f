#pragma once

#include <QRegularExpression>
#include <QTranslator>

/// A language that nobody speaks, 40 % longer than the source: what is shown outside of its marks was never translated,
/// and what does not fit shows where other languages would not either.
class PseudoTranslator final : public QTranslator
{
public:
    using QTranslator::QTranslator;

    static constexpr QChar mark = QChar(0x00a4); // "¤"
    static constexpr QChar end = QChar(0x00a6);  // "¦"

    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *sourceText, const char *, int) const override
    {
        const QString source = QString::fromUtf8(sourceText);
        if (source.trimmed().isEmpty())
            return source;
        static const QString filling = QStringLiteral(" und noch einige andere lange Worte, damit es auch in jeder "
                                                      "weiteren Sprache seinen Platz findet");
        return mark + source + filling.left(qMax(1, source.size() * 2 / 5 - 1)) + end;
    }

    /// What of a text did not come from here. A text that was shortened has lost its end.
    static QString untranslated(QString text)
    {
        static const QRegularExpression innermost(QStringLiteral("¤[^¤¦]*¦"));
        static const QRegularExpression shortened(QStringLiteral("¤.*$"),
                                                  QRegularExpression::DotMatchesEverythingOption);
        while (text.contains(innermost))
            text.remove(innermost);
        return text.remove(shortened);
    }
};
