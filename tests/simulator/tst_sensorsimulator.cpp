#include "simulator/discoveryresponder.h"
#include "simulator/sensorsimulator.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QTest>
#include <QUdpSocket>
#include <QtEndian>

namespace {

constexpr int patienceMs = 2000;

SimulatorOptions quiet()
{
    SimulatorOptions options;
    options.rate = 1;
    options.arcsPerMinute = 0;
    return options;
}

/// Reads one reply with a Content-Length; everything until the end of the connection otherwise.
QByteArray readReply(QTcpSocket &socket)
{
    QByteArray reply;
    for (;;) {
        const int head = reply.indexOf("\r\n\r\n");
        const int length = reply.indexOf("Content-Length: ");
        if (head >= 0 && length >= 0 && length < head) {
            const int size = reply.mid(length + 16, reply.indexOf('\r', length) - length - 16).toInt();
            if (reply.size() >= head + 4 + size)
                return reply;
        }
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(patienceMs))
            return reply;
        reply += socket.readAll();
    }
}

QByteArray get(QTcpSocket &socket, const QByteArray &target)
{
    socket.write("GET /service/" + target + " HTTP/1.1\r\nHost: sensor\r\n\r\n");
    return readReply(socket);
}

QByteArray post(QTcpSocket &socket, const QByteArray &target, const QByteArray &body)
{
    socket.write("POST /service/" + target +
                 " HTTP/1.1\r\nHost: sensor\r\nContent-Type: application/json\r\n"
                 "Content-Length: " +
                 QByteArray::number(body.size()) + "\r\n\r\n");
    socket.waitForBytesWritten(patienceMs);
    socket.write(body);
    return readReply(socket);
}

bool connectTo(QTcpSocket &socket, quint16 port)
{
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    return socket.waitForConnected(patienceMs);
}

QByteArray body(const QByteArray &reply)
{
    return reply.mid(reply.indexOf("\r\n\r\n") + 4);
}

} // namespace

class tst_SensorSimulator : public QObject
{
    Q_OBJECT

private slots:
    void manyRequestsOnOneConnection()
    {
        SensorSimulator simulator(quiet());
        QVERIFY(simulator.start());
        simulator.preload(45, 3);
        QTcpSocket socket;
        QVERIFY(connectTo(socket, simulator.port()));
        QVERIFY(get(socket, "info.cgi?").startsWith("HTTP/1.1 200 OK\r\n"));
        QVERIFY(body(get(socket, "frame.cgi?")).contains("\"number_of_points\":45,"));
        QVERIFY(body(get(socket, "pulsedata.cgi?index=40&limit=20"))
                    .contains("\"Time_ms\":[41000,42000,43000,44000,45000]"));
        QCOMPARE(body(get(socket, "events.cgi?index=2&binary=1")).mid(21, 3), QByteArray("E13"));
        QVERIFY(body(get(socket, "frame.cgi?clear_index=44")).contains("\"number_of_points\":0,"));
        QVERIFY(get(socket, "databis.cgi?index=0&limit=20").startsWith("HTTP/1.1 404 "));
        QCOMPARE(body(get(socket, "nothing.cgi")),
                 QByteArray("<html><body><h1>HTTP/1.0 404 - File Not Found</h1></body></html>"));
        QCOMPARE(simulator.requestCount(), qint64(7));
    }

    void firstGenerationHasOnlyTheOldDataPage()
    {
        SimulatorOptions options = quiet();
        options.generation = sensorpages::Generation::First;
        SensorSimulator simulator(options);
        QVERIFY(simulator.start());
        simulator.preload(2, 0);
        QTcpSocket socket;
        QVERIFY(connectTo(socket, simulator.port()));
        QVERIFY(get(socket, "pulsedata.cgi?index=0&limit=20").startsWith("HTTP/1.1 404 "));
        const QByteArray page = body(get(socket, "databis.cgi?index=0&limit=20"));
        QVERIFY(page.contains("\"P_V\":[") && !page.contains("P_2") && !page.contains("E_11"));
    }

    void uploadsArriveWhole()
    {
        SensorSimulator simulator(quiet());
        QVERIFY(simulator.start());
        QTcpSocket socket;
        QVERIFY(connectTo(socket, simulator.port()));
        Recipe recipe;
        recipe.initDefault(40);
        QVERIFY(post(socket, "recipe.cgi?", recipe.toJSON()).startsWith("HTTP/1.1 200 "));
        QCOMPARE(simulator.lastRecipe(), recipe);
        SensorConfiguration configuration;
        configuration.signalLock = '1';
        QVERIFY(post(socket, "config.cgi?", configuration.configToJSON()).startsWith("HTTP/1.1 200 "));
        QCOMPARE(simulator.lastConfiguration(), configuration);
        QVERIFY(post(socket, "recipe.cgi?", "[]").startsWith("HTTP/1.1 400 "));
        QVERIFY(post(socket, "eventtrigger.cgi?", "{\r\n\"trigger\":\"SNAP\"\r\n}").startsWith("HTTP/1.1 200 "));
        QVERIFY(post(socket, "eventtrigger.cgi?", "{\"trigger\":\"SNAP\"}").startsWith("HTTP/1.1 400 "));
        QCOMPARE(simulator.storedEvents(), 1);
    }

