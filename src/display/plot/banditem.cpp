#include "display/plot/banditem.h"

#include <QFontMetricsF>
#include <QPainter>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {
constexpr double edgeSpacing = 4;  // narrower bands have no edges of their own
constexpr int columnsPerPixel = 4; // of a screen that is scaled

/// The columns that bands of one brush cover, counted up where one begins and down behind its end.
struct Layer
{
    QBrush brush;
    std::vector<int> steps;
};
} // namespace

BandItem::BandItem()
{
    setZ(2);
    setItemAttribute(QwtPlotItem::Legend, false);
    setItemAttribute(QwtPlotItem::AutoScale, false);
}

/// Empty when it is out of view.
QRectF BandItem::areaOf(const Band &band, const QwtScaleMap &xMap, const QRectF &canvas)
{
    const double left = std::max(xMap.transform(double(band.range.from)), canvas.left() - 2);
    const double right = std::min(xMap.transform(double(band.range.to)), canvas.right() + 2);
    if (right < canvas.left() - 1 || left > canvas.right() + 1)
        return {};
    return {left, canvas.top(), std::max(1.0, right - left), canvas.height()};
}

/// Bands of many sensors lie over each other: each brush colours a column once, or they would add up to a wall.
void BandItem::fill(QPainter *painter, const QwtScaleMap &xMap, const QRectF &canvas) const
{
    const double first = canvas.left() - 2;
    const auto columns = std::size_t(std::max(0.0, canvas.width() + 5) * columnsPerPixel) + 1;
    const auto columnOf = [&](double x) {
        return std::min(columns - 1, std::size_t(std::max(0.0, std::round((x - first) * columnsPerPixel))));
    };
    std::vector<Layer> layers;
    for (const Band &band : m_bands) {
        const QRectF area = areaOf(band, xMap, canvas);
        if (area.isEmpty())
            continue;
        auto layer = std::find_if(layers.begin(), layers.end(), [&](const Layer &l) { return l.brush == band.brush; });
        if (layer == layers.end())
            layer = layers.insert(layer, {band.brush, std::vector<int>(columns, 0)});
        ++layer->steps[columnOf(area.left())];
        --layer->steps[columnOf(area.right())];
    }
    for (const Layer &layer : layers) {
        int depth = 0;
        std::size_t begin = 0;
        for (std::size_t column = 0; column < columns; ++column) {
            const int before = depth;
            depth += layer.steps[column];
            if (before == 0 && depth > 0)
                begin = column;
            else if (before > 0 && depth == 0)
                painter->fillRect(QRectF(first + double(begin) / columnsPerPixel, canvas.top(),
                                         double(column - begin) / columnsPerPixel, canvas.height()),
                                  layer.brush);
        }
    }
}

void BandItem::draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &, const QRectF &canvas) const
{
    fill(painter, xMap, canvas);
    const QFontMetricsF metrics(painter->font());
    for (const Band &band : m_bands) {
        const QRectF area = areaOf(band, xMap, canvas);
        if (area.isEmpty())
            continue;
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
