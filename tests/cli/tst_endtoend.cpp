#include "data/datanames.h"
#include "programs.h"
#include "recipe/recipe.h"
#include "session/session.h"
#include "simulator/ledger.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <tuple>

namespace {

const quint64 always = ~quint64(0);

struct Found
{
    quint64 time = 0;
    int typeCode = -1;
    quint32 checksum = 0;

    friend bool operator<(const Found &a, const Found &b)
    {
        return std::tie(a.time, a.typeCode, a.checksum) < std::tie(b.time, b.typeCode, b.checksum);
    }
};

QVector<Found> samplesOf(const norvexData &data)
{
    QVector<SamplePoint> samples;
    if (!data.samplesInRange(0, always, samples))
        return {};
    QVector<Found> found;
    for (const SamplePoint &sample : qAsConst(samples))
        found.append({sample.time, -1, sampleChecksum(sample)});
    return found;
}

QVector<Found> eventsOf(const norvexData &data)
{
    QVector<Found> found;
    const QVector<EventRecord> events = data.eventsInRange(0, always);
    for (const EventRecord &event : events) {
        QVector<float> voltage;
        QVector<float> real;
        QVector<float> imaginary;
        const QVector<SamplePoint> waveform = data.waveform(keyOf(event));
        for (const SamplePoint &point : waveform) {
            voltage.append(float(point.voltage));
            real.append(float(point.currentReal));
            imaginary.append(float(point.currentImaginary));
        }
        found.append({event.time, event.typeCode, waveformChecksum(voltage, real, imaginary)});
    }
    return found;
}

/// What is wrong with what was found: something that the sensor never had, twice the same, or something missing that
/// the sensor was told to forget. Empty when all is well.
QStringList compare(const QVector<LedgerEntry> &ledger, const QVector<Found> &found, qint64 baseUs, int usPerUnit)
{
    QStringList faults;
    QMap<Found, bool> expected; // taken yet
    QMap<Found, bool> cleared;
    for (const LedgerEntry &item : ledger) {
        const Found one{quint64(item.time * usPerUnit + baseUs), item.typeCode, item.checksum};
        expected.insert(one, false);
        if (item.cleared)
            cleared.insert(one, true);
        if (item.lost)
            faults.append(QStringLiteral("lost by the sensor at %1").arg(one.time));
    }
    for (const Found &one : found) {
        const auto at = expected.find(one);
        if (at == expected.end())
            faults.append(QStringLiteral("never measured: %1").arg(one.time));
        else if (at.value())
            faults.append(QStringLiteral("doubled: %1").arg(one.time));
        else
            at.value() = true;
    }
    for (auto it = cleared.constBegin(); it != cleared.constEnd(); ++it) {
        if (!expected.value(it.key()))
            faults.append(QStringLiteral("missing: %1").arg(it.key().time));
    }
    return faults;
}

QJsonObject objectOf(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

} // namespace

/// The programs as they are delivered, against each other over a real connection.
/// "tst_endtoend long" records for two minutes instead of a few seconds.
class tst_endtoend : public QObject
{
    Q_OBJECT

public:
    int m_seconds = 8;

private slots:
    void initTestCase()
    {
        QVERIFY(m_temporary.isValid());
        m_programs = std::make_unique<Programs>(m_temporary.path());
    }

    /// The simulated sensor of a program that was killed does not stay behind.
    void aSensorEndsWithItsStarter()
    {
        QProcess sensor;
        QVERIFY(m_programs->startSensor(sensor, {QStringLiteral("--end-with-input")}) > 0);
        sensor.closeWriteChannel();
        QVERIFY(sensor.waitForFinished(20000));
        QCOMPARE(sensor.exitCode(), 0);
    }

