#include "simulator/simulatorcommand.h"

#include <QTest>

using Outcome = SimulatorCommand::Outcome;

namespace {

SimulatorCommand parse(const char *arguments)
{
    const QString line = QLatin1String("norvex-sensor-sim ") + QLatin1String(arguments);
    return parseSimulatorCommand(line.split(QLatin1Char(' '), Qt::SkipEmptyParts));
}

} // namespace

class tst_SimulatorCommand : public QObject
{
    Q_OBJECT

private slots:
    void everyOptionArrives()
    {
        const SimulatorCommand command = parse(
            "--host 0.0.0.0 --port 8080 --serial S7 --rate 500 --generation 1 --seed 9 --discovery --run-length 2.5 "
            "--pause-length 0.5 --arcs 12 --speed 4 --capacity 77 --preload 100,5 --ledger l.txt --fault data@3=reset");
        QCOMPARE(command.text, QString());
        QCOMPARE(command.outcome, Outcome::Run);
        QCOMPARE(command.sensors.size(), 1);
        const SimulatorOptions &options = command.sensors.first();
        QCOMPARE(options.host, QStringLiteral("0.0.0.0"));
        QCOMPARE(int(options.port), 8080);
        QCOMPARE(options.serial, QStringLiteral("S7"));
        QCOMPARE(options.rate, 500);
        QCOMPARE(options.generation, sensorpages::Generation::First);
        QCOMPARE(options.seed, quint64(9));
        QVERIFY(options.discovery);
        QCOMPARE(options.runLengthMs, qint64(2500));
        QCOMPARE(options.pauseLengthMs, qint64(500));
        QCOMPARE(options.arcsPerMinute, 12.0);
        QCOMPARE(options.speed, 4.0);
        QCOMPARE(options.sampleCapacity, 77);
        QCOMPARE(command.preloadSamples, 100);
        QCOMPARE(command.preloadEvents, 5);
        QCOMPARE(options.ledgerPath, QStringLiteral("l.txt"));
        QCOMPARE(options.faultPlan, QStringLiteral("data@3=reset"));
    }

    void severalSensorsDiffer()
    {
        const SimulatorCommand command = parse("--sensors 3 --port 9000 --serial A --ledger l");
        QCOMPARE(command.sensors.size(), 3);
        QCOMPARE(int(command.sensors[2].port), 9002);
        QCOMPARE(command.sensors[0].serial, QStringLiteral("A"));
        QCOMPARE(command.sensors[2].serial, QStringLiteral("A-3"));
        QCOMPARE(command.sensors[2].ledgerPath, QStringLiteral("l.3"));
        QVERIFY(command.sensors[1].seed != command.sensors[2].seed);
        // Started again it is not to measure the same: that would be taken for what is stored already.
        QVERIFY(parse("--port 0").sensors[0].seed != parse("--port 0").sensors[0].seed ||
                parse("--port 0").sensors[0].seed != parse("--port 0").sensors[0].seed);
    }

    void badArgumentsAreNamed_data()
    {
        QTest::addColumn<QString>("mentions");
        QTest::newRow("--rate 0") << QStringLiteral("--rate");
        QTest::newRow("--rate 2001") << QStringLiteral("2000");
        QTest::newRow("--rate fast") << QStringLiteral("'fast'");
        QTest::newRow("--port 65536") << QStringLiteral("--port");
        QTest::newRow("--port 65535 --sensors 2") << QStringLiteral("ports");
        QTest::newRow("--generation 3") << QStringLiteral("--generation");
        QTest::newRow("--host nonsense") << QStringLiteral("nonsense");
        QTest::newRow("--speed nan") << QStringLiteral("--speed");
        QTest::newRow("--preload 1,2,3") << QStringLiteral("--preload");
        QTest::newRow("--preload -1") << QStringLiteral("--preload");
        QTest::newRow("--fault data@3=resett") << QStringLiteral("'resett'");
        QTest::newRow("--unknown") << QStringLiteral("unknown");
        QTest::newRow("8080") << QStringLiteral("8080");
    }

    void badArgumentsAreNamed()
    {
        QFETCH(QString, mentions);
        const SimulatorCommand command = parse(QTest::currentDataTag());
        QCOMPARE(command.outcome, Outcome::BadArguments);
        QVERIFY2(command.text.contains(mentions), qPrintable(command.text));
    }

    void helpNamesTheOptions()
    {
        const SimulatorCommand command = parse("--help --rate 0");
        QCOMPARE(command.outcome, Outcome::ShowText);
        for (const char *name :
             {"--port", "--serial", "--rate", "--generation", "--seed", "--discovery", "--fault", "--ledger"})
            QVERIFY2(command.text.contains(QLatin1String(name)), name);
    }
};

QTEST_GUILESS_MAIN(tst_SimulatorCommand)
#include "tst_simulatorcommand.moc"
