#include "sensor/samplepage.h"
#include "sensor/samplepageoracle.h"

#include <QtTest>

#include <limits>
#include <vector>

namespace {

constexpr qint64 base = 1'700'000'000'000'000;

SamplePage parse(const QByteArray &reply, qint64 timeBaseUs = base)
{
    // A copy without the terminating NUL of QByteArray, so that a sanitizer sees a read past the end.
    std::vector<char> bytes(reply.begin(), reply.end());
    return parseSamplePage(bytes.data(), bytes.size(), timeBaseUs);
}

const QStringList &requiredKeys()
{
    static const QStringList keys = QStringLiteral("Time_ms Voltage Current_Ir Current_Ii nPulses P_Period P_1T_on "
                                                   "P_1V_max P_1V_min P_1V_avg P_1I_max P_1I_min P_1I_avg")
                                        .split(QLatin1Char(' '));
    return keys;
}

const QStringList &optionalKeys()
{
    static const QStringList keys =
        QStringLiteral("P_2T_on P_2V_max P_2V_min P_2V_avg P_2I_max P_2I_min P_2I_avg E_11 E_12 E_13 E_21 E_22 E_23 "
                       "E_31 E_32 E_33 E_PE")
            .split(QLatin1Char(' '));
    return keys;
}

QByteArray line(const QString &key, const QByteArray &list)
{
    return "\"" + key.toLatin1() + "\":[" + list + "],\n";
}

/// "{" + lines + "}", the comma of the last line taken off.
QByteArray page(const QByteArray &lines)
{
    QByteArray out = "{\n" + lines + "}\n";
    return out.replace("],\n}\n", "]\n}\n");
}

/// A page with `n` samples whose values tell their column and row.
QByteArray lines(const QStringList &keys, int n, int from = 0)
{
    QByteArray out;
    for (int k = 0; k < keys.size(); ++k) {
        QByteArrayList values;
        for (int i = 0; i < n; ++i)
            values += k == 0 && from == 0 ? QByteArray::number(1000 + i * 10)
                                          : QByteArray::number(double(from + k) + i / 8.0, 'f', 3);
        out += line(keys.at(k), values.join(','));
    }
    return out;
}

QByteArray requiredLines(int n)
{
    return lines(requiredKeys(), n);
}
QByteArray fullLines(int n)
{
    return requiredLines(n) + lines(optionalKeys(), n, 13);
}

/// The thirteen required columns of one sample, one of them given.
QByteArray oneSample(const QByteArray &key, const QByteArray &list)
{
    QByteArray out;
    for (const QString &name : requiredKeys())
        out += name.toLatin1() == key ? line(name, list) : line(name, "7");
    return page(out);
}

bool same(const SamplePage &a, const SamplePage &b)
{
    return a.fault == b.fault && a.newestRawUs == b.newestRawUs && a.ignoredColumns == b.ignoredColumns &&
           a.clampedTimes == b.clampedTimes && a.points == b.points;
}

} // namespace

class TestSamplePage : public QObject
{
    Q_OBJECT

private slots:
    void everyColumnReachesItsField();
    void pages_data();
    void pages();
    void times_data();
    void times();
    void numbers_data();
    void numbers();
    void repeatedColumn();
    void cutPages();
    void truncationSweep();
    void damageSweep();
    void hugePage();
};

void TestSamplePage::everyColumnReachesItsField()
{
    const SamplePage read = parse(page(fullLines(3)));
    QVERIFY(read.ok());
    QCOMPARE(read.points.size(), 3);
    const SamplePoint &p = read.points.at(2);
    QCOMPARE(p.time, quint64(base + 1'020'000));
    QCOMPARE(p.voltage, 1.25);
    QCOMPARE(p.currentReal, 2.25);
    QCOMPARE(p.currentImaginary, 3.25);
    QCOMPARE(p.numberOfPulses, 4);
    QCOMPARE(p.pulsePeriod, 5.25);
    QCOMPARE(p.slot1OnTime, 6);
    QCOMPARE(p.slot1VoltageMax, 7.25);
    QCOMPARE(p.slot1VoltageMin, 8.25);
    QCOMPARE(p.slot1VoltageAvg, 9.25);
    QCOMPARE(p.slot1CurrentMax, 10.25);
    QCOMPARE(p.slot1CurrentMin, 11.25);
    QCOMPARE(p.slot1CurrentAvg, 12.25);
    QCOMPARE(p.slot2OnTime, 13);
    QCOMPARE(p.slot2VoltageMax, 14.25);
    QCOMPARE(p.slot2VoltageMin, 15.25);
    QCOMPARE(p.slot2VoltageAvg, 16.25);
    QCOMPARE(p.slot2CurrentMax, 17.25);
    QCOMPARE(p.slot2CurrentMin, 18.25);
    QCOMPARE(p.slot2CurrentAvg, 19.25);
    const std::array<qint32, 10> counts{20, 21, 22, 23, 24, 25, 26, 27, 28, 29};
    QVERIFY(p.eventCounts == counts);
    QCOMPARE(p.frequency, 0.0);
    QCOMPARE(read.newestRawUs, qint64(1'020'000));
}

