// The window under load: how long the event loop of the GUI thread stands still while sixteen sensors are downloaded
// and saved, how often the plot is drawn meanwhile, and how long opening a large session takes.

#include "app/mainwindow.h"
#include "base/widgetprompts.h"
#include "compare.h"
#include "data/blockfile.h"
#include "data/indexfile.h"
#include "data/norvexdata.h"
#include "display/look/theme.h"
#include "display/plot/plotfigure.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/sessionform.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "heartbeat.h"
#include "session/appsettings.h"
#include "session/session.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <qwt_plot_canvas.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr int sensorCount = 16;
constexpr int samplesPerSecond = 1000;
constexpr int settleMs = 5000;
constexpr int loadMs = 25000; // with two saves
constexpr int blockCount = 10000;
constexpr int samplesPerBlock = 20;
constexpr int eventsPerBlock = 10;

/// Counts how often the canvas of a plot is painted.
class PaintCount : public QObject
{
public:
    explicit PaintCount(QWidget *canvas) { canvas->installEventFilter(this); }
    int paints = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

struct Sensor
{
    std::unique_ptr<QProcess> process;
    quint16 port = 0;
};

Sensor startSensor(int number)
{
    Sensor sensor;
    sensor.process = std::make_unique<QProcess>();
    sensor.process->setStandardErrorFile(QProcess::nullDevice());
    sensor.process->start(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/norvex-sensor-sim"),
                          {QStringLiteral("--rate"), QString::number(samplesPerSecond), QStringLiteral("--seed"),
                           QString::number(number), QStringLiteral("--serial"), QStringLiteral("NVX-%1").arg(number)});
    if (sensor.process->waitForReadyRead(10000)) {
        const QByteArray line = sensor.process->readLine().trimmed();
        sensor.port = quint16(line.mid(line.lastIndexOf(':') + 1).toUInt());
    }
    return sensor;
}

/// The index of a long recording and its blocks; event files are only read when someone looks at an event.
bool writeStore(const QString &sensorPath)
{
    const QByteArray folder = sensorPath.section(QLatin1Char('/'), -1).toUtf8();
    QByteArray index;
    indexfile::appendHeader(index, {QStringLiteral("NVX-1"), QStringLiteral("Etch"), true, {}});
    indexfile::appendBlockStart(index, blockCount);
    QVector<SamplePoint> samples(samplesPerBlock);
    quint64 time = 1700000000000000;
    bool ok = true;
    for (int block = 1; block <= blockCount && ok; ++block) {
        for (SamplePoint &sample : samples) {
            sample.time = time += 1000000;
            sample.voltage = double(time % 977);
        }
        const QString name = QStringLiteral("block_%1.norvexdata").arg(block);
        QFile file(sensorPath + QLatin1Char('/') + name);
        ok = file.open(QIODevice::WriteOnly) && file.write(blockfile::encodeBlock(samples)) > 0;
        indexfile::appendBlock(index, folder, name, samples.constFirst().time, time);
    }
    indexfile::appendBlockEnd(index);
    indexfile::appendEventStart(index, blockCount * eventsPerBlock);
    for (int i = 0; i < blockCount * eventsPerBlock; ++i) {
        EventSummary event;
        event.time = 1700000000000000 + quint64(i) * 2000000;
        event.typeCode = i % 9;
        event.fileNumber = i + 1;
        indexfile::appendEvent(index, folder, event);
    }
    indexfile::appendEventEnd(index);
    QFile file(sensorPath + QStringLiteral("/index.dat"));
    return ok && file.open(QIODevice::WriteOnly) && file.write(index) == index.size();
}

bool makeSession(const QString &path)
{
    QString sensorPath;
    {
        const auto session = Session::create(path, nullptr);
        const auto store = session->addSensor(QStringLiteral("NVX-1"), QStringLiteral("Etch"), QString(), 80);
        sensorPath = path + QLatin1Char('/') + store->folderName();
        if (!session->save())
            return false;
    }
    return writeStore(sensorPath);
}

/// What a run of the application would own.
struct World
{
    World() { window.resize(1366, 768); }

