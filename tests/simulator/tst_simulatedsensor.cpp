#include "data/eventtypelist.h"
#include "simulator/simulatedsensor.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace {

class HandClock final : public Clock
{
public:
    qint64 utcMs() const override { return 1700000000000 + now; }
    qint64 steadyMs() const override { return now; }
    qint64 now = 5000;
};

struct Bench
{
    HandClock clock;
    SimulatorOptions options;
    std::unique_ptr<SimulatedSensor> sensor;

    explicit Bench(int rate = 100, int capacity = 60000)
    {
        options.clock = &clock;
        options.rate = rate;
        options.sampleCapacity = capacity;
    }
    SimulatedSensor &start()
    {
        sensor = std::make_unique<SimulatedSensor>(options);
        return *sensor;
    }
    /// "points/events" of the frame page.
    QString frame() { return counts(sensor->framePage()); }
    static QString counts(const QByteArray &page)
    {
        const QJsonObject object = QJsonDocument::fromJson(page).object();
        return QStringLiteral("%1/%2")
            .arg(object.value(QStringLiteral("number_of_points")).toInt(-1))
            .arg(object.value(QStringLiteral("number_of_events")).toInt(-1));
    }
    QString statusText(const char *key)
    {
        return QJsonDocument::fromJson(sensor->statusPage()).object().value(QLatin1String(key)).toVariant().toString();
    }
    QByteArray times(qint64 index, qint64 limit)
    {
        return sensor->samplePage(index, limit).split('\n').value(1).trimmed();
    }
};

/// How many entries have the fate.
int count(const QVector<LedgerEntry> &entries, bool LedgerEntry::*fate)
{
    int result = 0;
    for (const LedgerEntry &entry : entries)
        result += entry.*fate ? 1 : 0;
    return result;
}

} // namespace

class tst_SimulatedSensor : public QObject
{
    Q_OBJECT

private slots:
    void samplesComeWithTheClock()
    {
        Bench bench(100);
        bench.start();
        QCOMPARE(bench.frame(), QStringLiteral("0/0"));
        bench.clock.now += 95;
        QCOMPARE(bench.frame(), QStringLiteral("9/0"));
        QCOMPARE(bench.statusText("uptime"), QStringLiteral("95"));
        QCOMPARE(bench.times(7, 20), QByteArray("\"Time_ms\":[80,90],"));
    }

    void aboveOneThousandTheSensorsClockRunsFaster()
    {
        Bench bench(2000);
        bench.start();
        bench.clock.now += 10;
        QCOMPARE(bench.frame(), QStringLiteral("20/0"));
        QCOMPARE(bench.statusText("uptime"), QStringLiteral("20"));
    }

    void preloadIsExactAndMovesTheClock()
    {
        Bench bench(100);
        bench.start().preload(500, 25);
        QCOMPARE(bench.frame(), QStringLiteral("500/25"));
        QCOMPARE(bench.statusText("uptime"), QStringLiteral("5000"));
        bench.clock.now += 10;
        QCOMPARE(bench.times(499, 20), QByteArray("\"Time_ms\":[5000,5010],").replace(",5010", ""));
        QCOMPARE(bench.frame(), QStringLiteral("501/25"));
    }

    void clearDropsSamplesAndTheEventsAmongThem()
    {
        Bench bench(100);
        SimulatedSensor &sensor = bench.start();
        sensor.preload(100, 10); // an event in the interval of every tenth sample
        sensor.clearUpTo(44);
        QCOMPARE(bench.frame(), QStringLiteral("55/6"));
        QCOMPARE(bench.times(0, 1), QByteArray("\"Time_ms\":[460],"));
        sensor.clearUpTo(-1);
        QCOMPARE(bench.frame(), QStringLiteral("55/6"));
        sensor.clearUpTo(1000);
        QCOMPARE(bench.frame(), QStringLiteral("0/0"));
        const LedgerSnapshot ledger = sensor.ledger();
        QCOMPARE(count(ledger.samples, &LedgerEntry::cleared), 100);
        QCOMPARE(count(ledger.events, &LedgerEntry::cleared), 10);
        QCOMPARE(count(ledger.samples, &LedgerEntry::handedOut), 1);
        QVERIFY(ledger.samples[45].handedOut);
    }

