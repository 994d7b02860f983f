#pragma once

#include "data/eventtypelist.h"
#include "display/theme.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"

/// The colour of an event type: the theme's for a built-in one, the dictionary's for one of the user.
inline QColor typeColour(const Theme &theme, const eventTypeNames &dictionary, int number, const QString &name)
{
    if (number >= 0 && number < eventtype::builtInCount)
        return theme.eventColour(number);
    return QColor(theme.isDark() ? dictionary.lightColour(name) : dictionary.colour(name));
}

/// The types of the user that the filter shows, in the order in which an event is compared with them.
inline QVector<eventType> enabledUserTypes(const eventTypeFilter &filter)
{
    QVector<eventType> types;
    for (const eventType &type : filter.enabledTypes()) {
        if (type.direction != eventType::None)
            types.append(type);
    }
    return types;
}