    QTemporaryDir folder;
    AppSettings settings{AppSettings::Source::Forgotten};
    WidgetPrompts prompts;
    Theme theme{Theme::Kind::Light};
    eventTypeNames dictionary{folder.filePath(QStringLiteral("eventtypes.txt"))};
    ::eventFilter filter{dictionary};
    Recorder::Options recorder = [this] {
        Recorder::Options options;
        options.lockFolder = folder.filePath(QStringLiteral("locks"));
        return options;
    }();
    MainWindow window{{prompts, settings, theme, filter, dictionary, recorder, folder.path()}};
};

struct Opening
{
    double pictureMs = 0;
    double longestPauseMs = 0;
};

Opening openLarge()
{
    World world;
    const QString path = world.folder.filePath(QStringLiteral("large"));
    Opening opening;
    if (!makeSession(path))
        return opening;
    world.window.show();
    Heartbeat heartbeat;
    settle(200);
    heartbeat.reset();
    QElapsedTimer clock;
    clock.start();
    world.window.openSession(path);
    settle(1);
    const QPixmap picture = world.window.grab();
    opening.pictureMs = double(clock.nsecsElapsed()) / 1e6;
    settle(3000);
    opening.longestPauseMs = heartbeat.longest();
    world.window.endNow();
    return opening;
}

struct Load
{
    double longestPauseMs = 0;
    double paintsPerSecond = 0;
    double missing = 1; // part of the samples that should be there
};

Load downloadAll()
{
    World world;
    world.window.show();
    world.window.startEmptySession();
    std::vector<Sensor> sensors;
    for (int i = 1; i <= sensorCount; ++i) {
        sensors.push_back(startSensor(i));
        world.window.connectTo(QStringLiteral("127.0.0.1"), sensors.back().port, QStringLiteral("Etch %1").arg(i));
    }
    settle(settleMs);
    Load load;
    const QList<PlotFigure *> figures = world.window.findChildren<PlotFigure *>();
    const auto figure =
        std::find_if(figures.begin(), figures.end(), [](const PlotFigure *any) { return any->isVisible(); });
    if (figure == figures.end())
        return load;
    PaintCount count((*figure)->plotCanvas());
    Heartbeat heartbeat;
    settle(loadMs);
    load.longestPauseMs = heartbeat.longest();
    load.paintsPerSecond = 1000.0 * count.paints / loadMs;
    quint64 samples = 0;
    for (int i = 1; i <= sensorCount; ++i) {
        if (const dataObjectWidget *card = world.window.form()->card(QStringLiteral("NVX-%1").arg(i)))
            samples += card->store()->sampleCount();
    }
    load.missing = 1 - double(samples) / (double(sensorCount) * samplesPerSecond * loadMs / 1000);
    for (const Sensor &sensor : sensors) {
        sensor.process->terminate();
        sensor.process->waitForFinished(2000);
    }
    world.window.endNow();
    return load;
}

template <class Value>
void row(const std::string &work, double limit, const std::string &unit, Value value, bool good)
{
    bench::atMost(
        work, limit, unit,
        [value, good](benchmark::State &state) {
            if (!good)
                state.SkipWithError("it did not do its work");
            return value;
        },
        1);
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QApplication application(argc, argv);
    const Opening opening = openLarge();
    const Load load = downloadAll();
    const bool opened = opening.pictureMs > 0;
    const bool loaded = load.missing < 0.1 && load.paintsPerSecond > 0;
    row("open 10,000 blocks and 100,000 events, first picture", 1000, "ms", opening.pictureMs, opened);
    row("the same, longest pause of the event loop", 50, "ms", opening.longestPauseMs, opened);
    row("16 sensors at 1,000 samples/s and saves, longest pause of the event loop", 50, "ms", load.longestPauseMs,
        loaded);
    row("the same, paintings of the plot a second", 10, "paintings", load.paintsPerSecond, loaded);
    return bench::run(argc, argv);
}
