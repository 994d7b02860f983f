#pragma once

#include "data/seriesblock.h"
#include "display/overlay/overlayband.h"
#include "display/plot/valueaxis.h"
#include "display/records/timerange.h"

#include <QColor>
#include <QImage>
#include <QPen>
#include <QVector>

#include <atomic>
#include <memory>

/// A curve of an overlay as it is drawn.
struct OverlayCurve
{
    std::shared_ptr<const SeriesBlock> series;
    QPen pen;
    bool inFront = false;
};

/// Everything that a picture of an overlay is made of, by value: it is painted on a pool thread.
struct OverlayRequest
{
    QVector<OverlayCurve> curves;
    int quantity = 0;
    TimeRange visible; // from overlayOrigin
    ValueSpan values;
    QSize size; // device pixels
    double ratio = 1;
    bool showCurves = true;
    bool showBand = true;
    QColor bandColour;
    QPen medianPen;
    QColor haloColour; // around the median and the curves in front
};

/// The painted canvas, to be put where `visible` and `values` are on the axes, and what was found on the way.
struct OverlayPicture
{
    QImage image;
    TimeRange visible;
    ValueSpan values;
    OverlayBand band; // one column a device pixel
};

/// Paints the curves, the band from their least to their greatest value and their median. The image is null when it was
/// cancelled. Pure; any thread.
OverlayPicture paintOverlay(const OverlayRequest &request, const std::atomic<bool> &cancelled);

/// How far each curve lies from the median of all over its whole length; NaN for curves without samples.
QVector<double> overlayDistances(const QVector<OverlayCurve> &curves, int quantity, const std::atomic<bool> &cancelled);