    /// 500 samples a second with arcs of every class, snapshots, two recipe uploads, and a power cut of a second. Then
    /// the session is continued for a moment: what the sensor still holds is neither lost nor doubled.
    void everythingIsRecordedExactlyOnce()
    {
        const QString ledgerPath = m_temporary.filePath(QStringLiteral("ledger"));
        const QString folder = m_temporary.filePath(QStringLiteral("session"));
        QProcess sensor;
        const quint16 port = m_programs->startSensor(
            sensor, {QStringLiteral("--rate"), QStringLiteral("500"), QStringLiteral("--serial"),
                     QStringLiteral("SN500"), QStringLiteral("--arcs"), QStringLiteral("1200"),
                     QStringLiteral("--run-length"), QStringLiteral("1.5"), QStringLiteral("--pause-length"),
                     QStringLiteral("3.5"), QStringLiteral("--preload"), QStringLiteral("2000,40"),
                     QStringLiteral("--fault"), QStringLiteral("off@3s=1s"), QStringLiteral("--ledger"), ledgerPath});
        QVERIFY(port > 0);
        const QString address = QStringLiteral("127.0.0.1:%1").arg(port);

        QProcess recorder;
        m_programs->start(recorder, QStringLiteral("norvex-cli"),
                          {QStringLiteral("record"), QStringLiteral("--session"), folder, QStringLiteral("--sensor"),
                           address + QStringLiteral(",Etch 1"), QStringLiteral("--for"), QString::number(m_seconds),
                           QStringLiteral("--retry"), QStringLiteral("0.5"), QStringLiteral("--json")});
        QVERIFY(Programs::isRecording(recorder));
        send(address, {QStringLiteral("--snapshot")});
        send(address, {QStringLiteral("--recipe"), recipeFile(QStringLiteral("Before"), 2)});
        othersAreKeptOut(folder, address);
        QTest::qWait(3700);
        send(address, {QStringLiteral("--recipe"), recipeFile(QStringLiteral("After"), 3)});
        send(address, {QStringLiteral("--snapshot")});

        const Programs::Result recorded = Programs::resultOf(recorder, 1000 * (m_seconds + 20));
        QVERIFY2(recorded.code == 0, recorded.err.constData());
        QVERIFY2(recorded.err.contains("no answer"), recorded.err.constData());
        const Programs::Result continued =
            m_programs->cli({QStringLiteral("record"), QStringLiteral("--session"), folder, QStringLiteral("--for"),
                             QStringLiteral("2"), QStringLiteral("--json")});
        QVERIFY2(continued.code == 0, continued.err.constData());
        sensor.terminate();
        QVERIFY(sensor.waitForFinished());

        const std::unique_ptr<Session> session = Session::loadReadOnly(folder, nullptr);
        QVERIFY(session);
        const auto data = session->store(QStringLiteral("SN500"));
        QVERIFY(data);
        isExactlyOnce(ledgerPath, *data, 4000);
        LedgerSnapshot ledger;
        QVERIFY(readLedger(ledgerPath, ledger, nullptr));
        enoughHappened(ledger, *data);

        const QJsonObject json = objectOf(continued.out);
        QCOMPARE(json, objectOf(m_programs->cli({QStringLiteral("info"), folder, QStringLiteral("--json")}).out));
        const Programs::Result check = m_programs->cli({QStringLiteral("check"), folder});
        QVERIFY2(check.code == 0, check.out.constData());
        exportsWhatWasRecorded(folder, *data);
        looksAtEventsAgain(folder);
        damageIsFound(folder);
        saysWhatTheStoreHolds(json.value(QStringLiteral("sensors")).toArray().at(0).toObject(), *data);
    }

