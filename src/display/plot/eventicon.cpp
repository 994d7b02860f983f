#include "display/plot/eventicon.h"

#include "data/eventtypelist.h"
#include "display/look/theme.h"
#include "display/plot/markeritem.h"
#include "events/eventtypenames.h"
#include "events/swatch.h"

#include <QPainter>

QIcon eventIcon(const QString &name, const Theme &theme, const eventTypeNames &dictionary, const QWidget &widget)
{
    const int code = eventtype::code(name);
    if (code < 0)
        return swatchIcon(widget, theme.isDark() ? dictionary.lightColour(name) : dictionary.colour(name));
    return textHighIcon(widget, [&](QPainter &painter, int side) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme.eventColour(code));
        drawMarker(&painter, Theme::eventShape(code), {side / 2.0, side / 2.0}, side * 0.85);
    });
}