void TestSamplePage::pages_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("samples"); // -1: refused
    QTest::addColumn<int>("ignored");

    QByteArray older = requiredLines(4);
    older.replace("P_1", "P_");
    QByteArray oldest = older;
    oldest.replace("P_V_avg", "P_V").replace("P_I_avg", "P_I");
    QTest::newRow("both slots and counters") << page(fullLines(20)) << 20 << 0;
    QTest::newRow("single slot") << page(requiredLines(20)) << 20 << 0;
    QTest::newRow("older keys") << page(older) << 4 << 0;
    QTest::newRow("oldest keys") << page(oldest) << 4 << 0;
    QTest::newRow("lower case") << page(fullLines(5).toLower()) << 5 << 0;
    QTest::newRow("carriage returns") << page(fullLines(5)).replace("\n", "\r\n") << 5 << 0;
    QTest::newRow("blanks") << page(fullLines(5)).replace(",", " , ").replace(":", " : ") << 5 << 0;
    QTest::newRow("one more blank") << page(fullLines(5)).replace(",", ", ").replace(":", ": ") << 5 << 0;
    QTest::newRow("tabs before names") << page(fullLines(5)).replace("\"T", "\t\"T").replace("\"V", "  \"V") << 5 << 0;
    QTest::newRow("a comma too many") << page(fullLines(5)).replace("],\n\"Vol", ",],\n\"Vol") << -1 << 0;
    QTest::newRow("an inner bracket") << page(fullLines(5)).replace("1010", "[1010]") << 5 << 0;
    QTest::newRow("no brackets") << page(fullLines(5)).replace("[", "").replace("]", "") << 5 << 0;
    QTest::newRow("text after NUL") << page(requiredLines(5)) + QByteArray(1, '\0') + page(requiredLines(6)) << 5 << 0;
    QTest::newRow("NUL in a list") << page(requiredLines(5)).replace("1010", QByteArray("10\0", 3)) << -1 << 0;
    QTest::newRow("second colon ends a value") << page(requiredLines(1)).replace("[1000]", "[1000]:9]") << 1 << 0;
    QTest::newRow("unknown and broken lines")
        << page("name without value\n:\n\"other\":[1],\n" + requiredLines(2)) << 2 << 0;
    QTest::newRow("no samples") << page(fullLines(0)) << 0 << 0;
    QTest::newRow("blank lists") << page(requiredLines(0)).replace("[]", "[ ]") << 0 << 0;
    QTest::newRow("lists of tabs") << page(requiredLines(0)).replace("[]", "[\t]") << 0 << 0;
    QTest::newRow("nothing") << QByteArray() << 0 << 0;
    QTest::newRow("another program's page") << QByteArray("<html>\n<body>\n</body></html>") << 0 << 0;
    QTest::newRow("odd slot 2 column") << page(fullLines(5)).replace("\"P_2V_max\":[", "\"P_2V_max\":[1,") << 5 << 1;
    QTest::newRow("odd counters") << page(requiredLines(5) + lines(optionalKeys(), 4, 13)) << 5 << 17;
    for (const QString &key : requiredKeys()) {
        const QByteArray name = key.toLatin1();
        QTest::newRow(("without " + name).constData()) << page(requiredLines(3)).replace(name, "x") << -1 << 0;
        QTest::newRow(("one more " + name).constData())
            << page(requiredLines(3)).replace("\"" + name + "\":[", "\"" + name + "\":[1,") << -1 << 0;
    }
}

