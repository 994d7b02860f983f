#include "data/samplepoint.h"
#include "data/seriesblock.h"
#include "data/valuetype.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <random>

/// The pyramid against brute force: whatever the range, the zoom or the data, a drawn extreme is a true one.
class TestMinMaxPyramid : public QObject
{
    Q_OBJECT

private slots:
    void rangesAreExact_data();
    void rangesAreExact();
    void columnsAreExact_data();
    void columnsAreExact();
    void releasedBucketsStayWhole();
    void columnsMergeAcrossBlocks();
    void gridCoversEveryTimeOnce();
    void gapsAreToldFromSlowSampling();
    void statisticsMatch();
    void memoryIsBounded();
};

namespace {

constexpr quint64 start = 1700000000000000;

QVector<SamplePoint> randomSamples(int count, unsigned seed, bool holes)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> noise(500.0, 50.0);
    QVector<SamplePoint> samples(count);
    quint64 time = start;
    for (SamplePoint &sample : samples) {
        time += 90000 + random() % 20000;
        if (holes && random() % 97 == 0)
            time += quint64(random() % 4000) * 1000000;
        sample.time = time;
        sample.voltage = random() % 50 == 0 ? 3000.0 : noise(random);
        if (holes && random() % 11 == 0)
            sample.voltage = random() % 2 ? std::nan("") : INFINITY;
    }
    return samples;
}

struct Truth
{
    ValueRange range;
    quint64 first = 0;
    quint64 last = 0;
    int samples = 0;
};

Truth bruteForce(const QVector<SamplePoint> &samples, quint64 from, quint64 to)
{
    Truth truth;
    for (const SamplePoint &sample : samples) {
        const auto value = float(sample.voltage);
        if (sample.time < from || sample.time >= to || !std::isfinite(value))
            continue;
        if (truth.samples++ == 0)
            truth.first = sample.time;
        truth.last = sample.time;
        truth.range.add(value);
    }
    return truth;
}

SeriesBlock blockOf(const QVector<SamplePoint> &samples)
{
    SeriesBlock block({Voltage});
    block.append(samples.constData(), samples.size());
    return block;
}

} // namespace

void TestMinMaxPyramid::rangesAreExact_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {0, 1, 15, 16, 17, 255, 256, 4095, 4097, 10000})
        QTest::addRow("%d samples", count) << count;
}

void TestMinMaxPyramid::rangesAreExact()
{
    QFETCH(int, count);
    const QVector<SamplePoint> samples = randomSamples(count, 7, true);
    MinMaxPyramid pyramid;
    for (const SamplePoint &sample : samples)
        pyramid.append(sample.voltage);
    QCOMPARE(pyramid.count(), count);

    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        int begin = count ? int(random() % unsigned(count)) : 0;
        int end = count ? int(random() % unsigned(count + 1)) : 0;
        if (round == 0) {
            begin = -5;
            end = count + 5;
        }
        ValueRange expected;
        for (int i = std::max(begin, 0); i < std::min(end, count); ++i)
            if (std::isfinite(float(samples[i].voltage)))
                expected.add(float(samples[i].voltage));
        const ValueRange found = pyramid.range(begin, end);
        QCOMPARE(found.low, expected.low);
        QCOMPARE(found.high, expected.high);
    }
}

void TestMinMaxPyramid::columnsAreExact_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<bool>("holes");
    for (const int width : {1, 7, 640, 1200, 3840})
        for (const bool holes : {false, true})
            QTest::addRow("%d px%s", width, holes ? " with holes" : "") << width << holes;
}

