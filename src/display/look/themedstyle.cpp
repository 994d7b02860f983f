#include "display/look/themedstyle.h"

#include "display/look/colours.h"

#include <QPainter>
#include <QStyleOption>

namespace {

/// Between the window and its text, nearer to the window for what cannot be used.
QColor edgeOf(const QStyleOption &option)
{
    return mixed(option.palette.color(QPalette::Window), option.palette.color(QPalette::WindowText),
                 option.state & QStyle::State_Enabled ? 0.6 : 0.4);
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
