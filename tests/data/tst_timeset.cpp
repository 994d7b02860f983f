#include "data/timeset.h"

#include <QSet>
#include <QtTest>

#include <limits>
#include <random>

class tst_TimeSet : public QObject
{
    Q_OBJECT

private slots:
    void holdsWhatAnotherSetHolds_data();
    void holdsWhatAnotherSetHolds();
    void everyTimeIsPossible();
};

void tst_TimeSet::holdsWhatAnotherSetHolds_data()
{
    QTest::addColumn<quint64>("step");
    QTest::addColumn<quint64>("range");
    QTest::newRow("dense") << quint64(1) << quint64(4000);
    QTest::newRow("regular") << quint64(2000) << quint64(40000);
    QTest::newRow("powers of two apart") << (quint64(1) << 40) << quint64(20000);
    QTest::newRow("sparse") << quint64(1) << std::numeric_limits<quint64>::max();
}

void tst_TimeSet::holdsWhatAnotherSetHolds()
{
    QFETCH(quint64, step);
    QFETCH(quint64, range);
    std::mt19937_64 random(7);
    TimeSet set;
    QSet<quint64> other;
    QVERIFY(set.isEmpty());
    for (int i = 0; i < 5000; ++i) {
        const quint64 time = random() % range * step;
        QCOMPARE(set.contains(time), other.contains(time));
        QCOMPARE(set.insert(time), !other.contains(time));
        other.insert(time);
        if (i == 1000)
            set.reserve(20000);
    }
    for (const quint64 time : qAsConst(other))
        QVERIFY(set.contains(time));
    set.clear();
    QVERIFY(set.isEmpty());
    QVERIFY(!set.contains(*other.cbegin()));
}

void tst_TimeSet::everyTimeIsPossible()
{
    constexpr quint64 top = std::numeric_limits<quint64>::max();
    TimeSet set;
    for (const quint64 time : {quint64(0), quint64(1), top, top - 1}) {
        QVERIFY(!set.contains(time));
        QVERIFY(set.insert(time));
        QVERIFY(!set.insert(time));
    }
    set.reserve(10000);
    for (const quint64 time : {quint64(0), quint64(1), top, top - 1})
        QVERIFY(set.contains(time));
}

QTEST_APPLESS_MAIN(tst_TimeSet)
#include "tst_timeset.moc"
