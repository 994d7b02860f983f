#pragma once

#include <QProxyStyle>

/// The same look on every system: the toolkit's own style follows a dark palette everywhere, where that of Windows
/// keeps its light buttons below the light text. An empty box to tick has an edge that is seen on a dark window too.
/// Owned by the application; GUI thread.
class ThemedStyle : public QProxyStyle
{
    Q_OBJECT

public:
    ThemedStyle();

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget = nullptr) const override;
};
