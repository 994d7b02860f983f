#include "cli/timetext.h"

#include <QtTest>

class tst_timetext : public QObject
{
    Q_OBJECT

private slots:
    void parses_data()
    {
        QTest::addColumn<quint64>("us");
        const quint64 noon = 1714564800000000; // 2024-05-01T12:00:00Z
        QTest::newRow("0") << quint64(0);
        QTest::newRow("1714564800000001") << noon + 1;
        QTest::newRow("9223372036854775807") << quint64(9223372036854775807U);
        QTest::newRow("2024-05-01T12:00:00Z") << noon;
        QTest::newRow("2024-05-01 12:00Z") << noon;
        QTest::newRow("2024-05-01T14:00:00+02:00") << noon;
        QTest::newRow("2024-05-01T06:30:00-0530") << noon;
        QTest::newRow("2024-05-01T12:00:00.5Z") << noon + 500000;
        QTest::newRow("2024-05-01T12:00:00,000007Z") << noon + 7;
        QTest::newRow("2024-05-01T12:00:00.1234569Z") << noon + 123456;
    }

    void parses()
    {
        quint64 us = 99;
        QString reason;
        QVERIFY2(timetext::parse(QString::fromUtf8(QTest::currentDataTag()), us, &reason), qPrintable(reason));
        QTEST(us, "us");
    }

    void refuses_data()
    {
        QTest::addColumn<QString>("text");
        for (const char *text :
             {"", "now", "-1", "9223372036854775808", "99999999999999999999999", "2024-05-01", "2024-05-01T12:00:00",
              "2024-02-30T12:00:00Z", "2024-05-01T25:00:00Z", "1969-12-31T23:59:59Z", "2024-05-01T12:00:00X",
              "2024-05-01T12:00:00.Z", "1e5", "2024-05-01T12:00:00Z;rm"})
            QTest::newRow(text) << QString::fromUtf8(text);
    }

    void refuses()
    {
        QFETCH(QString, text);
        quint64 us = 99;
        QString reason;
        QVERIFY(!timetext::parse(text, us, &reason));
        QVERIFY2(reason.contains(text), qPrintable(reason));
        QCOMPARE(us, quint64(99));
    }

    void shows()
    {
        QCOMPARE(timetext::utc(1714564800999999), QStringLiteral("2024-05-01 12:00:00 UTC"));
        QCOMPARE(timetext::utc(0), QStringLiteral("-"));
    }

    void spans_data()
    {
        QTest::addColumn<quint64>("seconds");
        QTest::newRow("0 ms") << quint64(0);
        QTest::newRow("59 s") << quint64(59);
        QTest::newRow("1 min 0 s") << quint64(60);
        QTest::newRow("59 min 59 s") << quint64(3599);
        QTest::newRow("5 h 2 min") << quint64(5 * 3600 + 179);
        QTest::newRow("3 d 4 h") << quint64(76 * 3600 + 3599);
    }

    void spans()
    {
        QFETCH(quint64, seconds);
        QCOMPARE(timetext::span(seconds * 1000000), QString::fromUtf8(QTest::currentDataTag()));
    }
};

QTEST_GUILESS_MAIN(tst_timetext)
#include "tst_timetext.moc"
