#pragma once

#include <QPalette>

/// `share` of the way from one colour to another.
inline QColor mixed(const QColor &from, const QColor &to, double share)
{
    const auto part = [share](double x, double y) { return x + (y - x) * share; };
    return QColor::fromRgbF(part(from.redF(), to.redF()), part(from.greenF(), to.greenF()),
                            part(from.blueF(), to.blueF()));
}

inline bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}
