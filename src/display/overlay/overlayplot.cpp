#include "display/overlay/overlayplot.h"

#include "display/look/emptypage.h"
#include "display/look/theme.h"
#include "display/overlay/overlayseries.h"
#include "display/plot/chartplot.h"
#include "display/plot/plotmodel.h"
#include "display/plot/plotoverlay.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMutex>
#include <QPainter>
#include <QThreadPool>
#include <QVBoxLayout>
#include <qwt_plot_canvas.h>
#include <qwt_plot_item.h>

#include <cmath>

namespace {
constexpr int settleMs = 15;
constexpr int busyMs = 500;
constexpr double reachPixels = 8;
} // namespace

/// Puts the painted picture onto the canvas.
class OverlayItem : public QwtPlotItem
{
public:
    OverlayItem()
    {
        setZ(20);
        setItemAttribute(QwtPlotItem::AutoScale, false);
    }

    OverlayPicture picture;

    void draw(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap, const QRectF &) const override
    {
        if (picture.image.isNull())
            return;
        const QPointF topLeft(xMap.transform(double(picture.visible.from)), yMap.transform(picture.values.high));
        const QPointF bottomRight(xMap.transform(double(picture.visible.to)), yMap.transform(picture.values.low));
        const QRectF target(topLeft, bottomRight);
        const QSizeF size = QSizeF(picture.image.size()) / picture.image.devicePixelRatio();
        if (std::abs(target.width() - size.width()) < 1 && std::abs(target.height() - size.height()) < 1)
            painter->drawImage(topLeft, picture.image); // as it was painted, pixel for pixel
        else
            painter->drawImage(target, picture.image);
    }
};

struct OverlayPlot::Mailbox
{
    QMutex lock; // guards the next four
    OverlayPlot *receiver = nullptr;
    OverlayPicture picture;
    QVector<double> distances;
    quint64 distancesRevision = 0;
    std::atomic<bool> cancelled{false};
};

OverlayPlot::OverlayPlot(const Theme &theme, const QString &timeName, QWidget *parent)
    : QWidget(parent), m_theme(theme), m_timeName(timeName), m_plot(new ChartPlot), m_item(new OverlayItem),
      m_cursorText(new QLabel), m_mailbox(std::make_shared<Mailbox>())
{
    setFocusPolicy(Qt::StrongFocus);
    m_mailbox->receiver = this;
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_plot, 1);
    layout->addWidget(m_cursorText);
    m_cursorText->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_cursorText->setTextFormat(Qt::PlainText);
    m_cursorText->setMargin(4);
    m_cursorText->hide();
    m_plot->applyTheme(m_theme);
    m_item->attach(m_plot);
    m_navigator = new ChartNavigator(m_plot, m_theme, true, this);
    m_notice = new EmptyPage(m_plot, theme);
    m_timer.setSingleShot(true);
    m_timer.setInterval(settleMs);
    connect(&m_timer, &QTimer::timeout, this, &OverlayPlot::redraw);
    m_busyTimer.setSingleShot(true);
    m_busyTimer.setInterval(busyMs);
    connect(&m_busyTimer, &QTimer::timeout, this, [this] { m_plot->plotCanvas()->setCursor(Qt::BusyCursor); });
    connect(&m_theme, &Theme::changed, this, &OverlayPlot::themeChanged);
    connect(m_navigator, &ChartNavigator::viewChanged, this, [this] {
        showAxes();
        m_plot->replot();
        showCursors();
        redrawSoon();
    });
    connect(m_navigator, &ChartNavigator::hovered, this, &OverlayPlot::hover);
    connect(m_navigator, &ChartNavigator::left, this, [this] {
        m_pointer.reset();
        m_navigator->overlay()->setCrosshair(std::nullopt);
    });
    connect(m_navigator, &ChartNavigator::clicked, this, [this](const QPointF &point) {
        const int index = curveAt(point);
        if (index >= 0)
            emit curveClicked(index);
    });
}

OverlayPlot::~OverlayPlot()
{
    m_mailbox->cancelled = true;
    const QMutexLocker locker(&m_mailbox->lock);
    m_mailbox->receiver = nullptr;
}

const OverlayPicture &OverlayPlot::picture() const
{
    return m_item->picture;
}

void OverlayPlot::setCurves(const QVector<OverlayCurve> &curves, const QStringList &names)
{
    const bool same = curves.size() == m_curves.size() &&
                      std::equal(curves.begin(), curves.end(), m_curves.begin(),
                                 [](const OverlayCurve &a, const OverlayCurve &b) { return a.series == b.series; });
    m_curves = curves;
    m_names = names;
    if (!same) {
        ++m_curvesRevision;
        m_distancesWanted = true;
        quint64 from = ~quint64(0);
        quint64 to = 0;
        for (const OverlayCurve &curve : curves) {
            from = std::min(from, curve.series->first());
            to = std::max(to, curve.series->last() + 1);
        }
        m_navigator->view.setData(curves.isEmpty() ? TimeRange() : TimeRange{from, to});
    }
    redrawSoon();
}