    void fullMemoryIsResetAndCounted()
    {
        Bench bench(100, 50);
        bench.start();
        bench.clock.now += 500;
        QCOMPARE(bench.frame().section(QLatin1Char('/'), 0, 0), QStringLiteral("50"));
        QCOMPARE(bench.statusText("fifo_resets"), QStringLiteral("0"));
        bench.clock.now += 10;
        QCOMPARE(bench.frame().section(QLatin1Char('/'), 0, 0), QStringLiteral("1"));
        QCOMPARE(bench.statusText("fifo_resets"), QStringLiteral("1"));
        QCOMPARE(count(bench.sensor->ledger().samples, &LedgerEntry::lost), 50);
    }

    void pagesAreLimited()
    {
        Bench bench(100);
        bench.start().preload(200, 0);
        QCOMPARE(bench.times(0, 1000).count(','), bench.options.samplesPerPage);
        QCOMPARE(bench.times(200, 20), QByteArray("\"Time_ms\":[],"));
        QCOMPARE(bench.times(-5, 1), QByteArray("\"Time_ms\":[10],"));
        QCOMPARE(bench.times(0, -5), QByteArray("\"Time_ms\":[],"));
    }

    void eventPageOutsideTheMemoryIsACount()
    {
        Bench bench(100);
        SimulatedSensor &sensor = bench.start();
        sensor.preload(10, 2);
        QCOMPARE(sensor.eventPage(2, true), QByteArray("{\r\n\"Event Count\":2\r\n}"));
        QCOMPARE(sensor.eventPage(-1, true), QByteArray("{\r\n\"Event Count\":2\r\n}"));
        QVERIFY(sensor.eventPage(0, false).startsWith("{\r\n\"Time_us\":"));
        QCOMPARE(sensor.eventPage(1, true).mid(21, 3), QByteArray("E12"));
    }

    void snapshotBecomesAnEvent()
    {
        Bench bench(100);
        SimulatedSensor &sensor = bench.start();
        bench.clock.now += 25;
        sensor.takeSnapshot();
        sensor.takeSnapshot();
        QCOMPARE(bench.frame(), QStringLiteral("2/2"));
        const LedgerSnapshot ledger = sensor.ledger();
        QCOMPARE(int(ledger.events[0].typeCode), int(eventtype::Snapshot));
        QCOMPARE(ledger.events[0].time, qint64(25000));
        QCOMPARE(ledger.events[1].time, qint64(25001));

        bench.clock.now += 5; // a sample comes, is counted and cleared, all in the millisecond of a snapshot
        QCOMPARE(bench.frame(), QStringLiteral("3/2"));
        sensor.takeSnapshot();
        sensor.clearUpTo(2);
        QCOMPARE(bench.frame(), QStringLiteral("0/1"));
    }

    void rebootStartsTheClockAgain_data()
    {
        QTest::addColumn<bool>("keep");
        QTest::addColumn<QString>("frame");
        QTest::newRow("data lost") << false << QStringLiteral("1/0");
        QTest::newRow("data kept") << true << QStringLiteral("21/2");
    }

    void rebootStartsTheClockAgain()
    {
        QFETCH(bool, keep);
        Bench bench(100);
        SimulatedSensor &sensor = bench.start();
        sensor.preload(20, 2);
        sensor.reboot(keep);
        bench.clock.now += 10;
        QTEST(bench.frame(), "frame");
        QCOMPARE(bench.statusText("uptime"), QStringLiteral("10"));
        QCOMPARE(sensor.ledger().samples.last().boot, 1U);
        QCOMPARE(count(sensor.ledger().samples, &LedgerEntry::lost), keep ? 0 : 20);
    }

