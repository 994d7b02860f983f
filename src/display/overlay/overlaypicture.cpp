#include "display/overlay/overlaypicture.h"

#include "display/overlay/overlayseries.h"
#include "display/plot/curveitem.h"

#include <QPainter>
#include <QPainterPath>
#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int scoringColumns = 256;

struct Columns
{
    PixelColumns own;
    PixelColumn before;
    PixelColumn after;
};

Columns columnsOf(const SeriesBlock &series, int quantity, const ColumnGrid &grid)
{
    Columns columns{PixelColumns(std::size_t(grid.width())), series.neighbour(quantity, grid.from(), true),
                    series.neighbour(quantity, grid.to(), false)};
    series.columns(quantity, grid, columns.own);
    return columns;
}

QwtScaleMap mapOf(double s1, double s2, double p1, double p2)
{
    QwtScaleMap map;
    map.setScaleInterval(s1, s2);
    map.setPaintInterval(p1, p2);
    return map;
}

/// Calls part(begin, end) for each stretch of columns that have a value.
template <typename Part>
void forStretches(const std::vector<float> &values, Part part)
{
    const auto missing = [](float value) { return std::isnan(value); };
    auto begin = std::find_if_not(values.begin(), values.end(), missing);
    while (begin != values.end()) {
        const auto end = std::find_if(begin, values.end(), missing);
        part(int(begin - values.begin()), int(end - values.begin()));
        begin = std::find_if_not(end, values.end(), missing);
    }
}

void paintBand(QPainter &painter, const OverlayBand &band, double width, const QwtScaleMap &yMap, const QColor &colour)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    const auto y = [&](float value) { return std::clamp(yMap.transform(double(value)), -1e4, 1e5); };
    forStretches(band.low, [&](int begin, int end) {
        QPolygonF outline;
        for (int c = begin; c < end; ++c)
            outline << QPointF(c * width, y(band.high[std::size_t(c)]))
                    << QPointF((c + 1) * width, y(band.high[std::size_t(c)]));
        for (int c = end - 1; c >= begin; --c)
            outline << QPointF((c + 1) * width, y(band.low[std::size_t(c)]))
                    << QPointF(c * width, y(band.low[std::size_t(c)]));
        painter.drawPolygon(outline);
    });
}

void paintMedian(QPainter &painter, const OverlayBand &band, double width, const QwtScaleMap &yMap, const QPen &pen)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    forStretches(band.median, [&](int begin, int end) {
        QPolygonF line;
        for (int c = begin; c < end; ++c)
            line << QPointF((c + 0.5) * width,
                            std::clamp(yMap.transform(double(band.median[std::size_t(c)])), -1e4, 1e5));
        painter.drawPolyline(line);
    });
}

/// Sets a line off from the many below it.
QPen haloOf(const QPen &pen, const OverlayRequest &request)
{
    QPen halo(request.haloColour, pen.widthF() + 2.5 * request.ratio);
    halo.setJoinStyle(Qt::BevelJoin);
    return request.haloColour.isValid() ? halo : QPen(Qt::transparent);
}

} // namespace

OverlayPicture paintOverlay(const OverlayRequest &request, const std::atomic<bool> &cancelled)
{
    OverlayPicture picture;
    picture.visible = request.visible;
    picture.values = request.values;
    const ColumnGrid grid(request.visible.from, request.visible.to, request.size.width());
    QImage image(request.size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const QRectF canvas(0, 0, request.size.width(), request.size.height());
    const QwtScaleMap xMap = mapOf(double(grid.from()), double(grid.to()), 0, canvas.width());
    const QwtScaleMap yMap = mapOf(request.values.low, request.values.high, canvas.height(), 0);

    std::vector<ResampledCurve> resampledCurves;
    QVector<Columns> front;
    QVector<QPen> frontPens;
    // The band lies below the curves, which are only gone through once.
    QImage curvesImage = image;
    QPainter curvePainter(&curvesImage);
    for (const OverlayCurve &curve : request.curves) {
        if (cancelled)
            return {};
        Columns columns = columnsOf(*curve.series, request.quantity, grid);
        resampledCurves.push_back(resampled(columns.own, grid, columns.before, columns.after));
        if (!request.showCurves && !curve.inFront)
            continue;
        if (curve.inFront) {
            front.append(columns);
            frontPens.append(curve.pen);
            continue;
        }
        CurveItem item;
        item.setPen(curve.pen);
        item.setColumns(std::move(columns.own), grid, columns.before, columns.after);
        item.draw(&curvePainter, xMap, yMap, canvas);
    }
    picture.band = bandOf(resampledCurves, grid.width());
    const double column = canvas.width() / grid.width();
    if (request.showBand && request.curves.size() > 1)
        paintBand(painter, picture.band, column, yMap, request.bandColour);
    curvePainter.end();
    painter.drawImage(0, 0, curvesImage);
    if (request.showBand && request.curves.size() > 1)
        for (const QPen &pen : {haloOf(request.medianPen, request), request.medianPen})
            paintMedian(painter, picture.band, column, yMap, pen);
    for (int i = 0; i < front.size(); ++i) {
        for (const QPen &pen : {haloOf(frontPens[i], request), frontPens[i]}) {
            CurveItem item;
            item.setPen(pen);
            item.setColumns(front[i].own, grid, front[i].before, front[i].after);
            item.draw(&painter, xMap, yMap, canvas);
        }
    }
    painter.end();
    image.setDevicePixelRatio(request.ratio);
    picture.image = std::move(image);
    return picture;
}

QVector<double> overlayDistances(const QVector<OverlayCurve> &curves, int quantity, const std::atomic<bool> &cancelled)
{
    quint64 from = std::numeric_limits<quint64>::max();
    quint64 to = 0;
    for (const OverlayCurve &curve : curves) {
        from = std::min(from, curve.series->first());
        to = std::max(to, curve.series->last() + 1);
    }
    if (curves.isEmpty())
        return {};
    const ColumnGrid grid(from, to, scoringColumns);
    std::vector<ResampledCurve> resampledCurves;
    for (const OverlayCurve &curve : curves) {
        if (cancelled)
            return {};
        const Columns columns = columnsOf(*curve.series, quantity, grid);
        resampledCurves.push_back(resampled(columns.own, grid));
    }
    return distancesFromMedian(resampledCurves, bandOf(resampledCurves, grid.width()));
}