    /// Killed twice, the first time before anything was saved: what the sensor was told to forget is in the journal.
    void aKilledRecorderLosesNothing()
    {
        const QString ledgerPath = m_temporary.filePath(QStringLiteral("killed.ledger"));
        const QString folder = m_temporary.filePath(QStringLiteral("killed"));
        QProcess sensor;
        const quint16 port = m_programs->startSensor(sensor, {QStringLiteral("--rate"), QStringLiteral("500"),
                                                              QStringLiteral("--serial"), QStringLiteral("SN500"),
                                                              QStringLiteral("--arcs"), QStringLiteral("1200"),
                                                              QStringLiteral("--ledger"), ledgerPath});
        QVERIFY(port > 0);
        const QStringList record{QStringLiteral("record"), QStringLiteral("--session"), folder,
                                 QStringLiteral("--sensor"), QStringLiteral("127.0.0.1:%1").arg(port)};
        for (int i = 0; i < 2; ++i) {
            QProcess recorder;
            m_programs->start(recorder, QStringLiteral("norvex-cli"), record);
            QVERIFY(Programs::isRecording(recorder));
            QTest::qWait(700);
            QCOMPARE(recorder.state(), QProcess::Running);
            recorder.kill();
            QVERIFY(recorder.waitForFinished());
        }
        const Programs::Result last =
            m_programs->cli(record + QStringList{QStringLiteral("--for"), QStringLiteral("1")});
        QVERIFY2(last.code == 0, last.err.constData());
        sensor.terminate();
        QVERIFY(sensor.waitForFinished());

        const std::unique_ptr<Session> session = Session::loadReadOnly(folder, nullptr);
        QVERIFY(session);
        const auto data = session->store(QStringLiteral("SN500"));
        QVERIFY(data);
        isExactlyOnce(ledgerPath, *data, 200);
    }

    void exitCodes_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("code");
        const QString none = m_temporary.filePath(QStringLiteral("none"));
        QFile file(m_temporary.filePath(QStringLiteral("file")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const auto row = [](const char *name, const QString &arguments, int code) {
            QTest::newRow(name) << arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts) << code;
        };
        row("no command", {}, 2);
        row("help", QStringLiteral("--help"), 0);
        row("unknown command", QStringLiteral("fly"), 2);
        row("record without a session", QStringLiteral("record --sensor 127.0.0.1"), 2);
        row("record without a sensor",
            QStringLiteral("record --session ") + m_temporary.filePath(QStringLiteral("typo")), 2);
        row("record into a file",
            QStringLiteral("record --sensor 127.0.0.1:1 --for 1 --session ") + file.fileName() + QStringLiteral("/x"),
            14);
        row("record from nobody", QStringLiteral("record --sensor 127.0.0.1:1 --for 0.3 --session ") + none, 12);
        row("info of nothing", QStringLiteral("info /nowhere/at/all"), 1);
        row("info of too much", QStringLiteral("info a b"), 2);
        row("export of nothing", QStringLiteral("export /nowhere/at/all"), 1);
        row("check of nothing", QStringLiteral("check /nowhere/at/all"), 1);
        row("repair of nothing", QStringLiteral("check --repair /nowhere/at/all"), 1);
        row("recovery of nothing", QStringLiteral("recover --json /nowhere/at/all"), 1);
        row("discover for ever", QStringLiteral("discover --wait -1"), 2);
        row("recipe to do nothing with", QStringLiteral("recipe bake /nowhere"), 2);
        row("recipe from nowhere", QStringLiteral("recipe show /nowhere"), 1);
        row("a recipe to show", QStringLiteral("recipe show ") + recipeFile(QStringLiteral("shown"), 2), 0);
        row("no recipe at all", QStringLiteral("recipe show ") + foreignFile(), 1);
        row("a sound recipe", QStringLiteral("recipe validate ") + recipeFile(QStringLiteral("sound"), 2), 0);
        row("a broken recipe", QStringLiteral("recipe validate ") + brokenRecipeFile(), 1);
        row("a broken recipe to send", QStringLiteral("send --sensor 127.0.0.1:1 --recipe ") + brokenRecipeFile(), 1);
        row("send to nobody", QStringLiteral("send --snapshot --sensor 127.0.0.1:1"), 12);
        row("send what is not there", QStringLiteral("send --recipe /nowhere --sensor 127.0.0.1:1"), 1);
    }

    void exitCodes()
    {
        QFETCH(QStringList, arguments);
        const Programs::Result result = m_programs->cli(arguments);
        QTEST(result.code, "code");
        const bool validates = arguments.contains(QStringLiteral("validate")); // what is broken is its result
        QVERIFY2(result.code == 0 || validates || result.out.isEmpty(), "stdout carries results only");
        QCOMPARE(result.code != 0, !result.err.isEmpty());
        QVERIFY2(!QFileInfo::exists(m_temporary.filePath(QStringLiteral("typo"))), "a wrong name makes no folder");
    }