    void uploadsAreKeptWhenTheyMakeSense()
    {
        Bench bench;
        SimulatedSensor &sensor = bench.start();
        Recipe recipe;
        recipe.initDefault(40);
        recipe.setRecipeName(QStringLiteral("Forty"));
        QVERIFY(sensor.takeRecipe(recipe.toJSON()));
        QCOMPARE(sensor.recipe(), recipe);
        QCOMPARE(sensor.recipePage(), recipe.toJSON());
        QVERIFY(!sensor.takeRecipe("{\"result\":\"ok\"}"));
        QVERIFY(!sensor.takeRecipe("nonsense"));
        QCOMPARE(sensor.recipe(), recipe);

        SensorConfiguration configuration;
        configuration.signalLock = 'x';
        configuration.eventPoints = 200;
        QVERIFY(sensor.takeConfiguration(configuration.configToJSON()));
        SensorConfiguration readBack;
        QVERIFY(readBack.configFromJSON(sensor.configurationPage()));
        QCOMPARE(readBack, configuration);
        QVERIFY(!sensor.takeConfiguration("{}"));
        sensor.preload(1, 1);
        QCOMPARE(sensor.eventPage(0, true).size(), 21 + 3 + 6 * 200);
    }

    void ledgerFileTellsTheSameStory()
    {
        QTemporaryDir folder;
        Bench bench(100);
        bench.options.ledgerPath = folder.filePath(QStringLiteral("ledger"));
        SimulatedSensor &sensor = bench.start();
        QCOMPARE(sensor.ledgerError(), QString());
        sensor.preload(4, 1);
        sensor.samplePage(1, 2);
        sensor.eventPage(0, true);
        sensor.clearUpTo(1);
        sensor.reboot(false);
        QFile file(bench.options.ledgerPath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.takeFirst(), QByteArray("# norvex sensor ledger 1 NVX-SIM-0001"));
        const LedgerSnapshot ledger = sensor.ledger();
        for (int i = 0; i < 4; ++i)
            QCOMPARE(lines.takeFirst(), QStringLiteral("S %1 0 %2 %3")
                                            .arg(i)
                                            .arg(10 * (i + 1))
                                            .arg(ledger.samples[i].checksum, 0, 16)
                                            .toLatin1());
        QVERIFY(lines.takeFirst().startsWith("E 0 0 3"));
        const QByteArray restart = "R lost " + QByteArray::number(bench.clock.utcMs());
        QCOMPARE(lines, (QList<QByteArray>{"HS 1 2", "HE 0 1", "CS 0 2", "LS 2 2", "LE 0 1", restart, ""}));
    }

    void ledgerFileReadsBack()
    {
        QTemporaryDir folder;
        Bench bench(100);
        bench.options.ledgerPath = folder.filePath(QStringLiteral("ledger"));
        LedgerSnapshot written;
        for (int life = 0; life < 2; ++life) {
            SimulatedSensor &sensor = bench.start();
            sensor.preload(40, 8);
            sensor.samplePage(10, 5);
            sensor.eventPage(3, true);
            sensor.clearUpTo(19);
            sensor.reboot(false);
            written.samples += sensor.ledger().samples;
            written.events += sensor.ledger().events;
        }
        LedgerSnapshot read;
        QString error;
        QVERIFY2(readLedger(bench.options.ledgerPath, read, &error), qPrintable(error));
        QVERIFY(read.samples == written.samples && read.events == written.events);

        QFile file(bench.options.ledgerPath);
        QVERIFY(file.open(QIODevice::Append));
        file.write("S 40 0 99");
        file.flush();
        QVERIFY2(readLedger(bench.options.ledgerPath, read, &error), "a line that is still being written");
        file.write(" 77\nHS 41 1\n");
        file.close();
        QVERIFY(!readLedger(bench.options.ledgerPath, read, &error));
        QVERIFY(!readLedger(QStringLiteral(NORVEX_TEST_DATA "/simulator/info.page"), read, &error));
    }

    void ledgerThatCannotBeWrittenIsReported()
    {
        Bench bench;
        bench.options.ledgerPath = QStringLiteral("/nowhere/at/all/ledger");
        QVERIFY(bench.start().ledgerError().contains(bench.options.ledgerPath));
    }
};

QTEST_GUILESS_MAIN(tst_SimulatedSensor)
#include "tst_simulatedsensor.moc"
