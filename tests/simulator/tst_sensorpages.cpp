#include "simulator/sensorpages.h"

#include <QFile>
#include <QTest>

using sensorpages::Generation;

namespace {

QByteArray golden(const char *name)
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/simulator/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no golden file");
}

QVector<SamplePoint> twoSamples()
{
    SamplePoint on;
    on.time = 1000999;
    on.voltage = 301.25;
    on.currentReal = 1.25;
    on.currentImaginary = -6.5;
    on.numberOfPulses = 2;
    on.pulsePeriod = 10000.5;
    on.slot1OnTime = 5000;
    on.slot1VoltageMax = 310;
    on.slot1VoltageMin = 300;
    on.slot1VoltageAvg = 305;
    on.slot1CurrentMax = 6.7;
    on.slot1CurrentMin = 6.5;
    on.slot1CurrentAvg = 6.6;
    on.slot2OnTime = 4999;
    on.slot2VoltageMax = 124;
    on.slot2VoltageMin = 120;
    on.slot2VoltageAvg = 122;
    on.slot2CurrentMax = 2.7;
    on.slot2CurrentMin = 2.5;
    on.slot2CurrentAvg = 2.6;
    on.eventCounts = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    SamplePoint off;
    off.time = 1020000;
    off.voltage = 0.4;
    off.currentReal = -0.003;
    off.currentImaginary = -0.00001; // no negative zero on the page
    return {on, off};
}

SimulatedEvent twoPointEvent()
{
    return {1500250, 5, {0.5F, 0.25F, {500, 4, -12, -250, 8, 16}}};
}

} // namespace

class tst_SensorPages : public QObject
{
    Q_OBJECT

private slots:
    void layout_data()
    {
        const sensorpages::Frame frame{1234567890123, 50, 45, 3};
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char *name, const QByteArray &page) { QTest::newRow(name) << page << golden(name); };
        row("samples_generation2.page", sensorpages::samples(twoSamples(), Generation::Second));
        row("samples_generation1.page", sensorpages::samples(twoSamples(), Generation::First));
        row("frame_generation2.page", sensorpages::frame(frame, Generation::Second));
        row("frame_generation1.page", sensorpages::frame(frame, Generation::First));
        row("event.page", sensorpages::binaryEvent(twoPointEvent(), "E23"));
        row("event_text.page", sensorpages::textualEvent(twoPointEvent(), "E23"));
        row("info.page",
            sensorpages::info({"SN42", "NVX-200", "2.3.0", "C7", {12882000, 13560000, 14238000}, "2023-05-17"}));
        row("status.page", sensorpages::status({38.5, 41.0, "enabled", 86400000, "2024-02-29 23:59:59", 2}));
    }

    void layout()
    {
        QFETCH(QByteArray, page);
        QTEST(page, "expected");
    }

    void pageWithoutSamplesKeepsItsColumns()
    {
        const QByteArray page = sensorpages::samples({}, Generation::Second);
        QCOMPARE(page.count("\":[]"), 30);
        QVERIFY(page.startsWith("{\r\n\"Time_ms\":[],\r\n"));
        QVERIFY(page.endsWith("\"E_PE\":[]\r\n}"));
    }

    void fixedTexts()
    {
        QCOMPARE(sensorpages::eventCount(7), QByteArray("{\r\n\"Event Count\":7\r\n}"));
        QCOMPARE(sensorpages::notFound(),
                 QByteArray("<html><body><h1>HTTP/1.0 404 - File Not Found</h1></body></html>"));
    }
};

QTEST_GUILESS_MAIN(tst_SensorPages)
#include "tst_sensorpages.moc"
