#include "compare.h"
#include "data/valuetype.h"
#include "display/look/theme.h"
#include "display/overlay/overlayplot.h"
#include "display/overlay/overlayseries.h"
#include "display/plot/chartplot.h"
#include "display/views/eventhistogram.h"
#include "display/views/summarymodel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPainter>
#include <QStandardItemModel>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>

#include <array>
#include <cmath>
#include <map>
#include <random>

// The views of a long session: its bar chart, its summary and an overlay of its runs.

namespace {

constexpr int eventCount = 1000000;
constexpr quint64 year = 365ULL * 24 * 3600 * 1000000;
constexpr quint64 start = 1700000000000000;
constexpr int runCount = 10000;
constexpr int curveCount = 1000;
constexpr int curveLength = 10000;
constexpr quint64 step = 6000;

// --- bar chart

std::vector<CountedEvent> makeEvents()
{
    std::mt19937_64 random(5);
    std::vector<CountedEvent> events(eventCount);
    for (CountedEvent &event : events)
        event = {start + random() % year, int(random() % 13)};
    std::sort(events.begin(), events.end(), [](const auto &a, const auto &b) { return a.time < b.time; });
    return events;
}

quint64 chartOurs(const std::vector<CountedEvent> &events)
{
    EventHistogram histogram(CalendarPeriods(CalendarPeriods::Hour, TimeMode::Local, QTimeZone("Europe/Berlin")));
    histogram.add(events.data(), int(events.size()));
    return histogram.total(3) + quint64(histogram.barCount());
}

/// Hours of UTC, which need no calendar; zones whose clock differs by whole hours have as many.
quint64 chartByMap(const std::vector<CountedEvent> &events)
{
    std::map<quint64, std::array<quint32, 13>> bars;
    quint64 total = 0;
    for (const CountedEvent &event : events) {
        ++bars[event.time / 3600000000][std::size_t(event.series)];
        total += event.series == 3 ? 1 : 0;
    }
    return total + quint64(bars.size());
}

/// Milliseconds until a chart of them all is there, and of one event more.
double chartMs(const std::vector<CountedEvent> &events, std::size_t before)
{
    EventHistogram histogram(CalendarPeriods(CalendarPeriods::Hour, TimeMode::Local, QTimeZone("Europe/Berlin")));
    histogram.add(events.data(), int(before));
    QElapsedTimer clock;
    clock.start();
    histogram.add(events.data() + before, int(events.size() - before));
    benchmark::DoNotOptimize(histogram.barCount());
    return double(clock.nsecsElapsed()) / 1e6;
}

// --- summary

QVector<SummaryRow> makeRows()
{
    std::mt19937 random(7);
    QVector<SummaryRow> rows(runCount);
    for (int i = 0; i < runCount; ++i) {
        rows[i].number = i + 1;
        rows[i].run.start = start + quint64(i) * 100000000;
        rows[i].run.end = rows[i].run.start + 60000000 + random() % 1000000;
        rows[i].run.meanVoltage = 400 + double(random() % 1000) / 100;
        rows[i].counts = QVector<int>(12, int(random() % 5));
    }
    return rows;
}

double sortMs(QAbstractItemModel &model)
{
    QElapsedTimer clock;
    clock.start();
    model.sort(SummaryModel::Start, Qt::DescendingOrder);
    model.sort(SummaryModel::MeanVoltage, Qt::AscendingOrder);
    return double(clock.nsecsElapsed()) / 2e6;
}

void sortModel(benchmark::State &state, QAbstractItemModel &model)
{
    bool down = false;
    for (auto _ : state) {
        down = !down;
        model.sort(SummaryModel::MeanVoltage, down ? Qt::DescendingOrder : Qt::AscendingOrder);
        benchmark::DoNotOptimize(model.index(0, 0).data());
    }
}

// --- overlays

QVector<OverlayCurve> makeCurves(int count)
{
    QVector<OverlayCurve> curves;
    for (int k = 0; k < count; ++k) {
        auto series = std::make_shared<SeriesBlock>(QVector<int>{Voltage});
        SamplePoint sample;
        for (int i = 0; i < curveLength; ++i) {
            sample.time = overlayOrigin + quint64(i) * step;
            sample.voltage = 400 + k * 0.02 + 30 * std::sin(i * 0.002) + (i * 7919 + k * 31) % 17;
            series->append(&sample, 1);
        }
        series->squeeze();
        QColor colour = Theme::sensorColour(k);
        colour.setAlpha(70);
        curves.append({series, QPen(colour, 1.4), false});
    }
    return curves;
}

void frames(benchmark::State &state, QwtPlot &plot)
{
    for (auto _ : state) {
        plot.replot();
        plot.canvas()->repaint();
    }
}

/// An overlay that has been painted and now only has to be shown, as while the pointer moves over it. For good: it
/// needs the application, which ends before what is static.
QwtPlot &settledOverlay(const Theme &theme)
{
    static OverlayPlot *overlay = nullptr;
    if (!overlay) {
        overlay = new OverlayPlot(theme, QStringLiteral("Time since start"));
        overlay->resize(1200, 700);
        overlay->show();
        overlay->setCurves(makeCurves(curveCount), {});
        while (!overlay->isUpToDate() || overlay->picture().image.isNull())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return *overlay->findChild<ChartPlot *>();
}

QwtPlot &emptyPlot(const Theme &theme)
{
    static auto &plot = *new ChartPlot;
    plot.applyTheme(theme);
    plot.resize(1200, 700);
    plot.show();
    plot.setBottomAxis({0, 6e7}, 0, QStringLiteral("Time since start"), QStringLiteral("µs"));
    plot.setLeftAxis({350, 500}, QStringLiteral("Voltage"), QStringLiteral("V"));
    QCoreApplication::processEvents();
    return plot;
}

void zoomOurs(benchmark::State &state, const QVector<OverlayCurve> &curves)
{
    OverlayRequest request;
    request.curves = curves;
    request.visible = {overlayOrigin, overlayOrigin + curveLength * step};
    request.values = {350, 500};
    request.size = {1100, 620};
    for (auto _ : state)
        benchmark::DoNotOptimize(paintOverlay(request, false).image.constBits());
}

void zoomRaw(benchmark::State &state, const QVector<OverlayCurve> &curves)
{
    std::vector<std::unique_ptr<QwtPlotCurve>> raw;
    for (const OverlayCurve &curve : curves) {
        QVector<QPointF> points;
        for (int i = 0; i < curve.series->count(); ++i)
            points.append({double(curve.series->times().at(i)), double(curve.series->pyramid(Voltage)->value(i))});
        raw.push_back(std::make_unique<QwtPlotCurve>());
        raw.back()->setPen(curve.pen);
        raw.back()->setSamples(points);
    }
    QwtScaleMap xMap;
    xMap.setScaleInterval(double(overlayOrigin), double(overlayOrigin + curveLength * step));
    xMap.setPaintInterval(0, 1100);
    QwtScaleMap yMap;
    yMap.setScaleInterval(350, 500);
    yMap.setPaintInterval(620, 0);
    for (auto _ : state) {
        QImage image(1100, 620, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        for (const auto &curve : raw)
            curve->draw(&painter, xMap, yMap, QRectF(0, 0, 1100, 620));
        benchmark::DoNotOptimize(image.constBits());
    }
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const Theme theme(Theme::Kind::Light);

    const std::vector<CountedEvent> events = makeEvents();
    if (chartOurs(events) != chartByMap(events)) {
        std::fprintf(stderr, "the two bar charts differ\n");
        return 1;
    }
    bench::compare(
        "bar chart of 1,000,000 events over a year", 3, "map of hours",
        [&](benchmark::State &state) {
            for (auto _ : state)
                benchmark::DoNotOptimize(chartOurs(events));
        },
        [&](benchmark::State &state) {
            for (auto _ : state)
                benchmark::DoNotOptimize(chartByMap(events));
        });

    bench::atMost("bar chart of 1,000,000 events", 200, "ms", [&](benchmark::State &) { return chartMs(events, 0); });
    bench::atMost("bar chart takes one event more", 1, "ms",
                  [&](benchmark::State &) { return chartMs(events, events.size() - 1); });

    SummaryModel summary(theme);
    summary.setRows(makeRows(), {QString()}, QStringList(QVector<QString>(12).toList()));
    QStandardItemModel items(runCount, summary.columnCount());
    for (int row = 0; row < runCount; ++row) {
        for (int column = 0; column < items.columnCount(); ++column)
            items.setData(items.index(row, column), summary.value(summary.row(row), column));
    }
    bench::compare(
        "sort a summary of 10,000 runs", 3, "item model", [&](benchmark::State &state) { sortModel(state, summary); },
        [&](benchmark::State &state) { sortModel(state, items); });

    bench::atMost("summary of 10,000 runs sorted", 100, "ms", [&](benchmark::State &) { return sortMs(summary); });
    bench::compare(
        "frame of 1,000 overlaid runs of 10,000 samples", 0.25, "empty plot",
        [&](benchmark::State &state) { frames(state, settledOverlay(theme)); },
        [&](benchmark::State &state) { frames(state, emptyPlot(theme)); });

    const QVector<OverlayCurve> hundred = makeCurves(100);
    bench::compare(
        "new zoom of 100 overlaid runs of 10,000 samples", 3, "raw curves",
        [&](benchmark::State &state) { zoomOurs(state, hundred); },
        [&](benchmark::State &state) { zoomRaw(state, hundred); });
    return bench::run(argc, argv);
}
