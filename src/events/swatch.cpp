#include "events/swatch.h"

#include "base/inks.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>

QIcon textHighIcon(const QWidget &widget, const std::function<void(QPainter &painter, int side)> &paint)
{
    const qreal scale = widget.devicePixelRatioF();
    const int side = widget.fontMetrics().ascent();
    QPixmap pixmap(QSize(side, side) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter, side);
    return QIcon(pixmap);
}

QIcon swatchIcon(const QWidget &widget, const QString &colour)
{
    QColor edge = widget.palette().color(QPalette::WindowText);
    edge.setAlphaF(0.4);
    return textHighIcon(widget, [&](QPainter &painter, int side) {
        painter.setPen(QPen(edge, 1));
        painter.setBrush(QColor(colour));
        painter.drawRoundedRect(QRectF(0.5, 0.5, side - 1.0, side - 1.0), 2, 2);
    });
}

bool isOnDark(const QWidget &widget)
{
    return inks::isDark(widget.palette());
}