    void resultsThatCannotBeWritten()
    {
        QFile full(QStringLiteral("/dev/full"));
        if (!full.exists())
            QSKIP("no device that is always full");
        QProcess program;
        program.setStandardOutputFile(full.fileName());
        m_programs->start(program, QStringLiteral("norvex-cli"), {QStringLiteral("--help")});
        QCOMPARE(Programs::resultOf(program).code, 14);
    }

    void somethingElseAnswers()
    {
        const QString none = m_temporary.filePath(QStringLiteral("printer"));
        QProcess printer;
        const quint16 port =
            m_programs->startSensor(printer, {QStringLiteral("--fault"), QStringLiteral("info@*=404")});
        QVERIFY(port > 0);
        const QString address = QStringLiteral("127.0.0.1:%1").arg(port);
        QCOMPARE(
            m_programs->cli({QStringLiteral("send"), QStringLiteral("--snapshot"), QStringLiteral("--sensor"), address})
                .code,
            13);
        const Programs::Result record = m_programs->cli(
            {QStringLiteral("record"), QStringLiteral("--for"), QStringLiteral("0.5"), QStringLiteral("--session"),
             m_temporary.filePath(QStringLiteral("printer")), QStringLiteral("--sensor"), address});
        QCOMPARE(record.code, 13);
        printer.terminate();
        printer.waitForFinished(5000);
    }

    void aSensorWithoutAFolderIsTheDisksFault()
    {
        const QString folder = m_temporary.filePath(QStringLiteral("taken"));
        QVERIFY(QDir().mkpath(folder));
        QFile inTheWay(folder + QStringLiteral("/SN7-Default"));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        QProcess sensor;
        const quint16 port = m_programs->startSensor(sensor, {QStringLiteral("--serial"), QStringLiteral("SN7")});
        QVERIFY(port > 0);
        QProcess recorder;
        m_programs->start(recorder, QStringLiteral("norvex-cli"),
                          {QStringLiteral("record"), QStringLiteral("--session"), folder, QStringLiteral("--sensor"),
                           QStringLiteral("127.0.0.1:%1").arg(port)});
        QVERIFY(Programs::says(recorder, "is not recorded yet"));
        recorder.terminate();
        QCOMPARE(Programs::resultOf(recorder).code, 14);
        sensor.terminate();
        sensor.waitForFinished(5000);
    }

    /// Who records a bay is told that one of it is missing.
    void aSensorThatIsNotReachedIsNamed()
    {
        QProcess sensor;
        const quint16 port = m_programs->startSensor(sensor, {});
        QVERIFY(port > 0);
        const Programs::Result result =
            m_programs->cli({QStringLiteral("record"), QStringLiteral("--for"), QStringLiteral("1"),
                             QStringLiteral("--session"), m_temporary.filePath(QStringLiteral("bay")),
                             QStringLiteral("--sensor"), QStringLiteral("127.0.0.1:%1").arg(port),
                             QStringLiteral("--sensor"), QStringLiteral("127.0.0.1:1")});
        QCOMPARE(result.code, 12);
        QVERIFY2(result.err.contains("127.0.0.1:1 was never reached"), result.err.constData());
        sensor.terminate();
        sensor.waitForFinished(5000);
    }

