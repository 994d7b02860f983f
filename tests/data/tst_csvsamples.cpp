#include "data/csvsamples.h"

#include <QTemporaryDir>
#include <QtTest>

#include <ctime>

using namespace csvsamples;

Q_DECLARE_METATYPE(csvsamples::TimeFormat)

namespace {

constexpr quint64 start = 1707140710000000ULL; // 2024-02-05 13:45:10 UTC

QByteArray joined(const QByteArrayList &lines)
{
    return lines.join('\n') + '\n';
}

} // namespace

class TestCsvSamples : public QObject
{
    Q_OBJECT

private slots:
    void detection_data();
    void detection();
    void notUnderstood_data();
    void notUnderstood();
    void manyColumnsOfRemarks();
    void correctedLayout();
    void ownExport();
    void wholeFile();
};

void TestCsvSamples::detection_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QChar>("delimiter");
    QTest::addColumn<QChar>("decimalSign");
    QTest::addColumn<TimeFormat>("format");
    const auto add = [](const char *name, const QByteArrayList &lines, char delimiter, char sign, TimeFormat format) {
        QTest::newRow(name) << joined(lines) << QChar(QLatin1Char(delimiter)) << QChar(QLatin1Char(sign)) << format;
    };
    // Every table has 101.5 V and -2.25 A one second and 2.5 ms after `start`.
    add("iso, commas", {"time,U,I", "2024-02-05T13:45:11.0025,101.5,-2.25", "2024-02-05T13:45:12,1,2"}, ',', '.',
        TimeFormat::Iso);
    add("iso with a zone", {"2024-02-05 14:45:11.0025+01:00;101.5;-2.25"}, ';', '.', TimeFormat::Iso);
    add("German spreadsheet",
        {"\xEF\xBB\xBF"
         "Zeit;Spannung;Strom\r",
         "05.02.2024 13:45:11,0025;101,5;-2,25\r", "05.02.2024 13:45:12;1;2\r"},
        ';', ',', TimeFormat::DayMonthYear);
    add("month first",
        {"Date\tVoltage (V)\tCurrent (A)", "02/05/2024 13:45:11.0025\t101.5\t-2.25", "02/29/2024 00:00\t1\t1"}, '\t',
        '.', TimeFormat::MonthDayYear);
    add("microseconds", {"1707140711002500|101.5|-2.25"}, '|', '.', TimeFormat::Microseconds);
    add("milliseconds", {"1707140711002.5;101.5;-2.25"}, ';', '.', TimeFormat::Milliseconds);
    add("seconds", {"1707140711,0025;101,5;-2,25"}, ';', ',', TimeFormat::Seconds);
    add("columns by their names",
        {"# by hand", "", "No;Current (A);Remark;Time;Voltage (V)", "1;-2.25;first;2024-02-05 13:45:11.0025;101.5",
         "2;1;-;2024-02-05 13:45:12;1"},
        ';', '.', TimeFormat::Iso);
    add("quotes", {"\"2024-02-05 13:45:11.0025\",\"101.5\",\"-2.25\",\"a, b\""}, ',', '.', TimeFormat::Iso);
    add("numbers in quotes with the delimiter", {"\"1707140711,0025\",\"101,5\",\"-2,25\""}, ',', ',',
        TimeFormat::Seconds);
    add("columns apart by blanks", {"  time   U     I", "  1707140711.0025   101.5 -2.25", " 1707140712  1  2"}, ' ',
        '.', TimeFormat::Seconds);
    add("a bad cell now and then",
        {"time;U;I", "2024-02-05 13:45:11.0025;101.5;-2.25", "2024-02-05 13:45:12;1;1", "2024-02-05 13:45:13;1;1",
         "2024-02-05 13:45:14;overload;1", "-;1;1", "2024-02-05 13:45:16;1;1", "2024-02-05 13:45:17;1;1",
         "2024-02-05 13:45:18;1;1", "2024-02-05 13:45:19;1;1", "2024-02-05 13:45:20;1;1"},
        ';', '.', TimeFormat::Iso);
    add("more bad lines than good ones at first",
        {"-;-;-", "1707140711.0025;101.5;-2.25", "=cmd;a;b", "1707140712;x;2", "1707140713;1;2", "1707140714;1;2",
         "1707140715;1;2"},
        ';', '.', TimeFormat::Seconds);
    add("export cell", {"Mon-05-Feb-2024 13:45:11.002500;101.5;2.25;"}, ';', '.', TimeFormat::ExportCell);
}

void TestCsvSamples::detection()
{
    QFETCH(QByteArray, text);
    const Preview preview = detect(text);
    QVERIFY2(preview.understood, qPrintable(preview.reason));
    QTEST(preview.layout.delimiter, "delimiter");
    QTEST(preview.layout.decimalSign, "decimalSign");
    QTEST(preview.layout.timeFormat, "format");
    const auto first = std::find_if(preview.rows.begin(), preview.rows.end(), [](const Row &r) { return r.isSample; });
    QVERIFY(first != preview.rows.end());
    QCOMPARE(first->sample.time, start + 1002500);
    QCOMPARE(first->sample.voltage, 101.5);
    QCOMPARE(std::abs(first->sample.currentReal), 2.25);
    QCOMPARE(first->sample.currentImaginary, 0.0);
}

