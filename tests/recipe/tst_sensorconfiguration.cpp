#include "recipe/configurationfields.h"
#include "recipe/sensorconfiguration.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>
#include <QtTest>

namespace {

QByteArray golden(const QString &name)
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/recipe/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A reply in which every value differs from the default.
QJsonObject reply()
{
    return QJsonDocument::fromJson(golden(QStringLiteral("reply.json"))).object();
}

QByteArray bytes(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

QByteArray text(const SensorConfiguration &configuration)
{
    QByteArray out;
    QTextStream stream(&out);
    configuration.writeConfigText(stream);
    stream.flush();
    return out;
}

SensorConfiguration fromText(QByteArray lines)
{
    SensorConfiguration configuration;
    QTextStream stream(&lines, QIODevice::ReadOnly);
    configuration.readConfigText(stream);
    return configuration;
}

} // namespace

class tst_SensorConfiguration : public QObject
{
    Q_OBJECT

private slots:
    void goldenForms();
    void firstFaultStopsTheReading_data();
    void firstFaultStopsTheReading();
    void numbersAreClamped_data();
    void numbersAreClamped();
    void characters_data();
    void characters();
    void limitsOfAnotherShape_data();
    void limitsOfAnotherShape();
    void textKeepsWhatItCarries();
    void textEnds_data();
    void textEnds();
    void textThatDoesNotConvert();
    void files_data();
    void files();
    void unreadableFileChangesNothing_data();
    void unreadableFileChangesNothing();
    void equalityCoversEveryField();
};

void tst_SensorConfiguration::goldenForms()
{
    QCOMPARE(SensorConfiguration().configToJSON(), golden(QStringLiteral("default.norvexconfig")));
    QCOMPARE(text(SensorConfiguration()), golden(QStringLiteral("default.txt")));

    SensorConfiguration configuration;
    QVERIFY(configuration.configFromJSON(golden(QStringLiteral("reply.json"))));
    QCOMPARE(configuration.configToJSON(), golden(QStringLiteral("reply.norvexconfig")));
    QCOMPARE(text(configuration), golden(QStringLiteral("reply.txt")));
}

void tst_SensorConfiguration::firstFaultStopsTheReading_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value"); // undefined: missing
    for (const ConfigurationField &field : configurationFields()) {
        const QString key = field.readKey;
        QTest::addRow("%s missing", qPrintable(key)) << key << QJsonValue(QJsonValue::Undefined);
        QTest::addRow("%s null", qPrintable(key)) << key << QJsonValue();
        const bool isText = std::holds_alternative<quint8 SensorConfiguration::*>(field.member);
        QTest::addRow("%s of another type", qPrintable(key))
            << key << (isText ? QJsonValue(1) : QJsonValue(QStringLiteral("1")));
    }
}

void tst_SensorConfiguration::firstFaultStopsTheReading()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QJsonObject object = reply();
    object.insert(key, value);
    SensorConfiguration configuration;
    QVERIFY(!configuration.configFromJSON(bytes(object)));

    // What comes before the fault is taken, the rest is not.
    SensorConfiguration complete;
    QVERIFY(complete.configFromJSON(bytes(reply())));
    const QJsonObject expectedBefore = QJsonDocument::fromJson(complete.configToJSON()).object();
    const QJsonObject expectedAfter = QJsonDocument::fromJson(SensorConfiguration().configToJSON()).object();
    const QJsonObject written = QJsonDocument::fromJson(configuration.configToJSON()).object();
    bool isBefore = true;
    for (const ConfigurationField &field : configurationFields()) {
        isBefore = isBefore && field.readKey != key;
        QCOMPARE(written.value(field.writtenKey), (isBefore ? expectedBefore : expectedAfter).value(field.writtenKey));
    }
}