    /// Of a session with a sensor that another program records, the others are recorded; the exit code tells.
    void aSensorThatIsTakenIsNamed()
    {
        const QString host = QStringLiteral("127.0.0.1");
        QProcess taken;
        QProcess freeOne;
        const quint16 takenPort = m_programs->startSensor(taken, {QStringLiteral("--serial"), QStringLiteral("SN7")});
        const quint16 freePort = m_programs->startSensor(freeOne, {QStringLiteral("--serial"), QStringLiteral("SN8")});
        QVERIFY(takenPort > 0 && freePort > 0);
        QProcess recorder;
        m_programs->start(recorder, QStringLiteral("norvex-cli"),
                          {QStringLiteral("record"), QStringLiteral("--session"),
                           m_temporary.filePath(QStringLiteral("taking")), QStringLiteral("--sensor"),
                           QStringLiteral("127.0.0.1:%1").arg(takenPort)});
        QVERIFY(Programs::isRecording(recorder));
        for (const bool alone : {true, false}) {
            const QString folder = m_temporary.filePath(alone ? QStringLiteral("alone") : QStringLiteral("half"));
            std::unique_ptr<Session> session = Session::create(folder, nullptr);
            QVERIFY(session);
            QVERIFY(session->addSensor(QStringLiteral("SN7"), QStringLiteral("Etch 1"), host, takenPort));
            if (!alone)
                QVERIFY(session->addSensor(QStringLiteral("SN8"), QStringLiteral("Etch 2"), host, freePort));
            QVERIFY(session->save());
            session.reset();
            const Programs::Result result = m_programs->cli({QStringLiteral("record"), QStringLiteral("--for"),
                                                             QStringLiteral("1"), QStringLiteral("--session"), folder});
            QCOMPARE(result.code, 11);
            QVERIFY2(result.err.contains("SN7 is not recorded: it is recorded by norvex-cli (process "),
                     result.err.constData());
            QCOMPARE(result.err.contains("sensor SN8 at 127.0.0.1:"), !alone);
        }
        for (QProcess *process : {&recorder, &taken, &freeOne}) {
            process->terminate();
            QVERIFY(process->waitForFinished(30000));
        }
    }

    void anInterruptEndsWithASave()
    {
        QProcess sensor;
        const quint16 port = m_programs->startSensor(sensor, {QStringLiteral("--rate"), QStringLiteral("500")});
        QVERIFY(port > 0);
        const QString folder = m_temporary.filePath(QStringLiteral("interrupted"));
        QProcess recorder;
        m_programs->start(recorder, QStringLiteral("norvex-cli"),
                          {QStringLiteral("record"), QStringLiteral("--session"), folder, QStringLiteral("--sensor"),
                           QStringLiteral("127.0.0.1:%1").arg(port)});
        QVERIFY(Programs::isRecording(recorder));
        QTest::qWait(500);
        recorder.terminate();
        const Programs::Result result = Programs::resultOf(recorder);
        QVERIFY2(result.code == 0, result.err.constData());
        const std::unique_ptr<Session> session = Session::loadReadOnly(folder, nullptr);
        QVERIFY(session);
        QVERIFY(session->sensors().at(0).data->sampleCount() > 20);
        QVERIFY2(result.out.contains("Sensor NVX-SIM-0001 in chamber Default"), result.out.constData());
        sensor.terminate();
        sensor.waitForFinished(5000);
    }

private:
    void send(const QString &address, const QStringList &what)
    {
        // The sensor loses its power for a second now and then; who asks just then asks again.
        Programs::Result result;
        for (int attempt = 0; attempt < 20; ++attempt) {
            result = m_programs->cli(
                QStringList{QStringLiteral("send"), QStringLiteral("--json"), QStringLiteral("--sensor"), address} +
                what);
            if (result.code != 12) // not reached, or it did not say that it took it
                break;
            QTest::qWait(300);
        }
        QVERIFY2(result.code == 0, result.err.constData());
        QCOMPARE(objectOf(result.out).value(QStringLiteral("serial")).toString(), QStringLiteral("SN500"));
    }

    QString recipeFile(const QString &name, int steps)
    {
        Recipe recipe;
        recipe.initDefault(steps);
        recipe.setRecipeName(name);
        const QString path = m_temporary.filePath(name + QStringLiteral(".recipe"));
        return recipe.saveToFile(path) ? path : QString();
    }

    QString foreignFile()
    {
        QFile file(m_temporary.filePath(QStringLiteral("foreign.recipe")));
        const bool written = file.open(QIODevice::WriteOnly) && file.write("{\"window\": {\"width\": 3}}") > 0;
        return written ? file.fileName() : QString();
    }

