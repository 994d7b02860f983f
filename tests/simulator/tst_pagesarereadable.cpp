#include "sensor/samplepage.h"
#include "sensor/webservice.h"
#include "simulator/simulatedsensor.h"

#include <QTest>

using sensorpages::Generation;

Q_DECLARE_METATYPE(Generation)

namespace {

/// Time stands still, so nothing is generated but what a test asks for.
class StillClock final : public Clock
{
public:
    qint64 utcMs() const override { return 1700000000000; }
    qint64 steadyMs() const override { return 0; }
};

const StillClock stillClock;

SimulatorOptions still()
{
    SimulatorOptions options;
    options.clock = &stillClock;
    return options;
}

QVector<float> list(const std::vector<float> &values)
{
    QVector<float> result;
    for (float value : values)
        result.append(value);
    return result;
}

quint32 checksumOf(const EventWebservice &event)
{
    return waveformChecksum(list(event.voltage), list(event.currentReal), list(event.currentImaginary));
}

} // namespace

/// What the sensor writes and what the program reads are written apart from each other; here they meet.
class tst_PagesAreReadable : public QObject
{
    Q_OBJECT

private slots:
    void everySampleArrivesAsItWasGenerated_data()
    {
        QTest::addColumn<Generation>("generation");
        QTest::newRow("first generation") << Generation::First;
        QTest::newRow("second generation") << Generation::Second;
    }

    void everySampleArrivesAsItWasGenerated()
    {
        QFETCH(Generation, generation);
        SimulatorOptions options = still();
        options.generation = generation;
        options.rate = 100;
        SimulatedSensor sensor(options);
        sensor.preload(1500, 60);
        QVector<SamplePoint> read;
        while (read.size() < 1500) {
            const QByteArray page = sensor.samplePage(read.size(), 20);
            const SamplePage decoded = parseSamplePage(page.constData(), std::size_t(page.size()), 5000000);
            QVERIFY(decoded.ok() && !decoded.points.isEmpty());
            QCOMPARE(decoded.ignoredColumns, 0);
            read += decoded.points;
        }
        const LedgerSnapshot ledger = sensor.ledger();
        int pulsed = 0;
        for (int i = 0; i < 1500; ++i) {
            QCOMPARE(read[i].time, quint64(ledger.samples[i].time) * 1000 + 5000000);
            QCOMPARE(sampleChecksum(read[i]), ledger.samples[i].checksum);
            pulsed += read[i].numberOfPulses > 0 ? 1 : 0;
        }
        QVERIFY(pulsed > 100);
    }

    void everyEventArrivesAsItWasGenerated()
    {
        SimulatedSensor sensor(still());
        sensor.preload(20, 20);
        const LedgerSnapshot ledger = sensor.ledger();
        for (int i = 0; i < 20; ++i) {
            for (bool binary : {true, false}) {
                EventWebservice event;
                QVERIFY(event.decode(sensor.eventPage(i, binary), 0));
                QCOMPARE(event.rawTimeUs, ledger.events[i].time);
                QCOMPARE(event.typeCode, qint32(ledger.events[i].typeCode));
                QCOMPARE(event.missingBytes, 0);
                QCOMPARE(event.voltage.size(), std::size_t(1000));
                QCOMPARE(checksumOf(event), ledger.events[i].checksum);
            }
        }
    }

    void theOtherPagesSayWhatTheyMean()
    {
        SimulatorOptions options = still();
        options.serial = QStringLiteral("SN 7-b");
        SimulatedSensor sensor(options);
        sensor.preload(45, 3);
        InfoWebservice info;
        QVERIFY(info.decode(sensor.infoPage()));
        QCOMPARE(info.serial_number, options.serial);
        QCOMPARE(info.frequency, (QVector<qint32>{12882000, 13560000, 14238000}));
        FrameWebservice frame;
        QVERIFY(frame.decode(sensor.framePage()));
        QCOMPARE(frame.number_of_points, 45);
        QCOMPARE(frame.number_of_events, 3);
        QCOMPARE(frame.start, qint64(20));
        StatusWebservice status;
        QVERIFY(status.decode(sensor.statusPage()));
        QCOMPARE(status.uptimeMs, qint64(900));
        QCOMPARE(status.fifo_resets, 0);
        QVERIFY(status.pcb_temperature > 15 && status.pcb_temperature < 60);
        SensorConfiguration configuration;
        QVERIFY(configuration.configFromJSON(sensor.configurationPage()));
        QCOMPARE(configuration, SensorConfiguration());
        Recipe recipe;
        QVERIFY(recipe.fromJSON(sensor.recipePage()));
        QCOMPARE(recipe.recipeName(), QStringLiteral("Oxide etch"));
        QCOMPARE(recipe.numberOfSteps(), 3);
    }
};

QTEST_GUILESS_MAIN(tst_PagesAreReadable)
#include "tst_pagesarereadable.moc"
