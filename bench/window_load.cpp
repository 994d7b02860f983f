// The window under load: how long the event loop of the GUI thread stands still while sixteen sensors are downloaded
// and saved, how often the plot is drawn, and how long opening a large session takes.
//
// usage: window_load [--sensors N] [--rate SAMPLES_PER_S] [--seconds N] [--blocks N] [--samples-per-block N]
//                    [--keep DIR]
// A session that is kept in DIR is made at the first time and opened again at the next ones.

#include "app/mainwindow.h"
#include "base/widgetprompts.h"
#include "data/norvexdata.h"
#include "display/look/theme.h"
#include "display/plot/arcplotdisplay.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/sessionform.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "heartbeat.h"
#include "session/appsettings.h"
#include "session/session.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <memory>
#include <vector>

namespace {

struct Sensor
{
    std::unique_ptr<QProcess> process;
    quint16 port = 0;
};

Sensor startSensor(int number, int rate)
{
    Sensor sensor;
    sensor.process = std::make_unique<QProcess>();
    sensor.process->setStandardErrorFile(QProcess::nullDevice());
    sensor.process->start(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/norvex-sensor-sim"),
                          {QStringLiteral("--rate"), QString::number(rate), QStringLiteral("--seed"),
                           QString::number(number), QStringLiteral("--serial"), QStringLiteral("NVX-%1").arg(number)});
    if (sensor.process->waitForReadyRead(10000)) {
        const QByteArray line = sensor.process->readLine().trimmed();
        sensor.port = quint16(line.mid(line.lastIndexOf(':') + 1).toUInt());
    }
    return sensor;
}

/// A session of one sensor with so many blocks, and ten events a block.
void makeSession(const QString &folder, int blocks, int samplesPerBlock)
{
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("NVX-1"), QStringLiteral("Etch"), QString(), 80);
    QVector<SamplePoint> samples(samplesPerBlock);
    quint64 time = 1700000000000000;
    for (int block = 0; block < blocks; ++block) {
        store->setTimeLine({true, block, block}); // a new one closes a block before it is full
        for (SamplePoint &sample : samples) {
            sample.time = time += 1000000;
            sample.voltage = double(time % 977);
        }
        store->addSamples(samples);
        for (int i = 0; i < 10; ++i) {
            EventRecord event;
            event.time = time - quint64(i) * 1000000;
            event.typeCode = i % 9;
            store->addEvent(event);
        }
        if (block % 50 == 49)
            session->save();
    }
    session->save();
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{QStringLiteral("sensors"), {}, QStringLiteral("N"), QStringLiteral("16")},
                       {QStringLiteral("rate"), {}, QStringLiteral("N"), QStringLiteral("1000")},
                       {QStringLiteral("seconds"), {}, QStringLiteral("N"), QStringLiteral("30")},
                       {QStringLiteral("blocks"), {}, QStringLiteral("N"), QStringLiteral("1000")},
                       {QStringLiteral("samples-per-block"), {}, QStringLiteral("N"), QStringLiteral("10000")},
                       {QStringLiteral("keep"), {}, QStringLiteral("DIR"), {}}});
    parser.addHelpOption();
    parser.process(application);
    QTextStream out(stdout);

    const QTemporaryDir temporary;
    AppSettings settings(AppSettings::Source::Forgotten);
    WidgetPrompts prompts;
    Theme theme(Theme::Kind::Light);
    eventTypeNames dictionary(temporary.filePath(QStringLiteral("eventtypes.txt")));
    ::eventFilter filter(dictionary);
    Recorder::Options recorder;
    recorder.lockFolder = temporary.filePath(QStringLiteral("locks"));
    MainWindow window({prompts, settings, theme, filter, dictionary, recorder, temporary.path()});
    window.resize(1366, 768);
    window.show();
    Heartbeat heartbeat;

    const int blocks = parser.value(QStringLiteral("blocks")).toInt();
    if (blocks > 0) {
        const QString folder = parser.isSet(QStringLiteral("keep")) ? parser.value(QStringLiteral("keep"))
                                                                    : temporary.filePath(QStringLiteral("large"));
        if (!Session::holdsSession(folder))
            makeSession(folder, blocks, parser.value(QStringLiteral("samples-per-block")).toInt());
        heartbeat.reset();
        QElapsedTimer clock;
        clock.start();
        window.openSession(folder);
        settle(1);
        const QImage picture = window.grab().toImage();
        out << QStringLiteral("open %1 blocks and %2 events: first picture after %3 ms\n")
                   .arg(blocks)
                   .arg(blocks * 10)
                   .arg(clock.elapsed());
        settle(3000);
        heartbeat.print(out, QStringLiteral("while opening"));
    }

    const int count = parser.value(QStringLiteral("sensors")).toInt();
    std::vector<Sensor> sensors;
    window.startEmptySession();
    for (int i = 1; i <= count; ++i) {
        sensors.push_back(startSensor(i, parser.value(QStringLiteral("rate")).toInt()));
        window.connectTo(QStringLiteral("127.0.0.1"), sensors.back().port, QStringLiteral("Etch %1").arg(i));
    }
    settle(5000);
    heartbeat.reset();
    const int seconds = parser.value(QStringLiteral("seconds")).toInt();
    settle(seconds * 1000); // with three saves
    heartbeat.print(out, QStringLiteral("%1 sensors downloading").arg(count));
    quint64 samples = 0;
    for (int i = 1; i <= count; ++i) {
        if (const dataObjectWidget *card = window.form()->card(QStringLiteral("NVX-%1").arg(i)))
            samples += card->store()->sampleCount();
    }
    out << QStringLiteral("recorded %1 samples in about %2 s\n").arg(samples).arg(seconds + 5);
    out.flush();
    for (const Sensor &sensor : sensors) {
        sensor.process->terminate();
        sensor.process->waitForFinished(2000);
    }
    window.endNow();
    return 0;
}