void TestCsvSamples::notUnderstood_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("prose") << QByteArray("Dear all,\nthe sensor; is, broken.\n");
    QTest::newRow("two columns") << QByteArray("1;2\n3;4\n");
    QTest::newRow("no time") << QByteArray("a;-1;-2\nb;-3;-4\n");
    QTest::newRow("bytes") << QByteArray("\0\xff\xfe;;;\0\n\n\r;", 12);
    QTest::newRow("impossible day") << QByteArray("2024-02-31 10:00:00;1;2\n");
}

void TestCsvSamples::notUnderstood()
{
    QFETCH(QByteArray, text);
    const Preview preview = detect(text);
    QVERIFY(!preview.understood);
    QVERIFY(!preview.reason.isEmpty());
}

/// Numbers and remarks that take turns fit no column, from whichever line on; the window must not wait for that.
void TestCsvSamples::manyColumnsOfRemarks()
{
    QByteArray text;
    for (int line = 0; line < 200; ++line) {
        for (int column = 0; column < 150; ++column)
            text += (column * 7 + line * 13) % 10 < 3 ? "1;" : "a;";
        text += '\n';
    }
    const std::clock_t before = std::clock();
    detect(text);
    const double seconds = double(std::clock() - before) / CLOCKS_PER_SEC; // of work, however busy the machine is
    QVERIFY2(seconds < 8, qPrintable(QString::number(seconds)));
}

/// 05/02 is the fifth of February or the second of May: the user decides.
void TestCsvSamples::correctedLayout()
{
    const QByteArray text = joined({"time;V;A", "05/02/2024 00:00:00;1;2"});
    Layout layout = detect(text).layout;
    SamplePoint sample; // of a table whose first column is empty
    Layout second = detect("\t2024-02-05 13:45:10\t1\t2\n").layout;
    QVERIFY(takeLine("\t2024-02-05 13:45:10\t1\t2\r\n", second, sample));
    QCOMPARE(sample.time, start);
    QCOMPARE(layout.timeFormat, TimeFormat::DayMonthYear);
    layout.timeFormat = TimeFormat::MonthDayYear;
    std::swap(layout.voltageColumn, layout.currentColumn);
    const QVector<Row> rows = rowsOf(text, layout);
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows[0].sample.time, quint64(QDateTime({2024, 5, 2}, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch()) * 1000);
    QCOMPARE(rows[0].sample.voltage, 2.0);
    layout.zone = QTimeZone("Europe/Berlin");
    QCOMPARE(rowsOf(text, layout)[0].sample.time + quint64(7200000000), rows[0].sample.time);
    second.zone = layout.zone; // for times that tell none
    QVERIFY(takeLine("\t2024-02-05 13:45:10+02:00\t1\t2\n", second, sample));
    QCOMPARE(sample.time + quint64(7200000000), start);
    QVERIFY(takeLine("\t2024-02-05 13:45:10\t1\t2\n", second, sample));
    QCOMPARE(sample.time + quint64(3600000000), start);
}

void TestCsvSamples::ownExport()
{
    for (const char *name : {"small", "tabs"}) {
        const QString path = QStringLiteral(NORVEX_TEST_DATA "/export/%1.vi.csv").arg(QLatin1String(name));
        const Preview preview = previewOf(path);
        QVERIFY(preview.understood && preview.isOurs);
        QCOMPARE(preview.layout.delimiter, QChar(QLatin1Char(name[0] == 't' ? '\t' : ';')));
        QCOMPARE(preview.layout.timeFormat, TimeFormat::ExportCell);
        QVector<SamplePoint> all;
        const Outcome outcome = readFile(path, preview.layout, [&all](const SamplePoint *samples, int count) {
            std::copy(samples, samples + count, std::back_inserter(all));
            return true;
        });
        QCOMPARE(outcome.kind, Outcome::Kind::Done);
        QVERIFY(all.size() > 2);
        QCOMPARE(outcome.skippedLines, quint64(0));
    }
}

void TestCsvSamples::wholeFile()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("t.csv"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("\xEF\xBB\xBFs;V;A\n");
    for (int i = 0; i < 25000; ++i)
        file.write(i == 12345 ? QByteArray("overload\n")
                              : QByteArray::number(i * 0.5) + ";1;" + QByteArray::number(i) + "\n");
    file.close();
    const Preview preview = previewOf(path);
    QCOMPARE(preview.layout.timeFormat, TimeFormat::ElapsedSeconds);
    // The last line is from when the file was written.
    const qint64 lastUs = qint64(preview.layout.startUs) + qint64(24999) * 500000;
    QVERIFY(qAbs(lastUs / 1000 - QFileInfo(path).lastModified().toMSecsSinceEpoch()) < 5);
    quint64 count = 0;
    const Outcome outcome = readFile(path, preview.layout, [&count](const SamplePoint *, int n) {
        count += quint64(n);
        return true;
    });
    QCOMPARE(count, quint64(24999));
    QCOMPARE(outcome.samples, count);
    QCOMPARE(outcome.skippedLines, quint64(1));
    QCOMPARE(outcome.firstSkipped, qint64(12347));
    QCOMPARE(readFile(path, preview.layout, [](const SamplePoint *, int) { return false; }).kind,
             Outcome::Kind::Failed);
}

QTEST_GUILESS_MAIN(TestCsvSamples)
#include "tst_csvsamples.moc"