void OverlayPlot::setQuantity(int quantity)
{
    if (quantity == m_quantity)
        return;
    m_quantity = quantity;
    ++m_curvesRevision;
    m_distancesWanted = true;
    m_item->picture = {};
    m_navigator->view.showWhole();
    redrawSoon();
}

void OverlayPlot::setLayers(bool curves, bool band)
{
    m_showCurves = curves;
    m_showBand = band;
    redrawSoon();
}

void OverlayPlot::themeChanged()
{
    m_plot->applyTheme(m_theme);
    m_item->picture = {};
    redrawSoon();
}

void OverlayPlot::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    redrawSoon();
}

// --- drawing

void OverlayPlot::redrawSoon()
{
    if (!m_timer.isActive())
        m_timer.start();
}

void OverlayPlot::showAxes()
{
    PlotView &view = m_navigator->view;
    const TimeRange visible = view.visible();
    ValueRange extremes;
    for (const OverlayCurve &curve : qAsConst(m_curves))
        extremes.add(curve.series->extremes(m_quantity, visible.from, visible.to));
    if (!extremes.isEmpty())
        view.setExtremes(PlotView::Left, double(extremes.low), double(extremes.high));
    m_plot->setBottomAxis({double(visible.from), double(visible.to)}, double(overlayOrigin), m_timeName,
                          QStringLiteral("µs"));
    m_plot->setLeftAxis(view.values(PlotView::Left), PlotModel::quantityName(m_quantity),
                        PlotModel::quantityUnit(m_quantity));
    m_plot->updateAxes();
    m_plot->updateLayout();
}

void OverlayPlot::redraw()
{
    showAxes();
    showAxes(); // the ticks depend on the size that the first one settles
    m_plot->replot();
    if (m_running) {
        m_again = true;
        m_mailbox->cancelled = true;
        return;
    }
    const double ratio = m_plot->plotCanvas()->devicePixelRatioF();
    OverlayRequest request;
    request.curves = m_curves;
    request.quantity = m_quantity;
    request.visible = m_navigator->view.visible();
    request.values = m_navigator->view.values(PlotView::Left);
    request.size = QSize(int(std::lround(std::abs(m_plot->xMap().pDist()) * ratio)),
                         int(std::lround(std::abs(m_plot->yMap().pDist()) * ratio)));
    request.ratio = ratio;
    request.showCurves = m_showCurves;
    request.showBand = m_showBand;
    request.bandColour = m_theme.cursorBand().color();
    request.bandColour.setAlpha(60);
    request.medianPen = QPen(m_theme.text(), 1.6 * ratio);
    request.haloColour = m_theme.canvas();
    request.haloColour.setAlpha(200);
    for (OverlayCurve &curve : request.curves)
        curve.pen.setWidthF(curve.pen.widthF() * ratio);
    if (request.size.isEmpty() || request.visible.isEmpty())
        return;
    m_running = true;
    if (!m_busyTimer.isActive())
        m_busyTimer.start();
    m_mailbox->cancelled = false;
    const quint64 revision = std::exchange(m_distancesWanted, false) ? m_curvesRevision : 0;
    QThreadPool::globalInstance()->start([request, revision, box = m_mailbox] {
        OverlayPicture picture = paintOverlay(request, box->cancelled);
        const QVector<double> distances =
            revision ? overlayDistances(request.curves, request.quantity, box->cancelled) : QVector<double>();
        const QMutexLocker locker(&box->lock);
        if (!box->receiver)
            return;
        box->picture = std::move(picture);
        box->distances = distances;
        box->distancesRevision = revision;
        QMetaObject::invokeMethod(
            box->receiver, [box] { box->receiver->takePicture(); }, Qt::QueuedConnection);
    });
}

void OverlayPlot::takePicture()
{
    OverlayPicture picture;
    QVector<double> distances;
    quint64 revision = 0;
    {
        const QMutexLocker locker(&m_mailbox->lock);
        picture = std::move(m_mailbox->picture);
        distances = std::move(m_mailbox->distances);
        revision = m_mailbox->distancesRevision;
    }
    m_running = false;
    if (!picture.image.isNull()) {
        m_busyTimer.stop();
        m_plot->plotCanvas()->setCursor(Qt::CrossCursor);
        m_item->picture = std::move(picture);
        m_plot->replot();
        if (m_pointer)
            hover(*m_pointer);
        showCursors();
    }
    if (revision && revision == m_curvesRevision && distances.size() == m_curves.size())
        emit distancesFound(distances);
    else if (revision)
        m_distancesWanted = true; // cancelled, or of other curves
    if (std::exchange(m_again, false))
        redrawSoon();
}