    void requestsMayComeInPieces()
    {
        SensorSimulator simulator(quiet());
        QVERIFY(simulator.start());
        QTcpSocket socket;
        QVERIFY(connectTo(socket, simulator.port()));
        for (char c : QByteArray("GET /service/info.cgi? HTTP/1.1\r\nHost: x\r\n\r\nGET /service/status.cgi? HT")) {
            socket.write(&c, 1);
            socket.waitForBytesWritten(patienceMs);
        }
        QVERIFY(readReply(socket).contains("serial_number"));
        socket.write("TP/1.1\r\nHost: x\r\n\r\n");
        QVERIFY(readReply(socket).contains("uptime"));
    }

    void nonsenseIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("no request") << QByteArray("hello\r\n\r\n");
        QTest::newRow("negative length") << QByteArray("POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n");
        QTest::newRow("huge length") << QByteArray("POST / HTTP/1.1\r\nContent-Length: 99999999999\r\n\r\n");
        QTest::newRow("endless head") << QByteArray(20000, 'x');
    }

    void nonsenseIsRefused()
    {
        QFETCH(QByteArray, bytes);
        SensorSimulator simulator(quiet());
        QVERIFY(simulator.start());
        QTcpSocket socket;
        QVERIFY(connectTo(socket, simulator.port()));
        socket.write(bytes);
        QVERIFY(readReply(socket).startsWith("HTTP/1.1 400 "));
        QVERIFY(socket.state() != QAbstractSocket::ConnectedState || socket.waitForDisconnected(patienceMs));
    }

    void withoutPowerNothingAnswersAndDataStay()
    {
        SensorSimulator simulator(quiet());
        QVERIFY(simulator.start());
        simulator.preload(10, 1);
        const quint16 port = simulator.port();
        QTcpSocket socket;
        QVERIFY(connectTo(socket, port));
        QVERIFY(get(socket, "info.cgi?").contains("200 OK"));
        simulator.setPower(false);
        QVERIFY(socket.state() != QAbstractSocket::ConnectedState || socket.waitForDisconnected(patienceMs));
        QCOMPARE(socket.error(), QAbstractSocket::RemoteHostClosedError);
        QTcpSocket refused;
        QVERIFY(!connectTo(refused, port));
        QCOMPARE(refused.error(), QAbstractSocket::ConnectionRefusedError);
        simulator.setPower(true);
        QTcpSocket again;
        QVERIFY(connectTo(again, port));
        QVERIFY(body(get(again, "frame.cgi?")).contains("\"number_of_points\":10,"));
    }

    void startAndStopAreFast()
    {
        SensorSimulator simulator(quiet());
        QTcpSocket idle;
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 5; ++i) {
            QVERIFY(simulator.start());
            QVERIFY(connectTo(idle, simulator.port()));
            simulator.stop();
            idle.abort();
        }
        QVERIFY2(timer.elapsed() < 5 * 900, qPrintable(QString::number(timer.elapsed())));
        simulator.setPower(true); // nothing to do any more, and no wait for it
    }

    void takenPortIsReported()
    {
        SensorSimulator first(quiet());
        QVERIFY(first.start());
        SimulatorOptions options = quiet();
        options.port = first.port();
        SensorSimulator second(options);
        QString error;
        QVERIFY(!second.start(&error));
        QVERIFY2(error.contains(QString::number(options.port)), qPrintable(error));
    }

    void discoveryRequests_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<int>("replyPort");
        QTest::newRow("good") << QByteArray("RQ\x0A\0\0\5\x12\x34", 8) << 4660;
        QTest::newRow("longer") << QByteArray("RQ\x0A\0\0\5\x12\x35more", 12) << 4661;
        QTest::newRow("one byte short") << QByteArray("RQ\x0A\0\0\5\x12", 7) << 0;
        QTest::newRow("a reply") << QByteArray("RP\x0A\0\0\5\x12\x34", 8) << 0;
        QTest::newRow("empty") << QByteArray() << 0;
    }

    void discoveryRequests()
    {
        QFETCH(QByteArray, datagram);
        QFETCH(int, replyPort);
        QCOMPARE(int(discoveryReplyPort(datagram)), replyPort);
    }

    void discoveryAnswersToThePortInTheRequest()
    {
        SimulatorOptions options = quiet();
        options.serial = QStringLiteral("SN123");
        options.discovery = true;
        options.discoveryPort = 0;
        SensorSimulator simulator(options);
        QVERIFY(simulator.start());
        QUdpSocket receiver;
        QVERIFY(receiver.bind(QHostAddress(QHostAddress::LocalHost), 0));
        QByteArray request("RQ\x7F\0\0\1", 6);
        char port[2];
        qToBigEndian(receiver.localPort(), port);
        const QHostAddress home(QHostAddress::LocalHost);
        QUdpSocket sender;
        sender.writeDatagram("RP", home, simulator.discoveryPort());
        sender.writeDatagram(request + QByteArray(port, 1), home, simulator.discoveryPort());
        sender.writeDatagram(request + QByteArray(port, 2), home, simulator.discoveryPort());
        QVERIFY(receiver.waitForReadyRead(patienceMs));
        char reply[64];
        QCOMPARE(receiver.readDatagram(reply, sizeof reply), qint64(12));
        QCOMPARE(QByteArray(reply, 12), QByteArray("RPNORVSN123\0", 12));
        QVERIFY(!receiver.hasPendingDatagrams());
    }
};

QTEST_GUILESS_MAIN(tst_SensorSimulator)
#include "tst_sensorsimulator.moc"