    QString brokenRecipeFile()
    {
        Recipe recipe;
        recipe.initDefault(2);
        recipe.setStepName(1, QString());
        const QString path = m_temporary.filePath(QStringLiteral("broken.recipe"));
        return recipe.saveToFile(path) ? path : QString();
    }

    static QList<QByteArray> linesOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
    }

    /// The three files agree with the store; a second export replaces them only when told so.
    void exportsWhatWasRecorded(const QString &folder, const norvexData &data)
    {
        const QString out = m_temporary.filePath(QStringLiteral("run.vi.csv"));
        const QStringList command{QStringLiteral("export"), folder, QStringLiteral("--out"), out};
        const Programs::Result result = m_programs->cli(command);
        QVERIFY2(result.code == 0, result.err.constData());
        QCOMPARE(result.out.count('\n'), 3);
        const QList<QByteArray> vi = linesOf(out);
        QCOMPARE(vi.value(0), QByteArray("Norvex RF Event Detector Data Export"));
        QCOMPARE(vi.value(1), QByteArray("Chamber;Etch 1"));
        QCOMPARE(vi.value(2), QByteArray("Sensor;SN500"));
        QVERIFY(vi.contains("Total Context Points;" + QByteArray::number(data.sampleCount())));
        const int header = vi.indexOf("Date Time;Voltage (V);Current (A)");
        QCOMPARE(quint64(vi.size() - header - 2), data.sampleCount());
        const QList<QByteArray> events = linesOf(m_temporary.filePath(QStringLiteral("run.events.csv")));
        QVERIFY(events.contains("Total Events;" + QByteArray::number(data.eventCount())));
        const QList<QByteArray> runs = linesOf(m_temporary.filePath(QStringLiteral("run.rfon.csv")));
        QVERIFY(runs.contains("Number of RF-ONs;" + QByteArray::number(data.runCount())));
        QCOMPARE(m_programs->cli(command).code, 14);
        QCOMPARE(m_programs->cli(command + QStringList{QStringLiteral("--force")}).code, 0);
        QCOMPARE(m_programs->cli(command + QStringList{QStringLiteral("--sensor"), QStringLiteral("SN9")}).code, 1);
        partsMakeTheWhole(folder, data);
    }

    /// With the limits of a file, which need not carry all of them; nothing in it is guessed.
    void looksAtEventsAgain(const QString &folder)
    {
        const QString sensorFolder = folder + QStringLiteral("/SN500-Etch 1/");
        const QString ownPath = sensorFolder + datanames::lastConfig() + configFileExtension();
        SensorConfiguration own;
        QVERIFY(own.loadFromFile(ownPath));
        own.eventPoints = 321;
        QVERIFY(own.saveToFile(ownPath));
        const QString path = m_temporary.filePath(QStringLiteral("limits.norvexconfig"));
        const auto reanalyse = [&](const char *content) {
            QFile file(path);
            return file.open(QIODevice::WriteOnly) && file.write(content) >= 0 && file.flush()
                       ? m_programs->cli({QStringLiteral("reanalyse"), folder, QStringLiteral("--config"), path})
                       : Programs::Result();
        };
        QCOMPARE(reanalyse("").code, 1);
        const Programs::Result wrong = reanalyse("{\"event_points\": \"many\"}");
        QCOMPARE(wrong.code, 1);
        QVERIFY2(wrong.err.contains("Points per event"), wrong.err.constData());
        const QString written = sensorFolder + QStringLiteral("reanalysis.dat");
        QVERIFY(!QFile::exists(written));
        const Programs::Result done = reanalyse("{\"event_min_amplitude_3\": 77}");
        QVERIFY2(done.code == 0, done.err.constData());
        const QList<QByteArray> lines = linesOf(written);
        QVERIFY(lines.contains("Event3 Min Amplitude;77"));
        QVERIFY(lines.contains("Event Points;321"));
    }

