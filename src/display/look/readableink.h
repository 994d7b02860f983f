#pragma once

#include "display/look/theme.h"

/// The colour nearest to `colour` in which words are well read on the window: curves may be fainter than letters.
inline QColor readableInk(const Theme &theme, const QColor &colour)
{
    constexpr double readable = 4.5; // contrast
    QColor ink = colour;
    for (int step = 1; step < 10 && Theme::contrast(ink, theme.window()) < readable; ++step) {
        const auto part = [step](int from, int to) { return from + (to - from) * step / 10; };
        const QColor text = theme.text();
        ink = QColor(part(colour.red(), text.red()), part(colour.green(), text.green()),
                     part(colour.blue(), text.blue()));
    }
    return ink;
}
