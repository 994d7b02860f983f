#pragma once

#include <QColor>

#include <functional>

/// How the events of one name are drawn in a plot.
struct EventLook
{
    QColor colour;     // invalid: the theme's
    bool shown = true; // by the event filter
};

using EventLooks = std::function<EventLook(const QString &name)>;
