#pragma once

#include "data/eventtypelist.h"
#include "display/look/displaycontext.h"
#include "display/look/eventlook.h"
#include "display/look/theme.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"

/// The colour of an event type: the theme's for a built-in one, the dictionary's for one of the user.
inline QColor typeColour(const Theme &theme, const eventTypeNames &dictionary, int number, const QString &name)
{
    if (number >= 0 && number < eventtype::builtInCount)
        return theme.eventColour(number);
    return QColor(theme.isDark() ? dictionary.lightColour(name) : dictionary.colour(name));
}

/// The numbers of the event types that the filter shows; runs are none of them.
inline QVector<int> shownTypes(const QStringList &names, const eventTypeFilter &filter)
{
    QVector<int> shown;
    for (int number = 0; number < names.size(); ++number)
        if (number != eventtype::RfOn && filter.isEnabled(names.at(number)))
            shown.append(number);
    return shown;
}

/// How plots draw the events of a name: as the filter and the dictionary have it now.
inline EventLooks eventLooks(const DisplayContext &context)
{
    return [filter = &context.filter, dictionary = &context.dictionary, theme = &context.theme](const QString &name) {
        const int code = eventtype::code(name);
        return EventLook{code >= 0 ? QColor() : typeColour(*theme, *dictionary, code, name), filter->isEnabled(name)};
    };
}
