#include "session/sessionfile.h"

#include <QFile>
#include <QtTest>

namespace {

QByteArray goldenFile()
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/session/v1.norvex_session"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QVector<SessionFileSensor> goldenSensors()
{
    SessionFileSensor first;
    first.folder = QStringLiteral("SN100-Etch 1");
    first.serial = QStringLiteral("SN100");
    first.chamber = QStringLiteral("Etch 1");
    first.address = QStringLiteral("192.168.1.20");
    first.port = 8080;
    first.colour = QStringLiteral("#2255ee");
    first.timeLineKnown = true;
    first.baseUs = 1714564800123000;
    first.uptimeMs = 86400000;
    SessionFileSensor offline;
    offline.folder = QStringLiteral("SN200-Ätzer");
    offline.serial = QStringLiteral("SN200");
    offline.chamber = QStringLiteral("Ätzer");
    offline.colour = QStringLiteral("#994455");
    return {first, offline};
}

/// One sensor a word: "folder/serial/chamber@address:port", with its colour and time line when it has them.
QString shown(const SessionFileContent &content)
{
    QStringList words;
    for (const SessionFileSensor &sensor : content.sensors) {
        QString word = QStringLiteral("%1/%2/%3@%4:%5")
                           .arg(sensor.folder, sensor.serial, sensor.chamber, sensor.address)
                           .arg(sensor.port);
        word += sensor.colour;
        if (sensor.timeLineKnown)
            word += QStringLiteral("+%1+%2").arg(sensor.baseUs).arg(sensor.uptimeMs);
        words.append(word);
    }
    return words.join(QLatin1Char(' '));
}

QByteArray withLine(const char *line)
{
    return QByteArray("Norvex session file ;V1.0.0\nSensor Data;1\n") + line + "\nEnd Sensors;\n";
}

} // namespace

class tst_sessionfile : public QObject
{
    Q_OBJECT

private slots:
    void writesTheGoldenFile() { QCOMPARE(sessionfile::write(goldenSensors()), goldenFile()); }

    void readsTheGoldenFile()
    {
        SessionFileContent content;
        QVERIFY(sessionfile::read(goldenFile(), content, nullptr));
        QCOMPARE(shown(content), QStringLiteral("SN100-Etch 1/SN100/Etch 1@192.168.1.20:8080#2255ee"
                                                "+1714564800123000+86400000 SN200-Ätzer/SN200/Ätzer@:80#994455"));
        QCOMPARE(content.problems, QStringList());
        QCOMPARE(sessionfile::write(content.sensors), goldenFile());
    }

    void aTimeBaseOfZeroIsKnown()
    {
        QVector<SessionFileSensor> sensors = goldenSensors().mid(0, 1);
        sensors[0].baseUs = 0;
        SessionFileContent content;
        QVERIFY(sessionfile::read(sessionfile::write(sensors), content, nullptr));
        QVERIFY(content.sensors.at(0).timeLineKnown);
        QCOMPARE(content.sensors.at(0).baseUs, qint64(0));
    }

    void namesCannotBreakTheLines()
    {
        QVector<SessionFileSensor> sensors = goldenSensors();
        sensors[0].chamber = QStringLiteral("a;b\r\nEnd Sensors;");
        SessionFileContent content;
        QVERIFY(sessionfile::read(sessionfile::write(sensors), content, nullptr));
        QCOMPARE(content.sensors.size(), 2);
        QCOMPARE(content.sensors.at(0).chamber, QStringLiteral("a_b__End Sensors_"));
        QCOMPARE(content.sensors.at(0).address, QStringLiteral("192.168.1.20"));
    }

