#pragma once

#include <QTranslator>

/// A language that nobody speaks, 40 % longer than the source: what is shown without its mark was never translated, and
/// what does not fit shows where other languages would not either.
class PseudoTranslator final : public QTranslator
{
public:
    using QTranslator::QTranslator;

    static constexpr QChar mark = QChar(0x00a4); // "¤"

    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *sourceText, const char *, int) const override
    {
        const QString source = QString::fromUtf8(sourceText);
        if (source.trimmed().isEmpty())
            return source;
        static const QString filling = QStringLiteral(" und noch einige andere lange Worte, damit es auch in jeder "
                                                      "weiteren Sprache seinen Platz findet");
        return mark + source + filling.left(qMax(1, source.size() * 2 / 5 - 1));
    }
};
