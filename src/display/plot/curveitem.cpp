#include "display/plot/curveitem.h"

#include <QPainter>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr double samplesPerPixelOfLine = 0.5; // more are drawn as bars
constexpr double dotSpacing = 12;             // pixels between samples from which each gets a dot
constexpr double dashSpacing = 4;             // pixels between samples from which a line shows its dashes

/// Cuts the segment p..q to ymin <= y <= ymax; false when nothing is left.
bool clipped(QPointF &p, QPointF &q, double ymin, double ymax)
{
    const auto cut = [](QPointF &a, const QPointF &b, double y) {
        a = {a.x() + (b.x() - a.x()) * (y - a.y()) / (b.y() - a.y()), y};
    };
    if ((p.y() < ymin && q.y() < ymin) || (p.y() > ymax && q.y() > ymax))
        return false;
    for (auto [a, b] : {std::make_pair(&p, &q), std::make_pair(&q, &p)}) {
        if (a->y() < ymin)
            cut(*a, *b, ymin);
        else if (a->y() > ymax)
            cut(*a, *b, ymax);
    }
    return true;
}

/// Collects a line, leaves out what is far outside and draws the pieces. The toolkit fills the outline of a smooth
/// line, which takes the square of its points, and many times that for dashes; so long lines go in short pieces.
class LinePieces
{
public:
    LinePieces(QPainter *painter, const QPen &pen, const QRectF &canvas)
        : m_painter(painter), m_pen(pen), m_top(canvas.top() - canvas.height()),
          m_bottom(canvas.bottom() + canvas.height())
    {
        m_painter->setPen(m_pen);
    }

    void moveTo(const QPointF &point)
    {
        flush();
        m_last = point;
    }
    void lineTo(const QPointF &point)
    {
        QPointF from = m_last;
        QPointF to = point;
        m_last = point;
        if (!clipped(from, to, m_top, m_bottom)) {
            flush();
            return;
        }
        if (m_piece.isEmpty() || m_piece.last() != from) {
            flush();
            m_piece.append(from);
        }
        m_piece.append(to);
        if (m_piece.size() == longestPiece) {
            flush();
            m_piece.append(to);
        }
    }

    void finish() { flush(); }

private:
    void flush()
    {
        if (m_piece.size() > 1)
            m_painter->drawPolyline(m_piece);
        m_piece.clear();
    }

    static constexpr int longestPiece = 16;

    QPainter *m_painter;
    const QPen m_pen;
    double m_top;
    double m_bottom;
    QPointF m_last;
    QPolygonF m_piece;
};

} // namespace

CurveItem::CurveItem()
{
    setZ(20);
    setItemAttribute(QwtPlotItem::Legend, false);
    setItemAttribute(QwtPlotItem::AutoScale, false);
}

void CurveItem::setColumns(PixelColumns columns, const ColumnGrid &grid, const PixelColumn &before,
                           const PixelColumn &after)
{
    m_before = before;
    m_after = after;
    m_columns = std::move(columns);
    m_grid = grid;
    m_samples = 0;
    for (const PixelColumn &column : m_columns)
        m_samples += column.samples;
}

void CurveItem::draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &canvas) const
{
    if (m_samples == 0 && (m_before.isEmpty() || m_after.isEmpty()))
        return;
    painter->save();
    if (double(m_samples) > samplesPerPixelOfLine * m_grid.width())
        drawBars(painter, xMap, yMap, canvas);
    else
        drawLine(painter, xMap, yMap, canvas);
    painter->restore();
}