void TestSamplePage::pages()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, samples);
    QFETCH(int, ignored);
    const SamplePage read = parse(reply);
    QCOMPARE(read.ok() ? read.points.size() : -1, samples);
    QCOMPARE(read.ignoredColumns, ignored);
    QVERIFY(read.ok() || read.points.isEmpty());
    QVERIFY(same(read, readSamplePageSlowly(reply, base)));
}

void TestSamplePage::times_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<qint64>("timeBase");
    QTest::addColumn<qint64>("time"); // us; -1: refused
    QTest::newRow("relative") << QByteArray("5") << base << base + 5000;
    QTest::newRow("absolute") << QByteArray("1700000000123") << qint64(0) << qint64(1'700'000'000'123'000);
    QTest::newRow("fraction") << QByteArray("12.5") << qint64(0) << qint64(13000);
    QTest::newRow("exponent") << QByteArray("1.2e3") << qint64(0) << qint64(1'200'000);
    QTest::newRow("signed") << QByteArray("+7") << qint64(0) << qint64(7000);
    QTest::newRow("before the epoch") << QByteArray("-6") << qint64(5000) << qint64(0);
    QTest::newRow("negative, after the epoch") << QByteArray("-6") << qint64(7000) << qint64(1000);
    QTest::newRow("word") << QByteArray("soon") << base << qint64(-1);
    QTest::newRow("empty entry") << QByteArray("\"\"") << base << qint64(-1);
    QTest::newRow("not a number") << QByteArray("nan") << base << qint64(-1);
    QTest::newRow("infinite") << QByteArray("1e400") << base << qint64(-1);
    QTest::newRow("too far") << QByteArray("9223372036854775807") << base << qint64(-1);
    QTest::newRow("a hopeless base") << QByteArray("1") << std::numeric_limits<qint64>::max()
                                     << qint64(4'600'000'000'000'001'000);
}

void TestSamplePage::times()
{
    QFETCH(QByteArray, list);
    QFETCH(qint64, timeBase);
    QFETCH(qint64, time);
    const SamplePage read = parse(oneSample("Time_ms", list), timeBase);
    QCOMPARE(read.ok() ? qint64(read.points.first().time) : -1, time);
    QCOMPARE(read.clampedTimes, list == "-6" && time == 0 ? 1 : 0);
}

void TestSamplePage::numbers_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<double>("real");
    QTest::addColumn<qint32>("whole");
    const auto row = [](const char *text, double real, qint32 whole) {
        QTest::newRow(text) << QByteArray(text) << real << whole;
    };
    row("0", 0, 0);
    row("-0", 0, 0);
    row("123.456", 123.456, 123);
    row("-0.5", -0.5, 0);
    row("-0.75", -0.75, -1);
    row("2.5", 2.5, 3);
    row("0.1", 0.1, 0);
    row("5.", 5, 5);
    row(".5", .5, 1);
    row(".", 0, 0);
    row("-", 0, 0);
    row("+1.5", 1.5, 2);
    row("+-1", 0, 0);
    row("1e2", 100, 100);
    row("1E-2", 0.01, 0);
    row("1e", 0, 0);
    row("0x10", 0, 0);
    row("1.2.3", 0, 0);
    row("12a", 0, 0);
    row(" 3 ", 3, 3);
    row("123456789012345", 123456789012345.0, 2147483647);
    row("0.1234567890123456789", 0.1234567890123456789, 0);
    row("10303515.748823385", 10303515.748823385, 10303516);
    row("586667279662.255170", 586667279662.255170, 2147483647);
    row("0.12345678901234567", 0.12345678901234567, 0);
    row("9007199254740993", 9007199254740993.0, 2147483647);
    row("2147483648", 2147483648.0, 2147483647);
    row("-2147483649", -2147483649.0, -2147483647 - 1);
    row("1e308", 1e308, 2147483647);
    row("1e400", 0, 0);
    row("-1e400", 0, 0);
    row("1e-400", 0, 0);
    row("5e-324", 5e-324, 0);
    row("nan", 0, 0);
    row("NaN", 0, 0);
    row("inf", 0, 0);
    row("-Infinity", 0, 0);
    row("true", 0, 0);
    row("\"5\"", 0, 0);
}

