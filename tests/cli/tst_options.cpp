#include "cli/exportoptions.h"
#include "cli/recordoptions.h"
#include "cli/sendcommand.h"

#include <QtTest>

using Outcome = CommandLine::Outcome;

namespace {

QStringList words(const QString &text)
{
    return text.split(QLatin1Char(' '));
}

} // namespace

class tst_options : public QObject
{
    Q_OBJECT

private slots:
    void recordTakesSensorsAndTime()
    {
        RecordCommandLine line;
        RecordOptions options;
        const QStringList arguments = QStringLiteral("record|--sensor|10.0.0.5,Etch 1|--session|/tmp/s|"
                                                     "--sensor|b:81|--for|2.5|--json")
                                          .split(QLatin1Char('|'));
        QCOMPARE(int(line.parse(arguments, options)), int(Outcome::Run));
        QCOMPARE(options.session, QStringLiteral("/tmp/s"));
        QCOMPARE(options.durationMs, qint64(2500));
        QVERIFY(options.json);
        QCOMPARE(options.sensors.size(), 2);
        QCOMPARE(options.sensors.at(0).chamber, QStringLiteral("Etch 1"));
        QCOMPARE(options.sensors.at(1).port, quint16(81));
    }

    void withoutTimeItRunsUntilInterrupted()
    {
        RecordCommandLine line;
        RecordOptions options;
        QCOMPARE(int(line.parse(words(QStringLiteral("record --session=s")), options)), int(Outcome::Run));
        QCOMPARE(options.durationMs, qint64(0));
        QVERIFY(options.sensors.isEmpty());
    }

    void helpExplains()
    {
        RecordCommandLine line;
        RecordOptions options;
        QCOMPARE(int(line.parse(words(QStringLiteral("record --help")), options)), int(Outcome::ShowHelp));
        QVERIFY2(line.text().startsWith(QStringLiteral("Usage: norvex-cli record --session DIR")),
                 qPrintable(line.text()));
        for (const char *option : {"--sensor", "--for", "--json", "--verbose", "--help", "Example:"})
            QVERIFY2(line.text().contains(QLatin1String(option)), option);
    }

