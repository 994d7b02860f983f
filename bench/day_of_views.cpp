// A day of four chambers in every view: how long each takes to come up and to answer, how long the window stands still
// meanwhile, and whether what it shows is what the command line says of the same session.
//
// usage: day_of_views FOLDER [--hours N] [--rate SAMPLES_PER_S]
//   The session is made in FOLDER when it is not there yet: simulated chambers, a run a minute.

#include "../tests/support/fakeprompts.h"
#include "app/mainwindow.h"
#include "cli/sessioninfo.h"
#include "data/norvexdata.h"
#include "display/look/theme.h"
#include "display/overlay/overlaytable.h"
#include "display/plot/arcplotdisplay.h"
#include "display/sensors/sessionform.h"
#include "display/views/arcglobalview.h"
#include "display/views/recordtable.h"
#include "display/views/sessionviews.h"
#include "display/views/summarymodel.h"
#include "display/views/summaryview.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "heartbeat.h"
#include "session/appsettings.h"
#include "session/session.h"
#include "simulator/processmodel.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTemporaryDir>

#include <memory>

namespace {

constexpr quint64 second = 1000000;
constexpr quint64 midnight = 1709251200 * second; // of 1 March 2024, UTC
constexpr int sensorCount = 4;
constexpr int patienceMs = 600000;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

EventRecord recorded(const SimulatedEvent &simulated)
{
    EventRecord event;
    event.time = midnight + quint64(simulated.timeUs);
    event.typeCode = simulated.typeCode;
    const RawWaveform &wave = simulated.waveform;
    event.samples.resize(wave.points());
    for (int i = 0; i < wave.points(); ++i) {
        event.samples[i].time = event.time + quint64(i);
        event.samples[i].voltage = double(wave.raw.at(3 * i)) * double(wave.voltageScale);
        event.samples[i].currentReal = double(wave.raw.at(3 * i + 1)) * double(wave.currentScale);
        event.samples[i].currentImaginary = double(wave.raw.at(3 * i + 2)) * double(wave.currentScale);
    }
    return event;
}

/// Records a chamber as its connection would, and saves once an hour.
void record(Session &session, int number, int hours, int rate)
{
    const auto store =
        session.addSensor(QStringLiteral("NVX-%1").arg(number), QStringLiteral("Etch %1").arg(number), QString(), 80);
    store->setDurableLog(nullptr); // nothing is lost here
    ProcessSettings settings;
    settings.seed = quint64(number);
    settings.rate = rate;
    settings.runLengthMs = 45000 + number * 500;
    settings.pauseLengthMs = 15000;
    settings.arcsPerMinute = 6;
    ProcessModel model(settings);
    store->setRecipe(ProcessModel::builtInRecipe(settings.runLengthMs));
    QVector<SamplePoint> page;
    QVector<SimulatedEvent> events;
    for (int i = 0; i < hours * 3600 * rate; ++i) {
        page.append(model.nextSample(events));
        page.last().time += midnight;
        if (page.size() < 100)
            continue;
        store->addSamples(page);
        page.clear();
        store->takeFinishedRuns();
        for (const SimulatedEvent &event : qAsConst(events))
            store->addEvent(recorded(event));
        events.clear();
        if (i / (3600 * rate) != (i + 100) / (3600 * rate)) {
            session.save();
            store->unloadIdleBlocks(true);
        }
    }
    session.save();
    store->unloadIdleBlocks(true);
}

void makeSession(const QString &folder, int hours, int rate)
{
    QElapsedTimer clock;
    clock.start();
    const auto session = Session::create(folder, nullptr);
    for (int number = 1; number <= sensorCount; ++number)
        record(*session, number, hours, rate);
    out() << QStringLiteral("made a session of %1 hours in %2 s\n").arg(hours).arg(clock.elapsed() / 1000);
    out().flush();
}

/// Window and watch.
struct Trial
{
    QTemporaryDir temporary;
    AppSettings settings{AppSettings::Source::Forgotten};
    FakePrompts prompts;
    Theme theme{Theme::Kind::Light};
    eventTypeNames dictionary{temporary.filePath(QStringLiteral("eventtypes.txt"))};
    ::eventFilter filter{dictionary};
    std::unique_ptr<MainWindow> window;
    Heartbeat heartbeat;
    QElapsedTimer clock;
    bool failed = false;

    Trial()
    {
        Recorder::Options recorder;
        recorder.lockFolder = temporary.filePath(QStringLiteral("locks"));
        window = std::make_unique<MainWindow>(
            MainWindow::Parts{prompts, settings, theme, filter, dictionary, recorder, temporary.path()});
        window->resize(1366, 768);
        window->show();
    }

    SessionViews &views() { return window->form()->views(); }

    /// Does something, waits until it is there and has been painted, and tells how long that took.
    void time(const QString &what, const std::function<void()> &act, const std::function<bool()> &isThere = {})
    {
        settle(50);
        heartbeat.reset();
        clock.start();
        act();
        QApplication::processEvents();
        const qint64 first = clock.elapsed();
        while (isThere && !isThere() && clock.elapsed() < patienceMs)
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        const qint64 whole = clock.elapsed();
        settle(20);
        out() << QStringLiteral("%1: answered after %2 ms, complete after %3 ms, longest pause %4 ms\n")
                     .arg(what, -44)
                     .arg(first)
                     .arg(whole)
                     .arg(heartbeat.longest(), 0, 'f', 0);
        out().flush();
    }

