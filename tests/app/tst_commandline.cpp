#include "app/commandline.h"

#include <QProcess>
#include <QtTest>

#include <utility>

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void folderAndSensors()
    {
        const CommandLine line =
            parse({"--safe", "/data/etch", "--connect", "10.0.0.5:8080,Etch 1", "--connect", "pm2"});
        QVERIFY(!line.finished && line.safe);
        QCOMPARE(line.sessionFolder, QStringLiteral("/data/etch"));
        QCOMPARE(line.sensors.size(), 2);
        QCOMPARE(line.sensors.at(0).host, QStringLiteral("10.0.0.5"));
        QCOMPARE(line.sensors.at(0).port, quint16(8080));
        QCOMPARE(line.sensors.at(0).chamber, QStringLiteral("Etch 1"));
        QCOMPARE(line.sensors.at(1).port, quint16(80));
    }

    void wrongUseIsRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("unknown option") << QStringList{QStringLiteral("--colour")};
        QTest::newRow("two folders") << QStringList{QStringLiteral("/a"), QStringLiteral("/b")};
        QTest::newRow("bad port") << QStringList{QStringLiteral("--connect"), QStringLiteral("pm2:99999")};
        QTest::newRow("no address") << QStringList{QStringLiteral("--connect"), QStringLiteral(",Etch")};
    }
    void wrongUseIsRefused()
    {
        QFETCH(QStringList, arguments);
        const CommandLine line = parseCommandLine(QStringList{QStringLiteral("norvex")} + arguments);
        QVERIFY(line.finished);
        QCOMPARE(line.exitCode, 2);
        QVERIFY(!line.message.isEmpty());
    }

    /// As on a server: the platform that needs a display, and none.
    void helpNeedsNoDisplay()
    {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        environment.remove(QStringLiteral("DISPLAY"));
        program.setProcessEnvironment(environment);
        for (const auto &[argument, text] :
             {std::pair("--help", "SESSION_DIR"), std::pair("-h", "--connect"), std::pair("--version", "norvex 1.")}) {
            program.start(QCoreApplication::applicationDirPath() + QStringLiteral("/norvex"),
                          {QLatin1String(argument)});
            QVERIFY(program.waitForFinished(20000));
            QCOMPARE(program.exitStatus(), QProcess::NormalExit);
            QCOMPARE(program.exitCode(), 0);
            QVERIFY(program.readAllStandardOutput().contains(text));
        }
    }

private:
    static CommandLine parse(const QVector<const char *> &arguments)
    {
        QStringList all{QStringLiteral("norvex")};
        for (const char *argument : arguments)
            all.append(QString::fromLatin1(argument));
        return parseCommandLine(all);
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
