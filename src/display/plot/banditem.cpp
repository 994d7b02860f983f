#include "display/plot/banditem.h"

#include <QFontMetricsF>
#include <QPainter>
#include <qwt_scale_map.h>

#include <algorithm>

namespace {
constexpr double edgeSpacing = 4; // narrower bands have no edges of their own
}

BandItem::BandItem()
{
    setZ(2);
    setItemAttribute(QwtPlotItem::Legend, false);
    setItemAttribute(QwtPlotItem::AutoScale, false);
}

void BandItem::draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &, const QRectF &canvas) const
{
    const QFontMetricsF metrics(painter->font());
    double drawnTo = canvas.left() - 1; // bands thinner than a pixel are drawn once a pixel
    for (const Band &band : m_bands) {
        const double left = std::max(xMap.transform(double(band.range.from)), canvas.left() - 2);
        const double right = std::min(xMap.transform(double(band.range.to)), canvas.right() + 2);
        if (right < canvas.left() - 1 || left > canvas.right() + 1)
            continue;
        if (right - left < 1 && band.row == 0) {
            if (right <= drawnTo)
                continue;
            drawnTo = right + 1;
        }
        const QRectF area(left, canvas.top(), std::max(1.0, right - left), canvas.height());
        painter->fillRect(area, band.brush);
        if (band.edge.style() != Qt::NoPen && area.width() >= edgeSpacing) {
            painter->setPen(band.edge);
            painter->drawLine(area.topLeft(), area.bottomLeft());
            painter->drawLine(area.topRight(), area.bottomRight());
        }
        const QRectF seen = area & canvas;
        const double square = band.key.isValid() ? metrics.height() * 0.7 : 0;
        if (band.label.isEmpty() || metrics.horizontalAdvance(band.label) + square + 12 > seen.width())
            continue;
        const double top = canvas.top() + m_topMargin + band.row * metrics.height();
        if (band.key.isValid())
            painter->fillRect(QRectF(seen.left() + 4, top + metrics.height() * 0.25, square * 0.75, square * 0.75),
                              band.key);
        painter->setPen(band.ink);
        painter->drawText(QRectF(seen.left() + 4 + square, top, seen.width() - 8 - square, metrics.height()),
                          Qt::AlignLeft | Qt::AlignVCenter, band.label);
    }
}