    /// Two ranges that meet hold every sample once.
    void partsMakeTheWhole(const QString &folder, const norvexData &data)
    {
        const QString middle = QString::number(samplesOf(data).at(1000).time);
        quint64 points = 0;
        for (const char *side : {"--to", "--from"}) {
            const Programs::Result part = m_programs->cli(
                {QStringLiteral("export"), folder, QLatin1String(side), middle, QStringLiteral("--json"),
                 QStringLiteral("--no-events"), QStringLiteral("--no-rfon"), QStringLiteral("--force"),
                 QStringLiteral("--out"), m_temporary.filePath(QStringLiteral("part.csv"))});
            QVERIFY2(part.code == 0, part.err.constData());
            const QJsonObject json = objectOf(part.out);
            QCOMPARE(json.value(QStringLiteral("files")).toArray().size(), 1);
            points += quint64(json.value(QStringLiteral("points")).toDouble());
            if (points < data.sampleCount())
                QCOMPARE(points, quint64(1000));
        }
        QCOMPARE(points, data.sampleCount());
    }

    /// A copy of the session with a file cut short and one taken away.
    void damageIsFound(const QString &folder)
    {
        const QString copy = m_temporary.filePath(QStringLiteral("damaged"));
        QVERIFY(QDir().mkpath(copy + QStringLiteral("/SN500-Etch 1")));
        QVERIFY(QFile::copy(folder + QStringLiteral("/index.norvex_session"),
                            copy + QStringLiteral("/index.norvex_session")));
        const QFileInfoList files = QDir(folder + QStringLiteral("/SN500-Etch 1")).entryInfoList(QDir::Files);
        for (const QFileInfo &file : files) {
            const QString to = copy + QStringLiteral("/SN500-Etch 1/") + file.fileName();
            if (file.fileName() != QLatin1String("Event_1.norvexevent"))
                QVERIFY(QFile::copy(file.filePath(), to));
        }
        QVERIFY(QFile::resize(copy + QStringLiteral("/SN500-Etch 1/block_1.norvexdata"), 1000));
        const Programs::Result result = m_programs->cli({QStringLiteral("check"), copy, QStringLiteral("--json")});
        QCOMPARE(result.code, 4);
        QStringList found;
        const QJsonObject sensor = objectOf(result.out).value(QStringLiteral("sensors")).toArray().at(0).toObject();
        const QJsonArray list = sensor.value(QStringLiteral("files")).toArray();
        for (const QJsonValue &file : list)
            found.append(file.toObject().value(QStringLiteral("file")).toString() + QLatin1Char(' ') +
                         file.toObject().value(QStringLiteral("state")).toString());
        QCOMPARE(found, QStringList({QStringLiteral("block_1.norvexdata short"),
                                     QStringLiteral("Event_1.norvexevent missing")}));

        const QStringList command{QStringLiteral("export"), copy, QStringLiteral("--no-events"),
                                  QStringLiteral("--out"), m_temporary.filePath(QStringLiteral("damaged.csv"))};
        const Programs::Result exported = m_programs->cli(command);
        QCOMPARE(exported.code, 1);
        QVERIFY2(exported.err.contains("could not be read"), exported.err.constData());
        QVERIFY(QDir(copy + QStringLiteral("/SN500-Etch 1")).removeRecursively());
        QCOMPARE(m_programs->cli(command + QStringList{QStringLiteral("--force")}).code, 1);
    }

    /// Neither the session nor the sensor is free for a second recorder; reading is.
    void othersAreKeptOut(const QString &folder, const QString &address)
    {
        const Programs::Result session = m_programs->cli({QStringLiteral("record"), QStringLiteral("--for"),
                                                          QStringLiteral("1"), QStringLiteral("--session"), folder,
                                                          QStringLiteral("--sensor"), QStringLiteral("127.0.0.1:1")});
        QCOMPARE(session.code, 11);
        QVERIFY2(session.err.contains("in use by norvex-cli (process "), session.err.constData());
        const Programs::Result sensor = m_programs->cli(
            {QStringLiteral("record"), QStringLiteral("--for"), QStringLiteral("1"), QStringLiteral("--session"),
             m_temporary.filePath(QStringLiteral("second")), QStringLiteral("--sensor"), address});
        QCOMPARE(sensor.code, 11);
        QVERIFY2(sensor.err.contains("is recorded by norvex-cli (process "), sensor.err.constData());
    }

