#include "compare.h"
#include "data/norvexdata.h"
#include "data/samplepoint.h"
#include "data/seriesblock.h"
#include "data/valuetype.h"
#include "display/plot/plotfigure.h"
#include "display/records/storesource.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QThreadPool>
#include <qwt_plot_canvas.h>
#include <qwt_plot_curve.h>
#include <qwt_plot_grid.h>

#include <cmath>
#include <ctime>

// One frame of panning a view of ten million samples, 1200 pixels wide.

namespace {

constexpr quint64 start = 1700000000000000;
constexpr quint64 step = 100000;
constexpr int blockSize = 10000;
constexpr int blockCount = 1000;
constexpr quint64 total = quint64(blockSize) * blockCount;
constexpr int width = 1200;
constexpr int storedBlocks = 100;

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

/// A hundred blocks in files, and only the newest of them in memory.
struct StoredBlocks
{
    StoredBlocks()
    {
        store->setFolderName(QStringLiteral("S"));
        QDir(folder.path()).mkdir(QStringLiteral("S"));
        QVector<SamplePoint> samples(blockSize);
        for (quint64 i = 0; i < storedBlocks; ++i) {
            ComputedSource().readSamples(quintptr(i + 1), 0, 0, samples);
            store->addSamples(samples);
        }
        saved = store->save(folder.path());
        unload();
    }
    void unload() const { store->unloadIdleBlocks(true); }
    int loaded() const
    {
        int count = 0;
        for (const auto &block : store->blocks())
            count += block->isLoaded() ? 1 : 0;
        return count;
    }

    QTemporaryDir folder;
    std::shared_ptr<norvexData> store = std::make_shared<norvexData>();
    bool saved = false;
};

/// All of so many samples, moved to the side a little.
TimeRange panned(quint64 samples, int frame)
{
    const quint64 shift = quint64(frame % 100) * 7 * step * (samples / 10000);
    return {start + shift, start + shift + samples * step};
}

/// A figure of `width` canvas pixels over the samples, filled once.
struct OurPlot
{
    OurPlot(const std::shared_ptr<const PlotSource> &source, int stretches, quint64 count)
        : theme(Theme::Kind::Light), samples(count)
    {
        auto sensor = std::make_unique<PlotSensor>();
        sensor->colour = Theme::sensorColour(0);
        sensor->series = std::make_unique<SeriesCache>(source, &pool);
        sensor->series->setQuantities({Voltage});
        model.sensors.push_back(std::move(sensor));
        SeriesCache &series = *model.sensors.front()->series;
        while (series.stretchesRead() < stretches) {
            series.refresh(all());
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        }
        figure.resize(width + 100, 600);
        figure.QWidget::show();
        QCoreApplication::processEvents(); // from here on it paints
        model.view.setVisible(panned(samples, 0), 0);
        model.update();
        figure.show(model, theme);
    }
    ColumnGrid all() const { return {start, start + samples * step, width}; }
    void frame(int number)
    {
        model.view.setVisible(panned(samples, number), 0);
        model.update();
        figure.show(model, theme);
        figure.plotCanvas()->repaint();
    }
    /// The pixel columns whose least or greatest value is not the true one.
    int wrongColumns() const
    {
        const ColumnGrid grid = all();
        std::vector<ValueRange> expected(width);
        for (quint64 i = 0; i < samples; ++i)
            expected[std::size_t(grid.columnOf(start + i * step))].add(float(valueOf(i)));
        const PixelColumns columns = model.sensors.front()->series->columns(Voltage, grid);
        int wrong = 0;
        for (std::size_t i = 0; i < expected.size(); ++i)
            wrong += columns[i].values.low == expected[i].low && columns[i].values.high == expected[i].high ? 0 : 1;
        return wrong;
    }

    QThreadPool pool;
    Theme theme;
    const quint64 samples;
    PlotModel model;
    PlotFigure figure;
};

/// What the rows share; it ends before the application does.
struct Plots
{
    std::shared_ptr<ComputedSource> computed = std::make_shared<ComputedSource>();
    OurPlot large{computed, blockCount, total};
    StoredBlocks stored;
    OurPlot ofBlocks{std::make_shared<StoreSource>(stored.store), storedBlocks, quint64(storedBlocks) * blockSize};
    int wrongColumns = large.wrongColumns();
};

void panOurs(benchmark::State &state, Plots &plots)
{
    const int readsBefore = plots.computed->reads;
    int number = 0;
    for (auto _ : state)
        plots.large.frame(++number);
    if (plots.computed->reads != readsBefore)
        state.SkipWithError("a block was read at full zoom-out");
    if (plots.wrongColumns > 0)
        state.SkipWithError("an extreme of a pixel column is not the true one");
}

void panUnloaded(benchmark::State &state, Plots &plots)
{
    plots.stored.unload();
    int number = 0;
    for (auto _ : state)
        plots.ofBlocks.frame(++number);
    plots.ofBlocks.pool.waitForDone();
    if (!plots.stored.saved || plots.stored.loaded() > 1)
        state.SkipWithError("a block was loaded at full zoom-out");
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
        const TimeRange range = panned(total, ++number);
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

/// Nanoseconds of the processor a sample, in pages as they are downloaded.
double upkeepNs()
{
    constexpr int rounds = 100;
    const QVector<SamplePoint> samples = someSamples();
    const std::clock_t before = std::clock();
    for (int round = 0; round < rounds; ++round) {
        SeriesBlock block({Voltage});
        for (int i = 0; i < blockSize; i += 20)
            block.append(samples.constData() + i, 20);
        benchmark::DoNotOptimize(block);
    }
    return 1e9 * double(std::clock() - before) / CLOCKS_PER_SEC / (double(rounds) * blockSize);
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    Plots plots;
    const auto pan = [&plots](benchmark::State &state) { panOurs(state, plots); };
    const auto panEmpty = [](benchmark::State &state) { panPlain(state, false); };
    bench::compare("pan 10 million samples", 200, "raw Qwt curve", pan,
                   [](benchmark::State &state) { panPlain(state, true); });
    bench::compare("pan 10 million samples, frame", 0.4, "empty Qwt plot", pan, panEmpty);
    bench::compare(
        "pan 100 blocks that have left memory, frame", 0.4, "empty Qwt plot",
        [&plots](benchmark::State &state) { panUnloaded(state, plots); }, panEmpty);
    bench::atMost("pyramid upkeep of a sample", 20, "ns", [](benchmark::State &) { return upkeepNs(); });
    return bench::run(argc, argv);
}
