#include "events/swatch.h"

#include "base/inks.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>

QIcon swatchIcon(const QWidget &widget, const QString &colour)
{
    const qreal scale = widget.devicePixelRatioF();
    const int side = widget.fontMetrics().ascent();
    QPixmap pixmap(QSize(side, side) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor edge = widget.palette().color(QPalette::WindowText);
    edge.setAlphaF(0.4);
    painter.setPen(QPen(edge, 1));
    painter.setBrush(QColor(colour));
    painter.drawRoundedRect(QRectF(0.5, 0.5, side - 1.0, side - 1.0), 2, 2);
    return QIcon(pixmap);
}

bool isOnDark(const QWidget &widget)
{
    return inks::isDark(widget.palette());
}
