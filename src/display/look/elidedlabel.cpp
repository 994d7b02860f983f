#include "display/look/elidedlabel.h"

#include <QHelpEvent>
#include <QStyleOption>
#include <QStylePainter>
#include <QToolTip>

ElidedLabel::ElidedLabel(QWidget *parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

void ElidedLabel::setElideMode(Qt::TextElideMode mode)
{
    m_mode = mode;
    update();
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * 4, QLabel::minimumSizeHint().height()};
}

bool ElidedLabel::isCut() const
{
    return fontMetrics().horizontalAdvance(text()) > contentsRect().width();
}

void ElidedLabel::paintEvent(QPaintEvent *event)
{
    if (!isCut()) {
        QLabel::paintEvent(event);
        return;
    }
    QStylePainter painter(this);
    QStyleOption option;
    option.initFrom(this);
    painter.drawPrimitive(QStyle::PE_Widget, option);
    const QString cut = fontMetrics().elidedText(text(), m_mode, contentsRect().width());
    painter.drawItemText(contentsRect(), static_cast<int>(alignment() | Qt::TextSingleLine), option.palette,
                         isEnabled(), cut, foregroundRole());
}

bool ElidedLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && isCut()) {
        const QString tip = toolTip().isEmpty() ? text() : text() + QLatin1Char('\n') + toolTip();
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), tip.toHtmlEscaped(), this);
        return true;
    }
    return QLabel::event(event);
}