// --- reading values

double OverlayPlot::bandValue(const std::vector<float> &values, quint64 time) const
{
    const OverlayPicture &picture = m_item->picture;
    if (values.empty() || !picture.visible.contains(time))
        return std::nan("");
    const ColumnGrid grid(picture.visible.from, picture.visible.to, int(values.size()));
    return double(values[std::size_t(grid.columnOf(time))]);
}

int OverlayPlot::curveAt(const QPointF &point) const
{
    const quint64 time = m_plot->timeAt(point.x());
    const double perPixel = double(m_navigator->view.visible().length()) / std::max(1, m_plot->plotCanvas()->width());
    const auto column = quint64(perPixel) + 1;
    int nearest = -1;
    double distance = reachPixels;
    for (int i = 0; i < m_curves.size(); ++i) {
        const SeriesBlock &series = *m_curves[i].series;
        ValueRange values = series.extremes(m_quantity, time, time + column);
        if (values.isEmpty())
            values.add(series.neighbour(m_quantity, time, true).values);
        if (values.isEmpty() || time > series.last() + column || time + column < series.first())
            continue;
        const double top = m_plot->yMap().transform(double(values.high));
        const double bottom = m_plot->yMap().transform(double(values.low));
        const double off = std::max({0.0, top - point.y(), point.y() - bottom});
        if (off < distance) {
            distance = off;
            nearest = i;
        }
    }
    return nearest;
}

void OverlayPlot::hover(const QPointF &point)
{
    m_pointer = point;
    if (m_curves.isEmpty())
        return;
    const quint64 time = m_plot->timeAt(point.x());
    const QString unit = PlotModel::quantityUnit(m_quantity);
    const OverlayBand &band = m_item->picture.band;
    QVector<PlotOverlay::Row> rows;
    const int curve = curveAt(point);
    if (curve >= 0)
        rows.append({m_curves[curve].pen.color(), m_names.value(curve),
                     valueText(m_plot->yMap().invTransform(point.y()), unit), 0, false});
    const std::pair<QString, const std::vector<float> *> lines[] = {
        {tr("Greatest"), &band.high}, {tr("Median"), &band.median}, {tr("Least"), &band.low}};
    for (const auto &[name, values] : lines) {
        const double value = bandValue(*values, time);
        if (std::isfinite(value) && m_curves.size() > 1)
            rows.append({m_theme.mutedText(), name, valueText(value, unit), 0, false});
    }
    const double since = double(time) - double(overlayOrigin);
    m_navigator->overlay()->setCrosshair(point, valueText(since, QStringLiteral("µs"), 6), rows);
}

void OverlayPlot::placeCursor(int number, const std::optional<quint64> &time)
{
    m_cursors[number] = time;
    showCursors();
}

void OverlayPlot::showCursors()
{
    QStringList parts;
    const QString unit = PlotModel::quantityUnit(m_quantity);
    double medians[2] = {std::nan(""), std::nan("")};
    for (int i = 0; i < 2; ++i) {
        std::optional<double> x;
        if (m_cursors[i]) {
            x = m_plot->xMap().transform(double(*m_cursors[i]));
            medians[i] = bandValue(m_item->picture.band.median, *m_cursors[i]);
            const double since = double(*m_cursors[i]) - double(overlayOrigin);
            parts.append(tr("%1: %2, median %3")
                             .arg(i + 1)
                             .arg(valueText(since, QStringLiteral("µs"), 6), valueText(medians[i], unit)));
        }
        m_navigator->overlay()->setCursor(i, x);
    }
    if (m_cursors[0] && m_cursors[1] && *m_cursors[0] != *m_cursors[1]) {
        const double between = std::abs(double(*m_cursors[1]) - double(*m_cursors[0]));
        parts.append(tr("Δt %1").arg(valueText(between, QStringLiteral("µs"), 6)));
        parts.append(tr("1/Δt %1").arg(valueText(1e6 / between, QStringLiteral("Hz"))));
        parts.append(tr("Δ median %1").arg(valueText(medians[1] - medians[0], unit)));
    }
    m_cursorText->setText(parts.join(QStringLiteral("    ")));
    m_cursorText->setVisible(!parts.isEmpty());
}

bool OverlayPlot::pressKey(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_1:
    case Qt::Key_2: {
        const TimeRange visible = m_navigator->view.visible();
        placeCursor(event->key() == Qt::Key_1 ? 0 : 1,
                    m_pointer ? m_plot->timeAt(m_pointer->x()) : visible.from + visible.length() / 2);
        return true;
    }
    case Qt::Key_Escape:
        if (!m_cursors[0] && !m_cursors[1])
            return false;
        placeCursor(0, std::nullopt);
        placeCursor(1, std::nullopt);
        return true;
    default:
        return m_navigator->pressKey(event);
    }
}
