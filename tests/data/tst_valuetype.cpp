#include "data/eventtypelist.h"
#include "data/samplepoint.h"
#include "data/samples.h"
#include "data/valuetype.h"

#include <QtTest>

#include <limits>

class tst_ValueType : public QObject
{
    Q_OBJECT

private slots:
    void quantities_data();
    void quantities();
    void typesOutsideTheListAreZero();
    void pulseRatiosWithoutAPeriodAreZero_data();
    void pulseRatiosWithoutAPeriodAreZero();
    void longOnTimesDoNotOverflow();
    void eventTypes_data();
    void eventTypes();
    void unknownEventTypes();
};

void tst_ValueType::quantities_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("value");
    const QStringList lines = QStringLiteral( // name|unit|value in the sample below
                                  "Voltage|V|100\nCurrent|A|5\nCurrent (Real)|A|3\nCurrent (Imaginary)|A|4\n"
                                  "Frequency|Hz|13560000\nNumber of Pulses||6\nPulse Period|µs|1000\n"
                                  "Pulse Frequency|Hz|1000\nPulse Duty Cycle|%|75\nP. Slot 1 On Time|µs|500\n"
                                  "P. Slot 1 Voltage|V|11\nP. Slot 1 Voltage Max|V|12\nP. Slot 1 Voltage Min|V|13\n"
                                  "P. Slot 1 Current Avg|A|14\nP. Slot 1 Current Max|A|15\nP. Slot 1 Current Min|A|16\n"
                                  "P. Slot 2 On Time|µs|250\nP. Slot 2 Voltage|V|21\nP. Slot 2 Voltage Max|V|22\n"
                                  "P. Slot 2 Voltage Min|V|23\nP. Slot 2 Current Avg|A|24\nP. Slot 2 Current Max|A|25\n"
                                  "P. Slot 2 Current Min|A|26\nNumber of E11 events||1000\nNumber of E12 events||1001\n"
                                  "Number of E13 events||1002\nNumber of E21 events||1003\nNumber of E22 events||1004\n"
                                  "Number of E23 events||1005\nNumber of E31 events||1006\nNumber of E32 events||1007\n"
                                  "Number of E33 events||1008\nNumber of EPE events||1009")
                                  .split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QStringList cells = lines.at(i).split(QLatin1Char('|'));
        QTest::addRow("%d", i) << cells.at(0) << cells.at(1) << cells.at(2).toDouble();
    }
}

void tst_ValueType::quantities()
{
    QFETCH(QString, name);
    QFETCH(QString, unit);
    QFETCH(double, value);
    const int type = QString::fromLatin1(QTest::currentDataTag()).toInt();
    SamplePoint sample = distinctSample();
    sample.voltage = 100;
    sample.frequency = 13560000;
    sample.currentReal = 3;
    sample.currentImaginary = 4;
    sample.numberOfPulses = 6;
    sample.pulsePeriod = 1000;
    sample.slot1OnTime = 500;
    sample.slot2OnTime = 250;
    QCOMPARE(valueTypeNames().size(), valueTypeCount);
    QCOMPARE(valueTypeUnits().size(), valueTypeCount);
    QCOMPARE(valueTypeNames().at(type), name);
    QCOMPARE(valueTypeUnits().at(type), unit);
    QCOMPARE(sampleValue(sample, type), value);
}

void tst_ValueType::typesOutsideTheListAreZero()
{
    for (const int type : {-1, valueTypeCount, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        QCOMPARE(sampleValue(distinctSample(), type), 0.0);
}

void tst_ValueType::pulseRatiosWithoutAPeriodAreZero_data()
{
    QTest::addColumn<double>("period");
    QTest::newRow("zero") << 0.0;
    QTest::newRow("negative") << -5.0;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
}

void tst_ValueType::pulseRatiosWithoutAPeriodAreZero()
{
    QFETCH(double, period);
    SamplePoint sample = distinctSample();
    sample.pulsePeriod = period;
    QCOMPARE(sampleValue(sample, PulseFrequency), 0.0);
    QCOMPARE(sampleValue(sample, PulseDutyCycle), 0.0);
}

void tst_ValueType::longOnTimesDoNotOverflow()
{
    SamplePoint sample;
    sample.pulsePeriod = 4294967294.0;
    sample.slot1OnTime = std::numeric_limits<qint32>::max();
    sample.slot2OnTime = std::numeric_limits<qint32>::max();
    QCOMPARE(sampleValue(sample, PulseDutyCycle), 100.0);
}

void tst_ValueType::eventTypes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("counter");
    const QStringList names =
        QStringLiteral("E11 E12 E13 E21 E22 E23 E31 E32 E33 NOTANEVENT E_PE SNAP E_ON").split(QLatin1Char(' '));
    const QVector<int> counters{0, 1, 2, 3, 4, 5, 6, 7, 8, -1, 9, -1, -1};
    QCOMPARE(names.size(), eventtype::builtInCount);
    for (int code = 0; code < names.size(); ++code)
        QTest::addRow("%d", code) << names.at(code) << counters.at(code);
}

void tst_ValueType::eventTypes()
{
    QFETCH(QString, name);
    QFETCH(int, counter);
    const int code = QString::fromLatin1(QTest::currentDataTag()).toInt();
    QCOMPARE(eventtype::name(code), name);
    QCOMPARE(eventtype::code(name), code);
    QCOMPARE(eventtype::countIndex(code), counter);
}

void tst_ValueType::unknownEventTypes()
{
    for (const int code : {-1, 13, 300}) {
        QCOMPARE(eventtype::name(code), QString());
        QCOMPARE(eventtype::countIndex(code), -1);
    }
    QCOMPARE(eventtype::code(QStringLiteral("e11")), -1);
    QCOMPARE(eventtype::code(QString()), -1);
    QCOMPARE(eventtype::code(eventtype::className(2, 3)), int(eventtype::E23));
}

QTEST_APPLESS_MAIN(tst_ValueType)
#include "tst_valuetype.moc"
