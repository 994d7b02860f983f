#include "base/numbers.h"

#include <QTextStream>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace {

using Values = std::vector<double>;
using Random = std::mt19937_64;
using Source = Values (*)(Random &);

QByteArray streamed(const Values &values)
{
    QByteArray out;
    QTextStream stream(&out);
    for (const double value : values)
        stream << value << '\n';
    stream.flush();
    return out;
}

QByteArray appended(const Values &values)
{
    QByteArray out;
    for (const double value : values) {
        appendStreamNumber(out, value);
        out += '\n';
    }
    return out;
}

/// The first value whose text differs, in words; empty when all agree.
QByteArray firstDifference(const Values &values)
{
    const QByteArray allExpected = streamed(values);
    const QByteArray allGot = appended(values);
    if (allExpected == allGot)
        return QByteArray();
    const QList<QByteArray> expected = allExpected.split('\n');
    const QList<QByteArray> got = allGot.split('\n');
    for (int i = 0; i < expected.size() && i < got.size(); ++i) {
        if (expected.at(i) != got.at(i))
            return "expected " + expected.at(i) + ", got " + got.at(i) + " for " +
                   QByteArray::number(values[static_cast<size_t>(i)], 'g', 17);
    }
    return "another number of lines";
}

Values withNeighbours(const Values &values)
{
    Values out;
    for (const double value : values) {
        for (const double signedValue : {value, -value}) {
            out.push_back(signedValue);
            out.push_back(std::nextafter(signedValue, 0.0));
            out.push_back(std::nextafter(signedValue, 1e308));
        }
    }
    return out;
}

Values anyBits(Random &random)
{
    Values out(100000);
    for (double &value : out) {
        const quint64 bits = random();
        std::memcpy(&value, &bits, sizeof value);
    }
    return out;
}

Values anyFloats(Random &random)
{
    Values out(100000);
    for (double &value : out) {
        const quint32 bits = static_cast<quint32>(random());
        float number = 0;
        std::memcpy(&number, &bits, sizeof number);
        value = static_cast<double>(number);
    }
    return out;
}

/// Measured values: every magnitude that a sensor sends, in double and single precision.
Values measured(Random &random)
{
    std::uniform_real_distribution<double> magnitude(-7, 9);
    Values out(300000);
    for (size_t i = 0; i < out.size(); ++i) {
        out[i] = std::pow(10.0, magnitude(random));
        if (i % 3 == 0)
            out[i] = static_cast<double>(static_cast<float>(out[i]));
    }
    return out;
}

/// Whole numbers over powers of two: many lie exactly between two texts of six digits.
Values ties(Random &random)
{
    Values out;
    for (int power = 1; power <= 24; ++power) {
        for (int i = 0; i < 2000; ++i)
            out.push_back(std::ldexp(static_cast<double>(random() % (1ULL << 24)) * 2 + 1, -power));
    }
    return out;
}

/// Six digits and a half, scaled by powers of ten: exact ties and the closest doubles to what would be one.
Values nearTies(Random &random)
{
    Values out;
    for (int power = -30; power <= 30; ++power) {
        for (int i = 0; i < 500; ++i)
            out.push_back((100000.5 + static_cast<double>(random() % 900000)) * std::pow(10.0, power));
    }
    return withNeighbours(out);
}

Values decades(Random &)
{
    Values out;
    for (int power = -320; power <= 308; ++power) {
        const double decade = QByteArray("1e" + QByteArray::number(power)).toDouble();
        for (const double factor : {1.0, 9.99999, 9.999994, 9.999995, 9.999996, 9.9999999})
            out.push_back(decade * factor);
    }
    for (int power = -1074; power <= 1023; ++power)
        out.push_back(std::ldexp(1.0, power));
    return withNeighbours(out);
}

Values special(Random &)
{
    using Limits = std::numeric_limits<double>;
    return {0.0,
            -0.0,
            Limits::infinity(),
            -Limits::infinity(),
            Limits::quiet_NaN(),
            Limits::min(),
            Limits::max(),
            Limits::lowest(),
            Limits::denorm_min(),
            -Limits::denorm_min(),
            0.0001,
            0.00001,
            100000,
            999999,
            999999.5,
            1000000,
            1234567,
            1e-15,
            1e25,
            13560000,
            -13.25};
}

} // namespace

Q_DECLARE_METATYPE(Source)

class tst_Numbers : public QObject
{
    Q_OBJECT

private slots:
    void sameAsTheTextStream_data();
    void sameAsTheTextStream();
    void singlePrecision();
    void integers();
    void bufferIsLargeEnough();
};

void tst_Numbers::sameAsTheTextStream_data()
{
    QTest::addColumn<Source>("source");
    QTest::newRow("any bits") << Source(anyBits);
    QTest::newRow("any floats") << Source(anyFloats);
    QTest::newRow("measured") << Source(measured);
    QTest::newRow("exact ties") << Source(ties);
    QTest::newRow("near ties") << Source(nearTies);
    QTest::newRow("decades") << Source(decades);
    QTest::newRow("special") << Source(special);
}

void tst_Numbers::sameAsTheTextStream()
{
    QFETCH(Source, source);
    const uint seed = std::random_device()();
    Random random(seed);
    const QByteArray difference = firstDifference(source(random));
    QVERIFY2(difference.isEmpty(),
             qPrintable(QStringLiteral("%1 (seed %2)").arg(QString::fromLatin1(difference)).arg(seed)));
}

void tst_Numbers::singlePrecision()
{
    for (const float value : {0.1F, 1.0F / 3, 16777216.0F, -0.0F, 1e-45F, 3.4e38F}) {
        QByteArray expected;
        QTextStream stream(&expected);
        stream << value;
        stream.flush();
        QByteArray got("x;");
        appendStreamNumber(got, value);
        QCOMPARE(got, "x;" + expected);
    }
    QCOMPARE(streamNumber(-2.5), QStringLiteral("-2.5"));
}

void tst_Numbers::integers()
{
    QByteArray out;
    appendInteger(out, std::numeric_limits<quint64>::max());
    out += ' ';
    appendInteger(out, std::numeric_limits<qint64>::min());
    out += ' ';
    appendInteger(out, qint64(0));
    QCOMPARE(out, QByteArray("18446744073709551615 -9223372036854775808 0"));
}

void tst_Numbers::bufferIsLargeEnough()
{
    for (const double value : {-1.23456e-308, -1.23456e-14, -0.000123456, -123456.0, -1.23456e+24, -1.23456e+300}) {
        char buffer[numberBufferSize];
        QVERIFY(writeStreamNumber(buffer, value) - buffer <= 13);
    }
}

QTEST_GUILESS_MAIN(tst_Numbers)
#include "tst_numbers.moc"