void TestMinMaxPyramid::columnsAreExact()
{
    QFETCH(int, width);
    QFETCH(bool, holes);
    const QVector<SamplePoint> samples = randomSamples(5000, 11, holes);
    const SeriesBlock block = blockOf(samples);
    std::mt19937_64 random(5);
    for (int round = 0; round < 12; ++round) {
        // From a few samples to far beyond the data.
        const quint64 span = (block.last() - block.first()) * 2 / (1 + random() % (round < 6 ? 4 : 2000)) + 1;
        const quint64 from = block.first() - 1000000 + random() % (block.last() - block.first());
        const ColumnGrid grid(from, from + span, width);
        PixelColumns columns;
        columns.resize(std::size_t(width));
        block.columns(Voltage, grid, columns);
        auto sample = std::lower_bound(samples.begin(), samples.end(), from,
                                       [](const SamplePoint &s, quint64 t) { return s.time < t; });
        for (int c = 0; c < width; ++c) {
            const quint64 end = c + 1 < width ? grid.start(c + 1) : grid.to();
            QVector<SamplePoint> inside;
            for (; sample != samples.end() && sample->time < end; ++sample)
                inside.append(*sample);
            const Truth truth = bruteForce(inside, grid.start(c), end);
            const PixelColumn &drawn = columns[std::size_t(c)];
            QCOMPARE(drawn.isEmpty(), truth.samples == 0);
            if (truth.samples == 0)
                continue;
            QCOMPARE(drawn.values.low, truth.range.low);
            QCOMPARE(drawn.values.high, truth.range.high);
            QCOMPARE(drawn.firstTime, truth.first);
            QCOMPARE(drawn.lastTime, truth.last);
        }
    }
}

void TestMinMaxPyramid::releasedBucketsStayWhole()
{
    const QVector<SamplePoint> samples = randomSamples(1003, 2, false);
    SeriesBlock block = blockOf(samples);
    const quint64 usual = block.times().usualStep(500);
    block.releaseSamples();
    QVERIFY(!block.hasSamples());
    QCOMPARE(block.count(), 1003);
    QCOMPARE(block.times().usualStep(500), usual);

    const ColumnGrid grid(block.first() - 5, block.last() + 1, 20);
    QVERIFY(block.needsSamples(ColumnGrid(block.first(), block.last() + 1, 1200)));
    QVERIFY(!block.needsSamples(ColumnGrid(block.first(), block.last() + 1, 10)));
    PixelColumns columns(20);
    block.columns(Voltage, grid, columns);
    ValueRange all;
    int total = 0;
    for (int c = 0; c < 20; ++c) {
        const PixelColumn &column = columns[std::size_t(c)];
        // Each column holds the buckets that begin in it, exactly.
        ValueRange expected;
        for (int bucket = 0; bucket * 16 < samples.size(); ++bucket)
            if (samples[bucket * 16].time >= grid.start(c) && samples[bucket * 16].time < grid.start(c + 1))
                for (int i = bucket * 16; i < std::min(samples.size(), bucket * 16 + 16); ++i)
                    expected.add(float(samples[i].voltage));
        QCOMPARE(column.values.low, expected.low);
        QCOMPARE(column.values.high, expected.high);
        if (c > 0)
            QVERIFY(!isGap(columns[std::size_t(c - 1)], column));
        all.add(column.values);
        total += column.samples;
    }
    QCOMPARE(total, 1003);
    const Truth truth = bruteForce(samples, 0, block.last() + 1);
    QCOMPARE(all.low, truth.range.low);
    QCOMPARE(all.high, truth.range.high);
    QVERIFY(!block.append(samples.constData(), 1));
}

void TestMinMaxPyramid::columnsMergeAcrossBlocks()
{
    // Two blocks that interleave in time give the same columns as one that holds all.
    const QVector<SamplePoint> samples = randomSamples(2000, 9, false);
    QVector<SamplePoint> halves[2];
    for (int i = 0; i < samples.size(); ++i)
        halves[i % 2].append(samples[i]);
    const ColumnGrid grid(samples.first().time, samples.last().time + 1, 333);
    PixelColumns whole(333);
    PixelColumns merged(333);
    blockOf(samples).columns(Voltage, grid, whole);
    blockOf(halves[1]).columns(Voltage, grid, merged);
    blockOf(halves[0]).columns(Voltage, grid, merged);
    for (std::size_t c = 0; c < whole.size(); ++c) {
        QCOMPARE(merged[c].values.low, whole[c].values.low);
        QCOMPARE(merged[c].values.high, whole[c].values.high);
        QCOMPARE(merged[c].first, whole[c].first);
        QCOMPARE(merged[c].last, whole[c].last);
        QCOMPARE(merged[c].samples, whole[c].samples);
    }
}