void TestSamplePage::numbers()
{
    QFETCH(QByteArray, text);
    QFETCH(double, real);
    QFETCH(qint32, whole);
    for (const QByteArray &list : {text, text + ",8", "8," + text}) {
        QByteArray reply;
        const bool two = list != text;
        for (const QString &name : requiredKeys()) {
            const bool tested = name == QLatin1String("Voltage") || name == QLatin1String("nPulses");
            reply += line(name, tested ? list : QByteArray(two ? "7,8" : "7"));
        }
        const SamplePage read = parse(page(reply));
        QVERIFY(read.ok());
        const SamplePoint &p = list.startsWith("8,") ? read.points.at(1) : read.points.first();
        QVERIFY2(p.voltage == real, qPrintable(QString::number(p.voltage, 'g', 17)));
        QCOMPARE(p.numberOfPulses, whole);
        QVERIFY(same(read, readSamplePageSlowly(page(reply), base)));
    }
}

void TestSamplePage::repeatedColumn()
{
    const QByteArray counter = line(QStringLiteral("E_11"), "1,2");
    // The later line counts, whatever the earlier one held; an empty one takes the column away.
    SamplePage read = parse(page(requiredLines(2) + counter + line(QStringLiteral("x_e_11"), "3,4")));
    QCOMPARE(read.points.at(1).eventCounts[0], 4);
    read = parse(page(requiredLines(2) + counter + line(QStringLiteral("E_11"), "")));
    QCOMPARE(read.points.at(0).eventCounts[0], 0);
    read = parse(page(requiredLines(2) + counter + line(QStringLiteral("E_11"), "5")));
    QCOMPARE(read.points.at(0).eventCounts[0], 0);
    QCOMPARE(read.ignoredColumns, 1);
    read = parse(page(line(QStringLiteral("E_12"), "1,2,3,4,5") + requiredLines(2)));
    QCOMPARE(read.points.size(), 2);
    QCOMPARE(read.points.at(1).eventCounts[1], 0);
    read = parse(page(requiredLines(2) + line(QStringLiteral("P_V_avg"), "50,60")));
    QCOMPARE(read.points.at(1).slot1VoltageAvg, 60.0);
    QVERIFY(!parse(page(requiredLines(2) + line(QStringLiteral("P_V_avg"), "50"))).ok());
}

// Without a length to go by, a cut after the required columns shows only in what follows them.
void TestSamplePage::cutPages()
{
    const QByteArray whole = page(fullLines(3));
    QVERIFY(!parse(whole).looksCut);
    QVERIFY(!parse(page(requiredLines(3))).looksCut);
    QVERIFY(!parse(requiredLines(3)).looksCut);
    QVERIFY(parse(whole.left(whole.indexOf("P_2V_min"))).looksCut);
    QVERIFY(parse(whole.left(whole.indexOf("E_22") + 10)).looksCut);
    QVERIFY(parse(whole.left(whole.indexOf("E_PE"))).looksCut);
    QVERIFY(!parse(whole.left(whole.lastIndexOf('}'))).looksCut);
    QVERIFY(!parse(page(requiredLines(3) + line(QStringLiteral("E_11"), "1,2,3"))).looksCut);
}

void TestSamplePage::truncationSweep()
{
    const QByteArray whole = page(fullLines(3));
    for (int length = 0; length <= whole.size(); ++length) {
        const QByteArray cut = whole.left(length);
        QVERIFY2(same(parse(cut), readSamplePageSlowly(cut, base)), QByteArray::number(length).constData());
    }
}

void TestSamplePage::damageSweep()
{
    const QByteArray whole = page(fullLines(2));
    const QByteArray bad("\0\n:,[]\"-+.e 9\xa0\xff{", 16);
    for (int at = 0; at < whole.size(); ++at) {
        for (int turn = 0; turn < 5; ++turn) {
            QByteArray damaged = whole;
            damaged[at] = bad.at((at + 3 * turn) % bad.size());
            QVERIFY2(same(parse(damaged), readSamplePageSlowly(damaged, base)), damaged.constData());
        }
    }
}

void TestSamplePage::hugePage()
{
    // A megabyte of commas is refused without a value kept for each.
    QByteArray commas(1024 * 1024, ',');
    QVERIFY(!parse("\"Time_ms\":[" + commas + "],\n").ok());
    QVERIFY(!parse("\"E_11\":[" + commas + "],\n" + requiredLines(3).replace("1000", "x")).ok());
    QCOMPARE(parse("\"E_11\":[" + commas + "],\n" + requiredLines(3)).points.size(), 3);
    QCOMPARE(parse(page(fullLines(1500))).points.size(), 1500);
}

QTEST_APPLESS_MAIN(TestSamplePage)
#include "tst_samplepage.moc"
