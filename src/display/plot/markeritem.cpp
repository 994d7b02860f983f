#include "display/plot/markeritem.h"

#include <QHash>
#include <QMap>
#include <QPainter>
#include <QtMath>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr double closest = 3;    // pixels between two markers of one kind
constexpr double crowded = 1.5;  // lanes full of markers that cannot be told apart
constexpr double crowdWidth = 2; // pixels of a bar

QPolygonF regular(const QPointF &centre, int corners, double radius, double turn, double inner = 1.0)
{
    QPolygonF polygon;
    const int points = inner < 1.0 ? corners * 2 : corners;
    for (int i = 0; i < points; ++i) {
        const double angle = turn + 2 * M_PI * i / points;
        const double r = i % 2 && inner < 1.0 ? radius * inner : radius;
        polygon.append(centre + QPointF(r * std::sin(angle), -r * std::cos(angle)));
    }
    return polygon;
}

} // namespace

void drawMarker(QPainter *painter, MarkerShape shape, const QPointF &centre, double size)
{
    const double r = size / 2;
    switch (shape) {
    case MarkerShape::TriangleDown:
        painter->drawPolygon(regular(centre - QPointF(0, r * 0.15), 3, r * 1.15, M_PI));
        break;
    case MarkerShape::Diamond:
        painter->drawPolygon(regular(centre, 4, r * 1.1, 0));
        break;
    case MarkerShape::Square:
        painter->drawRect(QRectF(centre.x() - r * 0.82, centre.y() - r * 0.82, r * 1.64, r * 1.64));
        break;
    case MarkerShape::Circle:
        painter->drawEllipse(centre, r * 0.9, r * 0.9);
        break;
    case MarkerShape::Bar:
        painter->drawRect(QRectF(centre.x() - r, centre.y() - r * 0.4, size, r * 0.8));
        break;
    case MarkerShape::Star:
        painter->drawPolygon(regular(centre, 5, r * 1.2, 0, 0.45));
        break;
    case MarkerShape::Pentagon:
        painter->drawPolygon(regular(centre, 5, r * 1.05, 0));
        break;
    case MarkerShape::Cross:
        painter->drawPolygon(regular(centre, 4, r * 1.2, M_PI / 4, 0.3));
        break;
    }
}

MarkerItem::MarkerItem()
{
    setZ(30);
    setItemAttribute(QwtPlotItem::Legend, false);
    setItemAttribute(QwtPlotItem::AutoScale, false);
}

void MarkerItem::draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &, const QRectF &canvas) const
{
    painter->save();
    if (m_markers.size() * m_size > canvas.width() * crowded)
        drawCrowd(painter, xMap, canvas);
    else
        drawShapes(painter, xMap, canvas);
    painter->restore();
}

void MarkerItem::drawShapes(QPainter *painter, const QwtScaleMap &xMap, const QRectF &canvas) const
{
    painter->setRenderHint(QPainter::Antialiasing, true);
    const double y = canvas.top() + laneHeight() / 2;
    QHash<int, double> last;
    for (const Marker &marker : m_markers) {
        const double x = xMap.transform(double(marker.time));
        const int kind = marker.kind * 1024 + marker.sensor;
        const auto before = last.find(kind);
        if (before != last.end() && x - *before < closest)
            continue;
        last.insert(kind, x);
        painter->setPen(m_outline);
        painter->setBrush(marker.colour);
        drawMarker(painter, marker.shape, {x, y}, m_size);
    }
}

void MarkerItem::drawCrowd(QPainter *painter, const QwtScaleMap &xMap, const QRectF &canvas) const
{
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setPen(Qt::NoPen);
    const double height = laneHeight() - 4;
    int first = 0;
    while (first < m_markers.size()) {
        // One bar for each two pixels, split by the classes that occur there, the most severe on top.
        const double x = std::floor(xMap.transform(double(m_markers[first].time)) / crowdWidth) * crowdWidth;
        const auto end = quint64(std::max(0.0, xMap.invTransform(x + crowdWidth)));
        QMap<int, QColor> kinds;
        int next = first;
        for (; next < m_markers.size() && (next == first || m_markers[next].time < end); ++next)
            kinds.insert(-m_markers[next].severity, m_markers[next].colour);
        double top = canvas.top() + 2;
        for (const QColor &colour : qAsConst(kinds)) {
            painter->fillRect(QRectF(x, top, crowdWidth, height / kinds.size()), colour);
            top += height / kinds.size();
        }
        first = next;
    }
}

const MarkerItem::Marker *MarkerItem::at(const QPointF &point, const QwtScaleMap &xMap, const QRectF &canvas) const
{
    if (point.y() > canvas.top() + laneHeight() + 2)
        return nullptr;
    const Marker *best = nullptr;
    double distance = m_size * 0.8;
    for (const Marker &marker : m_markers) {
        const double away = std::abs(xMap.transform(double(marker.time)) - point.x());
        if (away <= distance) {
            distance = away;
            best = &marker;
        }
    }
    return best;
}
