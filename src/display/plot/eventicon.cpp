#include "display/plot/eventicon.h"

#include "data/eventtypelist.h"
#include "display/look/theme.h"
#include "display/plot/markeritem.h"
#include "events/eventtypenames.h"
#include "events/swatch.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>

QIcon eventIcon(const QString &name, const Theme &theme, const eventTypeNames &dictionary, const QWidget &widget)
{
    const int code = eventtype::code(name);
    if (code < 0)
        return swatchIcon(widget, theme.isDark() ? dictionary.lightColour(name) : dictionary.colour(name));
    const qreal scale = widget.devicePixelRatioF();
    const int side = widget.fontMetrics().ascent();
    QPixmap pixmap(QSize(side, side) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.eventColour(code));
    drawMarker(&painter, Theme::eventShape(code), {side / 2.0, side / 2.0}, side * 0.85);
    return QIcon(pixmap);
}
