#include "compare.h"
#include "data/samplepoint.h"
#include "data/seriesblock.h"
#include "data/valuetype.h"
#include "display/plotfigure.h"

#include <QApplication>
#include <QThreadPool>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>

#include <cmath>
#include <cstdio>
#include <numeric>
#include <random>

// One frame of panning a view of ten million samples, 1200 pixels wide.

namespace {

constexpr quint64 start = 1700000000000000;
constexpr quint64 step = 100000;
constexpr int blockSize = 10000;
constexpr int blockCount = 1000;
constexpr quint64 total = quint64(blockSize) * blockCount;
constexpr int width = 1200;

double valueOf(quint64 index)
{
    const quint64 mixed = index * 0x9E3779B97F4A7C15ULL;
    return 400 + 50 * std::sin(double(index) * 1e-5) + double(mixed >> 60) + (index % 1234567 == 77 ? 500 : 0);
}

/// Ten million samples that are computed when they are read, so that only the plot's memory counts.
class ComputedSource : public PlotSource
{
public:
    quint64 revision() const override { return 1; }
    QVector<Stretch> stretches() const override
    {
        QVector<Stretch> result;
        for (quint64 i = 0; i < blockCount; ++i)
            result.append(
                {quintptr(i + 1), start + i * blockSize * step, start + ((i + 1) * blockSize - 1) * step, blockSize});
        return result;
    }
    bool readSamples(quintptr key, quint64, quint64, QVector<SamplePoint> &out) const override
    {
        ++reads;
        out.resize(blockSize);
        for (int i = 0; i < blockSize; ++i) {
            const quint64 index = quint64(key - 1) * blockSize + quint64(i);
            out[i].time = start + index * step;
            out[i].voltage = valueOf(index);
        }
        return true;
    }

    mutable std::atomic<int> reads{0};
};

TimeRange panned(int frame)
{
    const quint64 shift = quint64(frame % 100) * 7 * step * 1000;
    return {start + shift, start + shift + total * step};
}

/// A figure of `width` canvas pixels over the samples, filled once.
struct OurPlot
{
    OurPlot() : theme(Theme::Kind::Light), source(std::make_shared<ComputedSource>())
    {
        auto sensor = std::make_unique<PlotSensor>();
        sensor->colour = Theme::sensorColour(0);
        sensor->series = std::make_unique<SeriesCache>(source, &pool);
        sensor->series->setQuantities({Voltage});
        model.sensors.push_back(std::move(sensor));
        SeriesCache &series = *model.sensors.front()->series;
        while (series.stretchesRead() < blockCount) {
            series.refresh(ColumnGrid(start, start + total * step, width));
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        }
        figure.resize(width + 100, 600);
        figure.QWidget::show();
        QCoreApplication::processEvents(); // from here on it paints
        model.view.setVisible(panned(0), 0);
        model.update();
        figure.show(model, theme);
        std::printf("series cache of %llu samples: %lld MB\n", static_cast<unsigned long long>(total),
                    static_cast<long long>(series.memory() >> 20));
    }
    void frame(int number)
    {
        model.view.setVisible(panned(number), 0);
        model.update();
        figure.show(model, theme);
        figure.plotCanvas()->repaint();
    }

    QThreadPool pool;
    Theme theme;
    std::shared_ptr<ComputedSource> source;
    PlotModel model;
    PlotFigure figure;
};

std::unique_ptr<OurPlot> sharedPlot; // ends before the application does

OurPlot &ourPlot()
{
    if (!sharedPlot)
        sharedPlot = std::make_unique<OurPlot>();
    return *sharedPlot;
}

void panOurs(benchmark::State &state)
{
    OurPlot &plot = ourPlot();
    const int readsBefore = plot.source->reads;
    int number = 0;
    for (auto _ : state)
        plot.frame(++number);
    if (plot.source->reads != readsBefore)
        state.SkipWithError("a block was read at full zoom-out");
}

void panPlain(benchmark::State &state, bool withCurve)
{
    QwtPlot plot;
    auto *canvas = static_cast<QwtPlotCanvas *>(plot.canvas());
    (new QwtPlotGrid)->attach(&plot);
    if (withCurve) {
        auto *curve = new QwtPlotCurve;
        QVector<QPointF> points(int{total});
        for (quint64 i = 0; i < total; ++i)
            points[int(i)] = {double(start + i * step), valueOf(i)};
        curve->setSamples(points);
        curve->attach(&plot);
    }
    plot.resize(width + 100, 600);
    plot.setAxisScale(QwtPlot::yLeft, 0, 1000);
    plot.show();
    QCoreApplication::processEvents();
    int number = 0;
    for (auto _ : state) {
        const TimeRange range = panned(++number);
        plot.setAxisScale(QwtPlot::xBottom, double(range.from), double(range.to));
        plot.replot();
        canvas->repaint();
    }
}

QVector<SamplePoint> someSamples()
{
    QVector<SamplePoint> samples(blockSize);
    for (int i = 0; i < blockSize; ++i) {
        samples[i].time = start + quint64(i) * step;
        samples[i].voltage = valueOf(quint64(i));
    }
    return samples;
}

void appendOurs(benchmark::State &state)
{
    const QVector<SamplePoint> samples = someSamples();
    for (auto _ : state) {
        SeriesBlock block({Voltage});
        for (int i = 0; i < blockSize; i += 20)
            block.append(samples.constData() + i, 20);
        benchmark::DoNotOptimize(block);
    }
    state.counters["ns_per_sample"] = benchmark::Counter(double(state.iterations()) * blockSize * 1e-9,
                                                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void appendPoints(benchmark::State &state)
{
    const QVector<SamplePoint> samples = someSamples();
    for (auto _ : state) {
        QVector<QPointF> points;
        for (const SamplePoint &sample : samples)
            points.append({double(sample.time), sample.voltage});
        benchmark::DoNotOptimize(points);
    }
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    bench::compare("pan 10 million samples", 200, "raw Qwt curve", panOurs,
                   [](benchmark::State &state) { panPlain(state, true); });
    bench::compare("pan 10 million samples, frame", 0.4, "empty Qwt plot", panOurs,
                   [](benchmark::State &state) { panPlain(state, false); });
    bench::compare("pyramid upkeep, 10,000 samples", 0.25, "QVector of points", appendOurs, appendPoints);
    const int result = bench::run(argc, argv);
    sharedPlot.reset();
    return result;
}