void CurveItem::drawBars(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                         const QRectF &canvas) const
{
    const double width = std::max(1.0, xMap.pDist() / m_grid.width());
    const double half = std::max(m_pen.widthF(), 1.0) / 2;
    const auto xOf = [&](std::size_t column) { return xMap.p1() + double(column) * xMap.pDist() / m_grid.width(); };
    const auto yOf = [&](float value) {
        return std::clamp(yMap.transform(double(value)), canvas.top() - 10, canvas.bottom() + 10);
    };
    QVector<QRectF> bars;
    bars.reserve(m_grid.width());
    QVector<QLineF> bridges; // over columns without a sample
    const PixelColumn *before = nullptr;
    std::size_t beforeAt = 0;
    double joint = 0;   // where the line crosses into this column
    bool alone = false; // the column before has no neighbour on its left
    const auto widen = [&bars](bool lonely) {
        if (lonely)
            bars.last().adjust(-1, -1, 1, 1);
    };
    for (std::size_t c = 0; c < m_columns.size(); ++c) {
        const PixelColumn &column = m_columns[c];
        if (column.isEmpty())
            continue;
        double top = yOf(column.values.high);
        double bottom = yOf(column.values.low);
        const bool joins = before && !isGap(*before, column);
        if (before && !joins)
            widen(alone);
        alone = !joins;
        if (joins) {
            joint = (yOf(before->last) + yOf(column.first)) / 2;
            if (c == beforeAt + 1) {
                QRectF &last = bars.last();
                last.setTop(std::min(last.top(), joint));
                last.setBottom(std::max(last.bottom(), joint));
                top = std::min(top, joint);
                bottom = std::max(bottom, joint);
            } else {
                bridges.append({xOf(beforeAt) + width / 2, yOf(before->last), xOf(c) + width / 2, yOf(column.first)});
            }
        }
        bars.append(QRectF(xOf(c), top, width, bottom - top));
        before = &column;
        beforeAt = c;
    }
    if (before)
        widen(alone);
    for (QRectF &bar : bars)
        bar.adjust(0, -half, 0, half);
    thinByDashes(bars);
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setPen(QPen(m_pen.color(), m_pen.widthF()));
    painter->drawLines(bridges);
    for (const QRectF &bar : qAsConst(bars)) // the toolkit draws a list of rectangles row by row, ten times slower
        painter->fillRect(bar, m_pen.color());
}

void CurveItem::thinByDashes(QVector<QRectF> &bars) const
{
    if (m_pen.style() != Qt::CustomDashLine)
        return;
    // Flat stretches show the dashes, everything steep is drawn.
    const QVector<qreal> pattern = m_pen.dashPattern();
    const double period = std::accumulate(pattern.begin(), pattern.end(), 0.0) * m_pen.widthF();
    const auto inSpace = [&](const QRectF &bar) {
        double along = std::fmod(std::abs(bar.left()), period) / m_pen.widthF();
        int part = 0;
        for (; along >= pattern[part] && part + 1 < pattern.size(); ++part)
            along -= pattern[part];
        return part % 2 == 1 && bar.height() < 4 * m_pen.widthF();
    };
    bars.erase(std::remove_if(bars.begin(), bars.end(), inSpace), bars.end());
}

void CurveItem::drawLine(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                         const QRectF &canvas) const
{
    const auto point = [&](quint64 time, float value) {
        return QPointF(xMap.transform(double(time)), yMap.transform(double(value)));
    };
    std::vector<const PixelColumn *> filled;
    filled.push_back(&m_before);
    for (const PixelColumn &column : m_columns)
        filled.push_back(&column);
    filled.push_back(&m_after);
    filled.erase(
        std::remove_if(filled.begin(), filled.end(), [](const PixelColumn *column) { return column->isEmpty(); }),
        filled.end());

    const bool dots = double(m_samples) * dotSpacing < xMap.pDist();
    QVector<QPointF> alone;
    painter->setRenderHint(QPainter::Antialiasing, true);
    // Dashes show on a calm line only; on one that jumps they would cost more than the line.
    QPen pen = m_pen;
    if (pen.style() == Qt::CustomDashLine && double(m_samples) * dashSpacing > xMap.pDist())
        pen.setStyle(Qt::SolidLine);
    LinePieces line(painter, pen, canvas);
    for (std::size_t i = 0; i < filled.size(); ++i) {
        const PixelColumn &column = *filled[i];
        const QPointF first = point(column.firstTime, column.first);
        const bool joinsBefore = i > 0 && !isGap(*filled[i - 1], column);
        const bool joinsAfter = i + 1 < filled.size() && !isGap(column, *filled[i + 1]);
        if (joinsBefore)
            line.lineTo(first);
        else
            line.moveTo(first);
        if (column.samples > 1) {
            line.lineTo({first.x(), yMap.transform(double(column.values.low))});
            line.lineTo({first.x(), yMap.transform(double(column.values.high))});
            line.lineTo(point(column.lastTime, column.last));
        } else if (dots || (!joinsBefore && !joinsAfter)) {
            alone.append(first);
        }
    }
    line.finish();
    painter->setPen(Qt::NoPen);
    painter->setBrush(m_pen.color());
    const double radius = m_pen.widthF() + 0.9;
    for (const QPointF &dot : qAsConst(alone))
        if (canvas.adjusted(-9, -9, 9, 9).contains(dot))
            painter->drawEllipse(dot, radius, radius);
}