    void check(const QString &what, qint64 shown, qint64 expected)
    {
        if (shown == expected)
            return;
        failed = true;
        out() << QStringLiteral("DIFFERS: %1 is %2, not %3\n").arg(what).arg(shown).arg(expected);
    }
};

void tryViews(Trial &trial, const SessionSummary &info)
{
    int runs = 0;
    int events = 0;
    QMap<QString, qint64> byType;
    for (const SensorSummary &sensor : info.sensors) {
        runs += sensor.runs;
        events += sensor.events;
        for (auto it = sensor.eventsByType.begin(); it != sensor.eventsByType.end(); ++it)
            byType[it.key()] += it.value();
    }
    out() << QStringLiteral("%1 runs, %2 events\n").arg(runs).arg(events);
    SessionViews &views = trial.views();
    const auto rows = [&views](int page) { return views.view(page)->findChild<RecordTable *>()->model()->rowCount(); };
    const auto show = [&views](int page) { return [&views, page] { views.request(page); }; };
    trial.time(QStringLiteral("runs view"), show(SessionViews::Runs), [&] { return rows(SessionViews::Runs) == runs; });
    trial.time(QStringLiteral("events view"), show(SessionViews::Events),
               [&] { return rows(SessionViews::Events) == events; });
    auto &summary = *static_cast<SummaryView *>(views.view(SessionViews::Summary));
    trial.time(QStringLiteral("summary"), show(SessionViews::Summary),
               [&] { return summary.model().rowCount() == runs; });
    auto &chart = *static_cast<arcGlobalView *>(views.view(SessionViews::EventChart));
    trial.time(QStringLiteral("bar chart"), show(SessionViews::EventChart),
               [&] { return int(chart.histogram().total(eventtype::RfOn)) == runs; });
    for (const auto period : {CalendarPeriods::Minute, CalendarPeriods::Day, CalendarPeriods::Hour})
        trial.time(QStringLiteral("bars a %1").arg(CalendarPeriods::name(period)),
                   [&chart, period] { chart.setPeriod(period); });
    const QStringList names = views.records().typeNames();
    for (auto it = byType.begin(); it != byType.end(); ++it)
        trial.check(it.key(), qint64(chart.histogram().total(names.indexOf(it.key()))), it.value());
    for (const int page : {SessionViews::Live, SessionViews::Runs, SessionViews::Events, SessionViews::Summary,
                           SessionViews::EventChart, SessionViews::RunsOverlay, SessionViews::EventsOverlay})
        trial.time(QStringLiteral("again page %1").arg(page), show(page));
    trial.time(QStringLiteral("a type hidden"), [&] { trial.filter.setEnabled(QStringLiteral("E11"), false); });
    trial.filter.setAllEnabled(true);

    trial.time(QStringLiteral("runs view, sorted by mean V"), [&] {
        views.request(SessionViews::Runs);
        views.view(SessionViews::Runs)->findChild<RecordTable *>()->sortByColumn(3, Qt::DescendingOrder);
    });
    trial.time(QStringLiteral("whole recording in the live view"), [&] {
        views.request(SessionViews::Live);
        trial.window->form()->plot()->showWholeRange();
    });
    const OverlayTable &overlays = views.overlays();
    trial.time(
        QStringLiteral("up to 2,000 runs overlaid"),
        [&] {
            views.addToOverlay(true);
            views.request(SessionViews::RunsOverlay);
        },
        [&] {
            const int count = overlays.rowCount();
            return count > 0 && overlays.entry(count - 1).state != OverlayEntry::Waiting;
        });
    views.request(SessionViews::Runs);
    bool found = false;
    QObject::connect(&views.searcher(), &RunSearcher::changed, [&found] { found = true; });
    trial.time(
        QStringLiteral("runs searched for again"), [&] { views.searcher().start(100); }, [&found] { return found; });
    views.searcher().drop();

    views.request(SessionViews::Events);
    eventType type;
    type.name = QStringLiteral("collapse");
    type.magnitude = 50;
    type.direction = eventType::Inferior;
    trial.time(
        QStringLiteral("events matched with a type"), [&] { trial.dictionary.add(type); },
        [&] { return views.records().isUpToDate(); });
    qint64 sum = 0;
    for (int number = 0; number < views.records().typeNames().size(); ++number)
        sum += number == eventtype::RfOn ? 0 : qint64(chart.histogram().total(number));
    trial.check(QStringLiteral("all events"), sum, events);
    trial.check(QStringLiteral("collapses in the chart"),
                qint64(chart.histogram().total(views.records().typeNames().indexOf(type.name))),
                views.records().counts().value(type.name));
    trial.time(
        QStringLiteral("the type removed"), [&] { trial.dictionary.remove(0); },
        [&] { return views.records().isUpToDate(); });
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{QStringLiteral("hours"), {}, QStringLiteral("N"), QStringLiteral("24")},
                       {QStringLiteral("rate"), {}, QStringLiteral("N"), QStringLiteral("10")}});
    parser.addPositionalArgument(QStringLiteral("FOLDER"), QString());
    parser.addHelpOption();
    parser.process(application);
    if (parser.positionalArguments().size() != 1)
        parser.showHelp(2);
    const QString folder = parser.positionalArguments().first();
    if (!Session::holdsSession(folder))
        makeSession(folder, parser.value(QStringLiteral("hours")).toInt(),
                    parser.value(QStringLiteral("rate")).toInt());

    QElapsedTimer clock;
    clock.start();
    SessionSummary info;
    {
        const auto session = Session::loadReadOnly(folder, nullptr);
        if (!session)
            return 1;
        info = summaryOf(*session);
    }
    out() << QStringLiteral("read by the command line in %1 ms\n").arg(clock.elapsed());
    Trial trial;
    trial.time(
        QStringLiteral("open"), [&] { trial.window->openSession(folder); },
        [&] { return trial.window->form() && trial.views().records().isUpToDate(); });
    tryViews(trial, info);
    trial.window->endNow();
    return trial.failed ? 1 : 0;
}
