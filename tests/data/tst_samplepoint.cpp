#include "data/samplefields.h"
#include "data/samplepoint.h"
#include "data/samples.h"

#include <QDataStream>
#include <QtTest>

#include <limits>

class tst_SamplePoint : public QObject
{
    Q_OBJECT

private slots:
    void recordsAreTheStreamOfTheirFields_data();
    void recordsAreTheStreamOfTheirFields();
    void readingGivesTheFieldsOfTheVersion();
    void aShortStreamIsAFailure_data();
    void aShortStreamIsAFailure();
    void unknownVersionsHaveThePrefixAndFail_data();
    void unknownVersionsHaveThePrefixAndFail();
    void versionsAreNotInterchangeable();
    void everyFieldCountsForEquality();
    void extremeValuesSurvive();
};

/// The record as a data stream writes it, field by field.
static QByteArray streamed(const SamplePoint &s, int version)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << qint64(s.time) << s.frequency << s.voltage << s.currentReal << s.currentImaginary;
    if (version == 2)
        out << s.numberOfPulses << s.slot1OnTime << s.pulsePeriod;
    if (version >= 3)
        out << s.numberOfPulses << s.pulsePeriod << s.slot1OnTime;
    if (version >= 2)
        out << s.slot1VoltageAvg << s.slot1VoltageMax << s.slot1VoltageMin << s.slot1CurrentAvg << s.slot1CurrentMax
            << s.slot1CurrentMin;
    if (version >= 3)
        out << s.slot2OnTime << s.slot2VoltageAvg << s.slot2VoltageMax << s.slot2VoltageMin << s.slot2CurrentAvg
            << s.slot2CurrentMax << s.slot2CurrentMin;
    if (version >= 4) {
        for (const qint32 count : s.eventCounts)
            out << count;
    }
    return bytes;
}

static QByteArray encoded(const SamplePoint &sample, int version)
{
    QByteArray bytes(sampleRecordSize(version), '\xEE');
    encodeSample(sample, version, reinterpret_cast<uchar *>(bytes.data()));
    return bytes;
}

static SamplePoint decoded(const QByteArray &bytes, int version)
{
    return decodeSample(reinterpret_cast<const uchar *>(bytes.constData()), version);
}

void tst_SamplePoint::recordsAreTheStreamOfTheirFields_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<int>("size");
    QTest::newRow("1") << 1 << 40;
    QTest::newRow("2") << 2 << 104;
    QTest::newRow("3") << 3 << 156;
    QTest::newRow("4") << 4 << 196;
}

void tst_SamplePoint::recordsAreTheStreamOfTheirFields()
{
    QFETCH(int, version);
    QFETCH(int, size);
    const SamplePoint sample = distinctSample();
    const QByteArray reference = streamed(sample, version);
    QCOMPARE(reference.size(), size);
    QCOMPARE(encoded(sample, version).toHex(), reference.toHex());

    QByteArray written;
    QDataStream out(&written, QIODevice::WriteOnly);
    QVERIFY(writeSample(out, sample, version));
    QCOMPARE(written.toHex(), reference.toHex());

    const SamplePoint back = decoded(reference, version);
    QCOMPARE(streamed(back, version).toHex(), reference.toHex());
    QDataStream in(reference);
    SamplePoint read;
    QVERIFY(readSample(in, read, version));
    QVERIFY(read == back);
}

void tst_SamplePoint::readingGivesTheFieldsOfTheVersion()
{
    const SamplePoint sample = distinctSample();
    QVERIFY(decoded(encoded(sample, 4), 4) == sample);

    SamplePoint expected = sample;
    expected.eventCounts = {};
    QVERIFY(decoded(encoded(sample, 3), 3) == expected);

    const SamplePoint second = decoded(encoded(sample, 2), 2);
    QCOMPARE(second.pulsePeriod, sample.pulsePeriod);
    QCOMPARE(second.slot1OnTime, sample.slot1OnTime);
    QCOMPARE(second.slot1CurrentMin, sample.slot1CurrentMin);
    QCOMPARE(second.slot2OnTime, 0);
    QCOMPARE(second.slot2VoltageAvg, 0.0);

    const SamplePoint first = decoded(encoded(sample, 1), 1);
    QCOMPARE(first.currentImaginary, sample.currentImaginary);
    QCOMPARE(first.numberOfPulses, 0);
}

void tst_SamplePoint::aShortStreamIsAFailure_data()
{
    recordsAreTheStreamOfTheirFields_data();
}

void tst_SamplePoint::aShortStreamIsAFailure()
{
    QFETCH(int, version);
    QFETCH(int, size);
    const QByteArray whole = encoded(distinctSample(), version);
    for (int length = 0; length < size; ++length) {
        QDataStream in(whole.left(length));
        SamplePoint sample = distinctSample(9);
        QVERIFY2(!readSample(in, sample, version), qPrintable(QString::number(length)));
        QVERIFY(sample == distinctSample(9));
    }
}

void tst_SamplePoint::unknownVersionsHaveThePrefixAndFail_data()
{
    QTest::addColumn<int>("version");
    for (const int version : {0, 5, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        QTest::addRow("%d", version) << version;
}

void tst_SamplePoint::unknownVersionsHaveThePrefixAndFail()
{
    QFETCH(int, version);
    QByteArray written;
    QDataStream out(&written, QIODevice::WriteOnly);
    QVERIFY(!writeSample(out, distinctSample(), version));
    QCOMPARE(written.toHex(), encoded(distinctSample(), 1).toHex());

    QDataStream in(encoded(distinctSample(), 4));
    SamplePoint sample;
    QVERIFY(!readSample(in, sample, version));
    QCOMPARE(in.device()->pos(), qint64(40));
    QCOMPARE(sample.voltage, distinctSample().voltage);
}

void tst_SamplePoint::versionsAreNotInterchangeable()
{
    const QByteArray second = encoded(distinctSample(), 2) + QByteArray(100, '\0');
    QVERIFY(decoded(second, 3).pulsePeriod != distinctSample().pulsePeriod);
}

void tst_SamplePoint::everyFieldCountsForEquality()
{
    const QByteArray zero = encoded(SamplePoint(), 4);
    QCOMPARE(zero, QByteArray(196, '\0'));
    int fields = 0;
    visitSampleFields([&](auto field) {
        SamplePoint changed;
        const SamplePoint other = distinctSample();
        changed.*field = other.*field;
        QVERIFY(changed != SamplePoint());
        ++fields;
    });
    QCOMPARE(fields, 22);
}

void tst_SamplePoint::extremeValuesSurvive()
{
    SamplePoint sample;
    sample.time = std::numeric_limits<quint64>::max();
    sample.voltage = -std::numeric_limits<double>::infinity();
    sample.currentReal = std::numeric_limits<double>::denorm_min();
    sample.currentImaginary = std::numeric_limits<double>::quiet_NaN();
    sample.slot1OnTime = std::numeric_limits<qint32>::min();
    sample.eventCounts[9] = std::numeric_limits<qint32>::max();
    const SamplePoint back = decoded(encoded(sample, 4), 4);
    QCOMPARE(back.time, sample.time);
    QCOMPARE(back.voltage, sample.voltage);
    QCOMPARE(back.currentReal, sample.currentReal);
    QVERIFY(qIsNaN(back.currentImaginary));
    QCOMPARE(back.slot1OnTime, sample.slot1OnTime);
    QCOMPARE(back.eventCounts[9], sample.eventCounts[9]);
}

QTEST_APPLESS_MAIN(tst_SamplePoint)
#include "tst_samplepoint.moc"
