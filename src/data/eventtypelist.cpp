#include "data/eventtypelist.h"

#include "data/eventrecord.h"

namespace eventtype {

const QStringList &names()
{
    static const QStringList list{
        QStringLiteral("E11"),  QStringLiteral("E12"),        QStringLiteral("E13"),  QStringLiteral("E21"),
        QStringLiteral("E22"),  QStringLiteral("E23"),        QStringLiteral("E31"),  QStringLiteral("E32"),
        QStringLiteral("E33"),  QStringLiteral("NOTANEVENT"), QStringLiteral("E_PE"), QStringLiteral("SNAP"),
        QStringLiteral("E_ON"),
    };
    return list;
}

QString name(int code)
{
    return names().value(code);
}

QString nameOf(const EventRecord &event)
{
    if (event.named && !event.name.isEmpty())
        return event.name;
    const QString builtIn = name(event.effectiveCode());
    return builtIn.isEmpty() ? QStringLiteral("unknown") : builtIn;
}

int code(const QString &name)
{
    return names().indexOf(name);
}

QString className(int firstDigit, int secondDigit)
{
    return QStringLiteral("E%1%2").arg(firstDigit).arg(secondDigit);
}

int countIndex(int code)
{
    if (code >= E11 && code <= E33)
        return code;
    return code == PulseEvent ? 9 : -1;
}

const QString &notAnEventSuffix()
{
    static const QString text = QStringLiteral("_NOTANEVENT");
    return text;
}

} // namespace eventtype
