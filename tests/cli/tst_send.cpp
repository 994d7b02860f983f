#include "cli/sendcommand.h"
#include "simulator/sensorsimulator.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {

/// A configuration in which nothing that the text form leaves out has its default.
SensorConfiguration inTheSensor()
{
    SensorConfiguration configuration;
    configuration.refreshRate = 50;
    configuration.glitchPeriodTime = 7;
    configuration.pulseEventResolution = 3;
    configuration.pulseOnMin = 100;
    configuration.pulseOnMax = 200;
    configuration.captureAllPulses = '1';
    configuration.skipStartTime = 9;
    return configuration;
}

} // namespace

/// The command against a simulated sensor, in one process.
class tst_send : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_folder.isValid() && m_simulator.start()); }

    void init()
    {
        QVERIFY(m_simulator.setFaultPlan(QString()));
        SendOptions options = to(SendOptions::SendConfiguration, inTheSensor().configToJSON());
        QCOMPARE(run(options), 0);
        QVERIFY(m_simulator.lastConfiguration() == inTheSensor());
    }

    void whatAFileLacksStaysInTheSensor()
    {
        const SendOptions options = to(SendOptions::SendConfiguration, "Refresh Rate;200\nNoise Filter Length; 64\r\n");
        QCOMPARE(run(options), 0);
        SensorConfiguration expected = inTheSensor();
        expected.refreshRate = 200;
        expected.noiseFilterLength = 64;
        QVERIFY(m_simulator.lastConfiguration() == expected);
        QVERIFY2(m_err.contains(QStringLiteral("Glitch period time")), qPrintable(m_err));
        const QJsonArray kept = result().value(QStringLiteral("kept")).toArray();
        QCOMPARE(kept.size(), 23);
        QVERIFY(kept.contains(QStringLiteral("signal_lock")) && !kept.contains(QStringLiteral("refresh_rate")));
    }

    void nonsenseIsNotSent_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char *name, const QByteArray &content, const char *reason) {
            QTest::newRow(name) << content << QString::fromLatin1(reason);
        };
        const auto json = [](const char *key, const QJsonValue &value) {
            QJsonObject object = QJsonDocument::fromJson(inTheSensor().configToJSON()).object();
            object.insert(QLatin1String(key), value);
            return QJsonDocument(object).toJson();
        };
        row("below the range", "Refresh Rate;-7\n", "Refresh rate must lie between 1 and 60000 ms");
        row("no number", "Event Points;100\nSignal Base Threshold;nan\n", "Signal base threshold must lie");
        row("a sentence", "The Refresh Rate is 100 ms; see the manual\n", "Refresh rate must lie");
        row("half a window", "Frequency Limit;13000000\n", "Frequency window must lie");
        row("negative", json("noise_filter_length", -5), "Noise filter length must lie between 0 and 1024");
        row("decimals", json("refresh_rate", 10.5), "Refresh rate must be a whole number");
        row("a text", json("refresh_rate", QStringLiteral("10")), "Refresh rate must lie");
        row("no character", json("signal_lock", QStringLiteral("")), "Lock to signal must lie");
        row("three limits", json("frequency_limit", QJsonArray{1, 2, 3}), "Frequency window must lie");
        row("contradiction", json("pulse_on_max", 50), "The maximum on-time lies below the minimum");
        row("contradiction with the sensor", "Frequency Limit;14000000;13000000\n", "The lower end of the frequency");
        row("nothing known", "{\"recipe_name\": \"x\"}", "does not hold a sensor configuration");
    }

    void nonsenseIsNotSent()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        QCOMPARE(run(to(SendOptions::SendConfiguration, content)), 1);
        QVERIFY2(m_err.contains(reason), qPrintable(m_err));
        QVERIFY2(result().value(QStringLiteral("error")).toString().contains(reason), qPrintable(m_out));
        QVERIFY(result().value(QStringLiteral("sent")).isNull());
        QVERIFY(m_simulator.lastConfiguration() == inTheSensor());
    }

    void failures_data()
    {
        QTest::addColumn<QString>("plan");
        QTest::addColumn<bool>("partial"); // of what a configuration has
        QTest::addColumn<int>("code");
        QTest::newRow("no answer") << "post@*=hang" << false << 12;
        QTest::newRow("an error") << "post@*=500" << false << 13;
        QTest::newRow("no such page") << "post@*=404" << false << 13;
        QTest::newRow("closed") << "post@*=close" << false << 13;
        QTest::newRow("silent from the start") << "all@*=hang" << false << 12;
        QTest::newRow("no sensor") << "all@*=garbage" << false << 13;
        QTest::newRow("own values do not come") << "config@*=hang" << true << 12;
        QTest::newRow("own values are refused") << "config@*=500" << true << 13;
        QTest::newRow("own values are none") << "config@*=deep-json" << true << 13;
    }

    void failures()
    {
        QFETCH(QString, plan);
        QFETCH(bool, partial);
        const SendOptions options =
            partial ? to(SendOptions::SendConfiguration, "Refresh Rate;200\n") : to(SendOptions::TriggerSnapshot, {});
        QVERIFY(m_simulator.setFaultPlan(plan));
        const int code = run(options);
        QTEST(code, "code");
        QCOMPARE(result().value(QStringLiteral("exitCode")).toInt(), code);
        QVERIFY2(!m_err.isEmpty() && result().contains(QStringLiteral("error")), qPrintable(m_out));
        QVERIFY(m_simulator.lastConfiguration() == inTheSensor());
    }

private:
    SendOptions to(SendOptions::What what, const QByteArray &content)
    {
        SendOptions options;
        options.sensor.host = QStringLiteral("127.0.0.1");
        options.sensor.port = m_simulator.port();
        options.what = what;
        options.json = true;
        options.file = content.isEmpty() ? QString() : m_folder.filePath(QStringLiteral("a.norvexconfig"));
        QFile file(options.file);
        if (!content.isEmpty() && file.open(QIODevice::WriteOnly))
            file.write(content);
        return options;
    }

    int run(const SendOptions &options)
    {
        m_out.clear();
        m_err.clear();
        Console console;
        console.out.setString(&m_out);
        console.err.setString(&m_err);
        const ExitCode code = SendRun(options, console).run();
        console.out.flush();
        return int(code);
    }

    QJsonObject result() const { return QJsonDocument::fromJson(m_out.toUtf8()).object(); }

    QTemporaryDir m_folder;
    SensorSimulator m_simulator;
    QString m_out;
    QString m_err;
};

QTEST_GUILESS_MAIN(tst_send)
#include "tst_send.moc"