void tst_SensorConfiguration::numbersAreClamped_data()
{
    QTest::addColumn<double>("number");
    QTest::addColumn<quint32>("asUnsigned");
    QTest::addColumn<qint32>("asSigned");
    QTest::newRow("above 2^31") << 3e9 << 3000000000U << 2147483647;
    QTest::newRow("largest") << 4294967295.0 << 4294967295U << 2147483647;
    QTest::newRow("above 2^32") << 1e300 << 4294967295U << 2147483647;
    QTest::newRow("negative") << -5.0 << 0U << -5;
    QTest::newRow("below -2^31") << -1e300 << 0U << -2147483647 - 1;
}

void tst_SensorConfiguration::numbersAreClamped()
{
    QFETCH(double, number);
    QJsonObject object = reply();
    object.insert(QStringLiteral("pulse_on_max"), number);
    object.insert(QStringLiteral("refresh_rate"), number);
    object.insert(QStringLiteral("frequency_limit"), QJsonArray{number, number});
    SensorConfiguration configuration;
    QVERIFY(configuration.configFromJSON(bytes(object)));
    QTEST(configuration.pulseOnMax, "asUnsigned");
    QTEST(configuration.refreshRate, "asSigned");
    QTEST(configuration.frequencyLimitLow, "asSigned");
    QTEST(configuration.frequencyLimitHigh, "asSigned");
}

void tst_SensorConfiguration::characters_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<int>("stored");
    QTest::newRow("one") << "1" << int('1');
    QTest::newRow("first of many") << "abc" << int('a');
    QTest::newRow("empty") << "" << 0;
    QTest::newRow("first byte of UTF-8") << QString(QChar(0xE9)) << 0xC3;
}

void tst_SensorConfiguration::characters()
{
    QFETCH(QString, given);
    QFETCH(int, stored);
    QJsonObject object = reply();
    object.insert(QStringLiteral("signal_lock"), given);
    SensorConfiguration configuration;
    QVERIFY(configuration.configFromJSON(bytes(object)));
    QCOMPARE(int(configuration.signalLock), stored);
    const QJsonObject written = QJsonDocument::fromJson(configuration.configToJSON()).object();
    QCOMPARE(written.value(QStringLiteral("signalLock")).toString(), QString(QChar(stored)));
    QVERIFY(!written.contains(QStringLiteral("signal_lock")));
}

void tst_SensorConfiguration::limitsOfAnotherShape_data()
{
    QTest::addColumn<QJsonArray>("limits");
    QTest::newRow("three") << QJsonArray{1, 2, 3};
    QTest::newRow("one") << QJsonArray{1};
    QTest::newRow("texts") << QJsonArray{QStringLiteral("1"), 2};
    QTest::newRow("none") << QJsonArray();
}

void tst_SensorConfiguration::limitsOfAnotherShape()
{
    QFETCH(QJsonArray, limits);
    QJsonObject object = reply();
    object.insert(QStringLiteral("frequency_limit"), limits);
    SensorConfiguration configuration;
    QVERIFY(configuration.configFromJSON(bytes(object)));
    QCOMPARE(configuration.frequencyLimitLow, SensorConfiguration().frequencyLimitLow);
    QCOMPARE(configuration.frequencyLimitHigh, SensorConfiguration().frequencyLimitHigh);
    QCOMPARE(configuration.ignoreTimeAfterStart, 25U);
}

void tst_SensorConfiguration::textKeepsWhatItCarries()
{
    SensorConfiguration configuration;
    QVERIFY(configuration.configFromJSON(bytes(reply())));
    SensorConfiguration expected = configuration;
    const SensorConfiguration previous;
    expected.glitchPeriodTime = previous.glitchPeriodTime;
    expected.pulseEventResolution = previous.pulseEventResolution;
    expected.pulseOnMin = previous.pulseOnMin;
    expected.pulseOnMax = previous.pulseOnMax;
    expected.captureAllPulses = previous.captureAllPulses;
    expected.skipStartTime = previous.skipStartTime;
    QVERIFY(fromText(text(configuration)) == expected);
}