    /// Every sample and event that the sensor was told to forget is stored once, and nothing that it never had.
    static void isExactlyOnce(const QString &ledgerPath, const norvexData &data, int clearedAtLeast)
    {
        LedgerSnapshot ledger;
        QString reason;
        QVERIFY2(readLedger(ledgerPath, ledger, &reason), qPrintable(reason));
        const SensorTimeLine line = data.timeLine();
        QVERIFY(line.known);
        const QStringList faults = compare(ledger.samples, samplesOf(data), line.baseUs, 1000) +
                                   compare(ledger.events, eventsOf(data), line.baseUs, 1);
        QVERIFY2(faults.isEmpty(), qPrintable(QStringLiteral("%1 faults, the first: %2")
                                                  .arg(faults.size())
                                                  .arg(QStringList(faults.mid(0, 5)).join(QStringLiteral(", ")))));
        const auto cleared = std::count_if(ledger.samples.begin(), ledger.samples.end(),
                                           [](const LedgerEntry &sample) { return sample.cleared; });
        QVERIFY2(cleared > clearedAtLeast, qPrintable(QString::number(cleared)));
    }

    /// The comparison means something only when the recording held what it is about.
    static void enoughHappened(const LedgerSnapshot &ledger, const norvexData &data)
    {
        QMap<int, int> types;
        for (const LedgerEntry &event : ledger.events)
            types[event.typeCode] += event.cleared ? 1 : 0;
        for (int code = 0; code <= 8; ++code)
            QVERIFY2(types.value(code) > 0, qPrintable(QStringLiteral("no event of class %1").arg(code)));
        QVERIFY2(types.value(10) > 0, "no pulse event");
        QVERIFY2(types.value(11) >= 2, "not both snapshots");
        QVERIFY(data.runCount() > 0);
        QCOMPARE(data.recipe().recipeName(), QStringLiteral("After"));
    }

    static void saysWhatTheStoreHolds(const QJsonObject &sensor, const norvexData &data)
    {
        QCOMPARE(sensor.value(QStringLiteral("serial")).toString(), QStringLiteral("SN500"));
        QCOMPARE(sensor.value(QStringLiteral("chamber")).toString(), QStringLiteral("Etch 1"));
        QCOMPARE(sensor.value(QStringLiteral("folder")).toString(), QStringLiteral("SN500-Etch 1"));
        QCOMPARE(quint64(sensor.value(QStringLiteral("samples")).toDouble()), quint64(samplesOf(data).size()));
        QCOMPARE(quint64(sensor.value(QStringLiteral("firstTime")).toDouble()), samplesOf(data).constFirst().time);
        QCOMPARE(quint64(sensor.value(QStringLiteral("lastTime")).toDouble()), samplesOf(data).constLast().time);
        QCOMPARE(sensor.value(QStringLiteral("events")).toInt(), eventsOf(data).size());
        QCOMPARE(sensor.value(QStringLiteral("runs")).toInt(), data.runsInRange(0, always).size());
        QCOMPARE(sensor.value(QStringLiteral("damaged")).toBool(), false);
        int sum = 0;
        const QJsonObject types = sensor.value(QStringLiteral("eventsByType")).toObject();
        for (const QJsonValue &count : types)
            sum += count.toInt();
        QCOMPARE(sum, eventsOf(data).size());
    }

    QTemporaryDir m_temporary;
    std::unique_ptr<Programs> m_programs;
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    tst_endtoend test;
    if (arguments.removeAll(QStringLiteral("long")) > 0)
        test.m_seconds = 120;
    return QTest::qExec(&test, arguments);
}

#include "tst_endtoend.moc"
