#pragma once

#include <QFontMetrics>
#include <QGuiApplication>
#include <QScreen>

/// A screen on which every line counts, at its scale and with this font.
inline bool isLowScreen(const QFontMetrics &font)
{
    constexpr int fewLines = 30;
    return QGuiApplication::primaryScreen()->availableSize().height() < font.lineSpacing() * fewLines;
}
