#include "sensor/discovery.h"
#include "sensor/sensorscanner.h"

#include <QSignalSpy>
#include <QUdpSocket>
#include <QtTest>

#include <memory>
#include <vector>

class TestSensorScanner : public QObject
{
    Q_OBJECT

private slots:
    void theRequestCarriesAddressAndPort();
    void replies_data();
    void replies();
    void aTakenPortIsPassedOver();
    void everyAnswerIsTakenOnceAcrossScans();
    void noFreePortIsSaid();
};

void TestSensorScanner::theRequestCarriesAddressAndPort()
{
    const QByteArray request = discovery::request(QHostAddress(QStringLiteral("10.0.0.5")), 4661);
    QCOMPARE(request.toHex(), QByteArray("5251"
                                         "0a000005"
                                         "1235"));
}

void TestSensorScanner::replies_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("serial"); // null: no reply
    QTest::newRow("good") << QByteArray("RPNORVSN123\0", 12) << QStringLiteral("SN123");
    QTest::newRow("rest after the zero") << QByteArray("RPNORVSN1\0xyz", 13) << QStringLiteral("SN1");
    QTest::newRow("no zero byte") << QByteArray("RPNORVSN123") << QStringLiteral("SN123");
    QTest::newRow("seven bytes") << QByteArray("RPNORVS") << QString();
    QTest::newRow("a request") << QByteArray("RQNORVSN123") << QString();
    QTest::newRow("foreign") << QByteArray("RPABCDSN123") << QString();
    QTest::newRow("empty serial") << QByteArray("RPNORV\0\0", 8) << QStringLiteral("");
    QTest::newRow("a screen cleared") << QByteArray("RPNORVS\x1b[2J\x9b\x31m\0", 15) << QStringLiteral("S_[2J_1m");
    QTest::newRow("lines") << QByteArray("RPNORV\tSN\n1\x7f\r\n\0", 15) << QStringLiteral("SN_1_");
    QTest::newRow("longer than is read") << QByteArray("RPNORV") + QByteArray(500, 'x')
                                         << QString(58, QLatin1Char('x'));
    QTest::newRow("nothing") << QByteArray() << QString();
}

void TestSensorScanner::replies()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, serial);
    const std::optional<QString> found = discovery::serialOf(datagram);
    QCOMPARE(found.has_value(), !serial.isNull());
    QCOMPARE(found.value_or(QString()), serial);
}

/// Sends towards an address of nobody: a sensor or simulator that listens on this computer is not asked.
static SensorScanner::Adapter loopback()
{
    return {QStringLiteral("lo"),
            QHostAddress(QHostAddress::LocalHost),
            QHostAddress(QStringLiteral("192.0.2.1")),
            false,
            {}};
}

void TestSensorScanner::aTakenPortIsPassedOver()
{
    QUdpSocket other;
    quint16 taken = discovery::firstReplyPort;
    while (!other.bind(QHostAddress::AnyIPv4, taken, QAbstractSocket::DontShareAddress))
        ++taken;
    SensorScanner scanner;
    scanner.setAdapters({loopback()});
    QVERIFY(scanner.start());
    QVERIFY(scanner.replyPort() > taken && scanner.replyPort() <= discovery::lastReplyPort);
}

void TestSensorScanner::everyAnswerIsTakenOnceAcrossScans()
{
    SensorScanner scanner;
    scanner.setAdapters({loopback()});
    QSignalSpy found(&scanner, &SensorScanner::sensorFound);
    QUdpSocket sensor;
    const auto answer = [&](const QByteArray &datagram) {
        sensor.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), scanner.replyPort());
    };
    quint16 firstPort = 0;
    for (int scan = 0; scan < 3; ++scan) { // each scan binds anew and hears each sensor once
        found.clear();
        QVERIFY(scanner.start());
        if (scan == 0)
            firstPort = scanner.replyPort();
        QCOMPARE(scanner.replyPort(), firstPort);
        answer(QByteArray("RPNORVA\0", 8));
        answer(QByteArray("RPNORVB\0", 8)); // both in one wake-up
        answer(QByteArray("RPNORVA\0", 8));
        answer(QByteArray("junk"));
        answer(QByteArray("RPNORV\0\0", 8)); // a sensor without a serial number has an address all the same
        QTRY_COMPARE(found.count(), 3);
        QCOMPARE(found.at(0).at(0).toString(), QStringLiteral("A"));
        QCOMPARE(scanner.found().first().address.toString(), QStringLiteral("127.0.0.1"));
        QCOMPARE(scanner.found().size(), 3);
    }
}

void TestSensorScanner::noFreePortIsSaid()
{
    std::vector<std::unique_ptr<QUdpSocket>> others;
    for (quint16 port = discovery::firstReplyPort; port <= discovery::lastReplyPort; ++port) {
        others.push_back(std::make_unique<QUdpSocket>());
        others.back()->bind(QHostAddress::AnyIPv4, port, QAbstractSocket::DontShareAddress);
    }
    SensorScanner scanner;
    QVERIFY(!scanner.start());
}

QTEST_GUILESS_MAIN(TestSensorScanner)
#include "tst_sensorscanner.moc"
