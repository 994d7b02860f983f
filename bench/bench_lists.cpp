#include "../tests/support/fakeprompts.h"
#include "compare.h"
#include "data/norvexdata.h"
#include "display/plot/arcplotdisplay.h"
#include "display/views/eventlistmodel.h"
#include "display/views/recordtable.h"
#include "display/views/sessionviews.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "session/appsettings.h"
#include "session/recorder.h"
#include "session/session.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSortFilterProxyModel>
#include <QStackedWidget>
#include <QTemporaryDir>

#include <cstdio>

namespace {

constexpr int eventCount = 100000;
constexpr int runCount = 10000;
constexpr quint64 second = 1000000;
constexpr quint64 origin = 1700000000 * second;
constexpr int atOnceMs = 100;

std::shared_ptr<norvexData> filledStore()
{
    auto store = std::make_shared<norvexData>();
    store->setSensorSerial(QStringLiteral("SN1"));
    for (int i = 0; i < eventCount + runCount; ++i) {
        const bool isRun = i % 11 == 0;
        EventRecord event;
        event.time = origin + quint64(i) * 2 * second;
        event.typeCode = isRun ? 12 : i % 9;
        event.snapshot1.time = event.time;
        event.snapshot1.voltage = (i * 7919) % 300;
        event.snapshot2.time = event.time;
        event.snapshot3.time = event.time + (isRun ? 20 * second : quint64(i % 1000));
        store->addEvent(event);
    }
    QVector<SamplePoint> samples(20);
    for (int i = 0; i < samples.size(); ++i)
        samples[i].time = origin + quint64(i) * second;
    store->addSamples(samples);
    return store;
}

QVector<SessionRecords::Sensor> sensorsOf(const std::shared_ptr<norvexData> &store)
{
    const std::atomic<bool> goOn{false};
    const auto records = std::make_shared<const RecordSet>(readRecords(*store, {}, goOn));
    return {{{QStringLiteral("SN1"), QStringLiteral("SN1 Etch"), store, QColor(Qt::red), true}, records, true}};
}

/// What a session form would own.
struct World
{
    explicit World(const std::shared_ptr<norvexData> &store)
    {
        plot->addSensor(QStringLiteral("SN1"), QStringLiteral("SN1"), store, Qt::red);
        views->setSensors({{QStringLiteral("SN1"), QStringLiteral("SN1 Etch"), store, Qt::red, true}});
        stack.resize(1400, 900);
        stack.show();
    }

    /// Shows a page and paints it.
    void show(int page)
    {
        views->show(page);
        QApplication::processEvents();
    }
    void waitFor(int page, int rows)
    {
        views->show(page);
        auto *table = views->view(page)->findChild<RecordTable *>();
        while (table->model()->rowCount() < rows)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    }

    QTemporaryDir folder;
    std::unique_ptr<Session> session{Session::create(folder.filePath(QStringLiteral("session")), nullptr)};
    Recorder recorder{session.get(), {}};
    FakePrompts prompts;
    AppSettings settings{AppSettings::Source::Forgotten};
    Theme theme{Theme::Kind::Light};
    eventTypeNames dictionary;
    eventFilter filter{dictionary};
    QStackedWidget stack;
    arcPlotDisplay *plot = new arcPlotDisplay(theme);
    SessionViews *views = new SessionViews({*session, recorder, prompts, settings, theme, filter, dictionary}, &stack,
                                           plot, plot, &stack);
};

/// As long as a person still calls it at once.
void atOnce(benchmark::State &state)
{
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < atOnceMs)
            benchmark::DoNotOptimize(timer.nsecsElapsed());
    }
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const auto store = filledStore();
    const QVector<SessionRecords::Sensor> sensors = sensorsOf(store);
    World world(store);
    world.waitFor(SessionViews::Runs, runCount);
    world.waitFor(SessionViews::Events, eventCount);

    bench::compare(
        "sort 100,000 listed events", 2, "QSortFilterProxyModel",
        [&](benchmark::State &state) {
            EventListModel model({}, nullptr);
            model.setSensors(sensors);
            for (auto _ : state) {
                model.sort(EventListModel::Amplitude, Qt::AscendingOrder);
                model.sort(EventListModel::Time, Qt::AscendingOrder);
            }
        },
        [&](benchmark::State &state) {
            EventListModel model({}, nullptr);
            model.setSensors(sensors);
            QSortFilterProxyModel proxy;
            proxy.setSourceModel(&model);
            for (auto _ : state) {
                proxy.sort(EventListModel::Amplitude, Qt::AscendingOrder);
                proxy.sort(EventListModel::Run, Qt::AscendingOrder); // its times would be sorted as texts
            }
        });
    for (const auto &[page, name] : {std::pair{int(SessionViews::Runs), "switch to 10,000 runs"},
                                     std::pair{int(SessionViews::Events), "switch to 100,000 events"}})
        bench::compare(
            name, 1, "100 ms",
            [&world, page = page](benchmark::State &state) {
                for (auto _ : state) {
                    world.show(SessionViews::Live);
                    world.show(page);
                }
            },
            atOnce);
    return bench::run(argc, argv);
}
