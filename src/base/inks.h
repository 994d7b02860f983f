#pragma once

#include <QColor>
#include <QPalette>

/// The few inks with a meaning, chosen to be read on a palette's surfaces: for windows below the theme, which takes its
/// own from here. Always shown together with a word or an icon.
namespace inks {

inline bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

inline QColor good(bool dark)
{
    return dark ? QColor(0x6fce7f) : QColor(0x1b7a33);
}
inline QColor warning(bool dark)
{
    return dark ? QColor(0xffc14d) : QColor(0x925500);
}
inline QColor bad(bool dark)
{
    return dark ? QColor(0xff8a80) : QColor(0xb3261e);
}
inline QColor accent(bool dark)
{
    return dark ? QColor(0x7ab2ff) : QColor(0x1f55b5);
}

inline QColor good(const QPalette &palette)
{
    return good(isDark(palette));
}
inline QColor warning(const QPalette &palette)
{
    return warning(isDark(palette));
}
inline QColor bad(const QPalette &palette)
{
    return bad(isDark(palette));
}
inline QColor accent(const QPalette &palette)
{
    return accent(isDark(palette));
}

} // namespace inks
