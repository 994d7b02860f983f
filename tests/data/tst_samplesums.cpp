#include "data/samples.h"
#include "data/samplesums.h"

#include <QtTest>

#include <limits>

class tst_SampleSums : public QObject
{
    Q_OBJECT

private slots:
    void theMeanOfEqualSamplesIsTheSample();
    void everyFieldHasItsOwnMean();
    void nothingHasTheMeanZero();
    void meansOfTimesAreExact_data();
    void meansOfTimesAreExact();
    void wholeNumbersGoTowardsZeroAndDoNotOverflow();
    void addingSumsIsAddingTheirSamples();
};

static SamplePoint meanOf(const QVector<SamplePoint> &list)
{
    SampleSums sums;
    for (const SamplePoint &sample : list)
        sums.add(sample);
    return sums.mean();
}

void tst_SampleSums::theMeanOfEqualSamplesIsTheSample()
{
    QVERIFY(meanOf(QVector<SamplePoint>(50000, distinctSample())) == distinctSample());
}

void tst_SampleSums::everyFieldHasItsOwnMean()
{
    QVERIFY(meanOf({distinctSample(1), distinctSample(5)}) == distinctSample(3));
}

void tst_SampleSums::nothingHasTheMeanZero()
{
    QVERIFY(SampleSums().mean() == SamplePoint());
    SampleSums sums;
    sums.add(distinctSample());
    sums.clear();
    QVERIFY(sums.mean() == SamplePoint());
    QCOMPARE(sums.count(), 0U);
}

void tst_SampleSums::meansOfTimesAreExact_data()
{
    constexpr quint64 top = std::numeric_limits<quint64>::max();
    QTest::addColumn<QVector<quint64>>("times");
    QTest::addColumn<quint64>("mean");
    QTest::newRow("rounded down") << QVector<quint64>{1, 2, 2} << quint64(1);
    QTest::newRow("largest") << QVector<quint64>(7, top) << top;
    QTest::newRow("halves") << QVector<quint64>{top, 0} << top / 2;
    QTest::newRow("falling") << QVector<quint64>{9, 6, 3} << quint64(6);
    QTest::newRow("today") << QVector<quint64>(20000, 1700000000123457) << quint64(1700000000123457);
}

void tst_SampleSums::meansOfTimesAreExact()
{
    QFETCH(QVector<quint64>, times);
    QFETCH(quint64, mean);
    SampleSums sums;
    for (const quint64 time : times) {
        SamplePoint sample;
        sample.time = time;
        sums.add(sample);
    }
    QCOMPARE(sums.mean().time, mean);
}

void tst_SampleSums::wholeNumbersGoTowardsZeroAndDoNotOverflow()
{
    SamplePoint large;
    large.numberOfPulses = std::numeric_limits<qint32>::max();
    large.slot1OnTime = std::numeric_limits<qint32>::min();
    large.eventCounts[9] = -3;
    SamplePoint other = large;
    other.eventCounts[9] = -4;
    const SamplePoint mean = meanOf({large, other, large, other});
    QCOMPARE(mean.numberOfPulses, std::numeric_limits<qint32>::max());
    QCOMPARE(mean.slot1OnTime, std::numeric_limits<qint32>::min());
    QCOMPARE(mean.eventCounts[9], -3);
}

void tst_SampleSums::addingSumsIsAddingTheirSamples()
{
    SampleSums one;
    SampleSums two;
    one.add(distinctSample(1));
    two.add(distinctSample(2));
    two.add(distinctSample(6));
    one.add(two);
    QCOMPARE(one.count(), 3U);
    QVERIFY(one.mean() == distinctSample(3));
}

QTEST_APPLESS_MAIN(tst_SampleSums)
#include "tst_samplesums.moc"