void tst_SensorConfiguration::textEnds_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<qint32>("refreshRate");
    QTest::newRow("end of file") << QByteArray("Refresh Rate;7") << 7;
    QTest::newRow("End Config") << QByteArray("End Config\nRefresh Rate;7\n") << 100;
    QTest::newRow("End Block Config") << QByteArray("End Block Config;\nRefresh Rate;7\n") << 100;
    QTest::newRow("windows line ends") << QByteArray("Event Points;3\r\nRefresh Rate;7\r\n") << 7;
    QTest::newRow("unknown lines") << QByteArray("\n;;;\nhello;9\nRefresh Rate;7\n") << 7;
}

void tst_SensorConfiguration::textEnds()
{
    QFETCH(QByteArray, lines);
    QTEST(fromText(lines).refreshRate, "refreshRate");
}

void tst_SensorConfiguration::textThatDoesNotConvert()
{
    const SensorConfiguration read =
        fromText("Signal Base Threshold;x\nRefresh Rate;-3\nEvent Points;-3\nFrequency Limit;4000000000;12\n"
                 "Signal Lock;300\nNoise Filter Length\nPulse Period Max;4294967295\nSwitch Event;\n");
    QCOMPARE(read.signalBaseThreshold, 0.0);
    QCOMPARE(read.refreshRate, -3);
    QCOMPARE(read.eventPoints, 0U);
    QCOMPARE(read.frequencyLimitLow, 0);
    QCOMPARE(read.frequencyLimitHigh, 12);
    QCOMPARE(int(read.signalLock), 0);
    QCOMPARE(read.noiseFilterLength, 0U);
    QCOMPARE(read.pulsePeriodMax, 4294967295U);
    QCOMPARE(int(read.captureSwitchOnEvents), 0);
}

void tst_SensorConfiguration::files_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("complete");
    QTest::newRow("written by this program") << golden(QStringLiteral("reply.norvexconfig")) << true;
    QTest::newRow("a sensor's reply") << golden(QStringLiteral("reply.json")) << true;
    QTest::newRow("text form") << golden(QStringLiteral("reply.txt")) << false;
}

void tst_SensorConfiguration::files()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, complete);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("config_last") + configFileExtension());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();

    SensorConfiguration expected;
    QVERIFY(expected.configFromJSON(bytes(reply())));
    if (!complete)
        expected = fromText(text(expected));
    SensorConfiguration read;
    QVERIFY(read.loadFromFile(path));
    QVERIFY(read == expected);

    QVERIFY(read.saveToFile(path));
    SensorConfiguration again;
    QVERIFY(again.loadFromFile(path));
    QVERIFY(again == read);
}

void tst_SensorConfiguration::unreadableFileChangesNothing_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("other text") << QByteArray("hello\nworld;1\n");
    QTest::newRow("incomplete object") << QByteArray(R"({"signal_base_threshold": 77})");
    QTest::newRow("array") << QByteArray("[1]");
    QTest::newRow("too large") << golden(QStringLiteral("reply.json")) + QByteArray(1 << 20, ' ');
}

void tst_SensorConfiguration::unreadableFileChangesNothing()
{
    QFETCH(QByteArray, content);
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("a")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    SensorConfiguration configuration;
    QString error;
    QVERIFY(!configuration.loadFromFile(file.fileName(), &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(configuration == SensorConfiguration());
}

void tst_SensorConfiguration::equalityCoversEveryField()
{
    const QJsonObject object = reply();
    SensorConfiguration first;
    QVERIFY(first.configFromJSON(bytes(object)));
    for (const ConfigurationField &field : configurationFields()) {
        QJsonObject changed = object;
        const QJsonValue value = object.value(field.readKey);
        changed.insert(field.readKey, value.isDouble()   ? QJsonValue(value.toDouble() + 1)
                                      : value.isString() ? QJsonValue(QStringLiteral("~"))
                                                         : QJsonValue(QJsonArray{value.toArray().at(0), 1}));
        SensorConfiguration second;
        QVERIFY(second.configFromJSON(bytes(changed)));
        QVERIFY2(first != second, field.readKey.data());
    }
    QVERIFY(first == SensorConfiguration(first));
}

QTEST_GUILESS_MAIN(tst_SensorConfiguration)
#include "tst_sensorconfiguration.moc"