    void lines_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("sensors");
        QTest::addColumn<int>("problems");
        QTest::newRow("only what is required") << withLine("sensor;f;s;c") << "f/s/c@:80" << 0;
        QTest::newRow("no chamber") << withLine("sensor;f;s;") << "f/s/Default@:80" << 0;
        QTest::newRow("more fields than known")
            << withLine("sensor;f;s;c;a;81;#00ff00;1;2;later;more") << "f/s/c@a:81#00ff00+1+2" << 0;
        QTest::newRow("too few fields") << withLine("sensor;f;s") << "" << 1;
        QTest::newRow("port zero") << withLine("sensor;f;s;c;a;0") << "f/s/c@a:80" << 0;
        QTest::newRow("port too large") << withLine("sensor;f;s;c;a;65536") << "f/s/c@a:80" << 0;
        QTest::newRow("colour is no colour") << withLine("sensor;f;s;c;a;80;red") << "f/s/c@a:80" << 0;
        QTest::newRow("colour with a sign") << withLine("sensor;f;s;c;a;80;#+12345") << "f/s/c@a:80" << 0;
        QTest::newRow("half a time line") << withLine("sensor;f;s;c;a;80;;17") << "f/s/c@a:80" << 0;
        QTest::newRow("time line is text") << withLine("sensor;f;s;c;a;80;;x;y") << "f/s/c@a:80" << 0;
        QTest::newRow("negative uptime") << withLine("sensor;f;s;c;a;80;;1;-1") << "f/s/c@a:80" << 0;
        QTest::newRow("folder above") << withLine("sensor;..;s;c") << "" << 1;
        QTest::newRow("folder elsewhere") << withLine("sensor;/etc;s;c") << "" << 1;
        QTest::newRow("folder below") << withLine("sensor;a/../../b;s;c") << "" << 1;
        QTest::newRow("folder with backslash") << withLine("sensor;a\\b;s;c") << "" << 1;
        QTest::newRow("folder empty") << withLine("sensor;;s;c") << "" << 1;
        QTest::newRow("same folder twice") << withLine("sensor;F;s;c\nsensor;f;t;c") << "F/s/c@:80" << 2;
        QTest::newRow("same serial twice") << withLine("sensor;f;s;c\nsensor;g;s;c") << "f/s/c@:80" << 2;
        QTest::newRow("serial unknown twice") << withLine("sensor;f;;c\nsensor;g;;c") << "f//c@:80 g//c@:80" << 1;
        QTest::newRow("unknown lines") << withLine("operator;me\nsensor;f;s;c\n\nnonsense") << "f/s/c@:80" << 0;
        QTest::newRow("Windows line ends")
            << QByteArray("Norvex session file ;V1.0.0\r\nSensor Data;1\r\nsensor;f;s;c\r\nEnd Sensors;\r\n")
            << "f/s/c@:80" << 0;
        QTest::newRow("nothing after the end") << withLine("End Sensors;\nsensor;f;s;c") << "" << 1;
        QTest::newRow("no count, no end")
            << QByteArray("Norvex session file ;V1.0.0\nsensor;f;s;c") << "f/s/c@:80" << 2;
        QTest::newRow("a count of millions")
            << QByteArray("Norvex session file ;V1.0.0\nSensor Data;2000000000\nEnd Sensors;\n") << "" << 1;
    }

    void lines()
    {
        QFETCH(QByteArray, bytes);
        SessionFileContent content;
        QVERIFY(sessionfile::read(bytes, content, nullptr));
        QTEST(shown(content), "sensors");
        QTEST(content.problems.size(), "problems");
    }

    void whatIsNoSessionFileIsRefused()
    {
        const QVector<QByteArray> others{"", "\n", "Arc detect data file ;V1.0.0\n", QByteArray(5000, '\0')};
        for (const QByteArray &bytes : others) {
            SessionFileContent content;
            QString reason;
            QVERIFY(!sessionfile::read(bytes, content, &reason));
            QVERIFY(!reason.isEmpty());
        }
    }

    /// A file cut anywhere gives the sensors of its whole lines, never one that was not in it.
    void everyTruncationReads()
    {
        const QByteArray golden = goldenFile();
        QVector<QString> folders;
        for (const SessionFileSensor &sensor : goldenSensors())
            folders.append(sensor.folder);
        for (int size = int(qstrlen("Norvex session file")); size < golden.size(); ++size) {
            SessionFileContent content;
            QVERIFY(sessionfile::read(golden.left(size), content, nullptr));
            QVERIFY(content.sensors.size() <= 2);
            if (size < golden.size() - 2)
                QVERIFY2(!content.problems.isEmpty(), qPrintable(QString::number(size)));
        }
    }

    void everyFlippedByteReads()
    {
        const QByteArray golden = goldenFile();
        for (int at = 0; at < golden.size(); ++at) {
            QByteArray damaged = golden;
            damaged[at] = char(damaged.at(at) ^ 0x5A);
            SessionFileContent content;
            if (!sessionfile::read(damaged, content, nullptr))
                continue;
            for (const SessionFileSensor &sensor : qAsConst(content.sensors))
                QVERIFY(!sensor.folder.contains(QLatin1Char('/')) && !sensor.folder.contains(QLatin1Char('\\')));
        }
    }
};

QTEST_GUILESS_MAIN(tst_sessionfile)
#include "tst_sessionfile.moc"