    void wrongUsage_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("says");
        QTest::newRow("no session") << "record --sensor a"
                                    << "--session";
        QTest::newRow("unknown option") << "record --session s --fast"
                                        << "fast";
        QTest::newRow("a stray word") << "record --session s now"
                                      << "'now'";
        QTest::newRow("session twice") << "record --session s --session t"
                                       << "twice";
        QTest::newRow("session empty") << "record --session="
                                       << "value";
        QTest::newRow("option without its value") << "record --session"
                                                  << "session";
        QTest::newRow("bad sensor") << "record --session s --sensor a:0"
                                    << "port";
        QTest::newRow("sensor twice") << "record --session s --sensor a:80 --sensor A"
                                      << "twice";
        QTest::newRow("no time") << "record --session s --for 0"
                                 << "--for";
        QTest::newRow("negative time") << "record --session s --for=-3"
                                       << "--for";
        QTest::newRow("endless time") << "record --session s --for inf"
                                      << "--for";
        QTest::newRow("no wait") << "record --session s --retry 0"
                                 << "--retry";
        QTest::newRow("a wait of a day") << "record --session s --retry 86400"
                                         << "--retry";
        QTest::newRow("no number") << "record --session s --for 5s"
                                   << "--for";
    }

    void wrongUsage()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, says);
        RecordCommandLine line;
        RecordOptions options;
        QCOMPARE(int(line.parse(words(arguments), options)), int(Outcome::BadUsage));
        QVERIFY2(line.text().contains(says), qPrintable(line.text()));
        QVERIFY2(line.text().contains(QStringLiteral("'norvex-cli record --help'")), qPrintable(line.text()));
    }

    void sendTakesOneThing_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<int>("what"); // SendOptions::Nothing: wrong usage
        QTest::newRow("recipe") << "send --sensor a:81 --recipe x.recipe" << int(SendOptions::SendRecipe);
        QTest::newRow("configuration") << "send --sensor a --config x" << int(SendOptions::SendConfiguration);
        QTest::newRow("snapshot") << "send --snapshot --sensor a" << int(SendOptions::TriggerSnapshot);
        QTest::newRow("nothing") << "send --sensor a" << int(SendOptions::Nothing);
        QTest::newRow("two things") << "send --sensor a --snapshot --recipe x" << int(SendOptions::Nothing);
        QTest::newRow("nowhere") << "send --snapshot" << int(SendOptions::Nothing);
        QTest::newRow("two sensors") << "send --snapshot --sensor a --sensor b" << int(SendOptions::Nothing);
        QTest::newRow("a chamber") << "send --snapshot --sensor a,Etch1" << int(SendOptions::Nothing);
        QTest::newRow("no sensor address") << "send --snapshot --sensor a:b" << int(SendOptions::Nothing);
    }

    void sendTakesOneThing()
    {
        QFETCH(QString, arguments);
        QFETCH(int, what);
        SendCommandLine line;
        SendOptions options;
        const Outcome outcome = line.parse(words(arguments), options);
        QCOMPARE(int(outcome), int(what == SendOptions::Nothing ? Outcome::BadUsage : Outcome::Run));
        QCOMPARE(int(options.what), what);
    }

    void exportTakesARange()
    {
        ExportCommandLine line;
        ExportOptions options;
        QCOMPARE(int(line.parse(words(QStringLiteral("export s --from 1000 --to 1970-01-01T00:00:01Z --delimiter tab "
                                                     "--no-rfon --out x.csv --sensor SN1 --force")),
                                options)),
                 int(Outcome::Run));
        QCOMPARE(options.session, QStringLiteral("s"));
        QVERIFY(options.hasFrom && options.hasTo);
        QCOMPARE(options.from, quint64(1000));
        QCOMPARE(options.to, quint64(1000000));
        QCOMPARE(options.delimiter, QChar(QLatin1Char('\t')));
        QVERIFY(options.events && !options.rfOn && options.force);
        QCOMPARE(options.sensor, QStringLiteral("SN1"));
        const QString tables = QStringLiteral("export s --format line --bin 250ms --quantities pulses,events_E11");
        QCOMPARE(int(line.parse(words(tables), options)), int(Outcome::Run));
        QVERIFY(options.format == ExportFormat::Line);
        QCOMPARE(options.binWidth, quint64(250000));
        QCOMPARE(options.quantities, QStringList({QStringLiteral("pulses"), QStringLiteral("events_E11")}));
    }

    void exportRefuses_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::newRow("no session") << "export";
        QTest::newRow("two sessions") << "export s t";
        QTest::newRow("an empty range") << "export s --from 5 --to 5";
        QTest::newRow("a range backwards") << "export s --from 6 --to 5";
        QTest::newRow("a time without a zone") << "export s --from 2024-05-01T12:00:00";
        for (const char *delimiter : {";;", "1", "e", ".", "-", "+", "\"", "'", ":"})
            QTest::newRow(delimiter) << QStringLiteral("export s --delimiter=") + QString::fromUtf8(delimiter);
        for (const char *line :
             {"--format excel", "--format tidy --delimiter ,", "--bin 1s", "--quantities voltage_V",
              "--format tidy --bin 1", "--format tidy --bin 0s", "--format tidy --bin 99999999999999h",
              "--types E11,E99", "--format tidy --quantities volts", "--format tidy --quantities voltage_V,", "--run 0",
              "--run 1 --to 5", "--out /", "--out none/", "--out ."})
            QTest::newRow(line) << QStringLiteral("export s ") + QLatin1String(line);
    }

    void exportRefuses()
    {
        QFETCH(QString, arguments);
        ExportCommandLine line;
        ExportOptions options;
        QCOMPARE(int(line.parse(words(arguments), options)), int(Outcome::BadUsage));
    }
};

QTEST_GUILESS_MAIN(tst_options)
#include "tst_options.moc"
