#include "display/look/themedstyle.h"

#include <QPainter>
#include <QStyleOption>

namespace {

/// Between the window and its text, nearer to the window for what cannot be used.
QColor edgeOf(const QStyleOption &option)
{
    const QColor window = option.palette.color(QPalette::Window);
    const QColor text = option.palette.color(QPalette::WindowText);
    const double share = option.state & QStyle::State_Enabled ? 0.6 : 0.4;
    const auto part = [share](double from, double to) { return from + (to - from) * share; };
    return QColor::fromRgbF(part(window.redF(), text.redF()), part(window.greenF(), text.greenF()),
                            part(window.blueF(), text.blueF()));
}

bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

} // namespace

ThemedStyle::ThemedStyle() : QProxyStyle(QStringLiteral("fusion")) {}

void ThemedStyle::drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                                const QWidget *widget) const
{
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    const bool isBox = element == PE_IndicatorCheckBox;
    const bool showsFocus = (option->state & State_HasFocus) && (option->state & State_KeyboardFocusChange);
    if ((!isBox && element != PE_IndicatorRadioButton) || showsFocus || !isDark(option->palette))
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(edgeOf(*option));
    painter->setBrush(Qt::NoBrush);
    const QRectF edge = QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5);
    if (isBox)
        painter->drawRect(edge);
    else
        painter->drawEllipse(edge);
    painter->restore();
}
