#include "session/sensoraddress.h"

#include <QtTest>

class tst_sensoraddress : public QObject
{
    Q_OBJECT

private slots:
    void accepted_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("chamber");
        QTest::newRow("10.0.0.5") << "10.0.0.5" << 80 << "";
        QTest::newRow("10.0.0.5:1") << "10.0.0.5" << 1 << "";
        QTest::newRow("sensor-3.lab:65535") << "sensor-3.lab" << 65535 << "";
        QTest::newRow("localhost:8080,Etch 1") << "localhost" << 8080 << "Etch 1";
        QTest::newRow("10.0.0.5,Etch:2,left") << "10.0.0.5" << 80 << "Etch:2,left";
    }

    void accepted()
    {
        SensorAddress address;
        QString reason;
        QVERIFY2(parseSensorAddress(QString::fromUtf8(QTest::currentDataTag()), address, &reason), qPrintable(reason));
        QTEST(address.host, "host");
        QTEST(int(address.port), "port");
        QTEST(address.chamber, "chamber");
    }

    void refused_data()
    {
        QTest::addColumn<QString>("text");
        for (const char *text : {"", ":80", ",Etch", "10.0.0.5:", "10.0.0.5:0", "10.0.0.5:65536", "10.0.0.5:+80",
                                 "10.0.0.5:80:90", "10.0.0.5:8o", "a b", "http://10.0.0.5", "user@host", "a/../b",
                                 "10.0.0.5,", "10.0.0.5:4294967376", "hôte"})
            QTest::newRow(text) << QString::fromUtf8(text);
        QTest::newRow("long") << QString(300, QLatin1Char('a'));
    }

    void refused()
    {
        QFETCH(QString, text);
        SensorAddress address;
        address.host = QStringLiteral("before");
        QString reason;
        QVERIFY(!parseSensorAddress(text, address, &reason));
        QVERIFY(!reason.isEmpty());
        QCOMPARE(address.host, QStringLiteral("before"));
    }
};

QTEST_GUILESS_MAIN(tst_sensoraddress)
#include "tst_sensoraddress.moc"