void TestMinMaxPyramid::gridCoversEveryTimeOnce()
{
    for (const quint64 length : {quint64(1), quint64(7), quint64(1200), quint64(1201), quint64(86400000000)}) {
        const ColumnGrid grid(start, start + length, 1200);
        QCOMPARE(grid.columnOf(grid.from()), 0);
        QCOMPARE(grid.columnOf(grid.to() - 1), length < 1200 ? int((length - 1) * 1200 / length) : 1199);
        for (int c = 1; c < 1200; ++c) {
            QVERIFY(grid.start(c) >= grid.start(c - 1));
            if (grid.start(c) < grid.start(c + 1))
                QCOMPARE(grid.columnOf(grid.start(c)), c);
        }
    }
    // A hostile range neither overflows nor divides by zero.
    const ColumnGrid huge(5, ~quint64(0), 100000);
    QCOMPARE(huge.columnOf(huge.to() - 1), huge.width() - 1);
    QCOMPARE(ColumnGrid(9, 9, 0).columnOf(9), 0);
}

void TestMinMaxPyramid::gapsAreToldFromSlowSampling()
{
    SeriesBlock block({Voltage});
    const auto add = [&block](quint64 time) {
        SamplePoint sample;
        sample.time = time;
        sample.voltage = 1;
        return block.append(&sample, 1);
    };
    for (quint64 i = 0; i < 40; ++i)
        QVERIFY(add(start + i * 1000));
    QVERIFY(add(start + 39000 + 3000)); // three steps: still no gap
    QVERIFY(add(start + 42000 + 3001)); // more: a gap
    QVERIFY(!add(start + 10));
    const ColumnGrid grid(start, start + 50000, 5000);
    PixelColumns columns(5000);
    block.columns(Voltage, grid, columns);
    columns.erase(std::remove_if(columns.begin(), columns.end(), [](const PixelColumn &c) { return c.isEmpty(); }),
                  columns.end());
    QCOMPARE(int(columns.size()), 42);
    for (std::size_t c = 1; c < columns.size(); ++c)
        QCOMPARE(isGap(columns[c - 1], columns[c]), c == 41);
}

void TestMinMaxPyramid::statisticsMatch()
{
    const QVector<SamplePoint> samples = randomSamples(3000, 21, true);
    QVector<SamplePoint> head = samples.mid(0, 1234);
    QVector<SamplePoint> tail = samples.mid(1234);
    const quint64 from = samples[100].time;
    const quint64 to = samples[2900].time;
    SeriesStatistics found = blockOf(head).statistics(Voltage, from, to);
    found.merge(blockOf(tail).statistics(Voltage, from, to));
    double sum = 0;
    double squares = 0;
    int count = 0;
    for (int i = 100; i < 2900; ++i) {
        const auto value = double(float(samples[i].voltage));
        if (!std::isfinite(value))
            continue;
        sum += value;
        squares += value * value;
        ++count;
    }
    const double mean = sum / count;
    QCOMPARE(found.samples, count);
    QVERIFY(std::abs(found.mean() - mean) < 1e-6);
    QVERIFY(std::abs(found.deviation() - std::sqrt(squares / count - mean * mean)) < 1e-3);
    QVERIFY(found.complete);
}

void TestMinMaxPyramid::memoryIsBounded()
{
    const QVector<SamplePoint> samples = randomSamples(10000, 1, false);
    SeriesBlock block({Voltage, Current});
    block.append(samples.constData(), samples.size());
    block.squeeze();
    QVERIFY2(block.memory() < 14 * 10000, qPrintable(QString::number(block.memory())));
    block.releaseSamples();
    QVERIFY2(block.memory() < 25 * 1000, qPrintable(QString::number(block.memory())));
    // Steps too long for four bytes change the form, not the content.
    QVector<SamplePoint> slow = samples;
    for (int i = 0; i < slow.size(); ++i)
        slow[i].time = start + quint64(i) * 60000000;
    const SeriesBlock wide = blockOf(slow);
    QCOMPARE(wide.times().at(9999), slow.last().time);
    QCOMPARE(wide.times().lowerBound(slow[5000].time), 5000);
}

QTEST_GUILESS_MAIN(TestMinMaxPyramid)
#include "tst_minmaxpyramid.moc"
