#include "export/csvformat.h"

#include <QLocale>
#include <QTextStream>
#include <QtTest>

#include <cmath>
#include <random>

namespace {

/// The plain way to write the same cell, the reference.
QString plainCell(quint64 time)
{
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(time / 1000), Qt::UTC);
    return QLocale::c().toString(moment, QStringLiteral("ddd-dd-MMM-yyyy HH:mm:ss.zzz")) + QString::number(time % 1000);
}

QString cell(quint64 time)
{
    csv::TimeCell cell;
    QByteArray out;
    cell.append(out, time);
    return QString::fromLatin1(out);
}

SamplePoint point(double voltage, double real, double imaginary)
{
    SamplePoint sample;
    sample.voltage = voltage;
    sample.currentReal = real;
    sample.currentImaginary = imaginary;
    return sample;
}

} // namespace

class tst_CsvFormat : public QObject
{
    Q_OBJECT

private slots:
    void timeCell_data();
    void timeCell();
    void timeCellIsThePlainOne();
    void linesAreThePlainOnes();
    void currentIsSinglePrecision_data();
    void currentIsSinglePrecision();
    void cellTexts_data();
    void cellTexts();
    void unspecifiedContent();
    void samplesBeforeTheirEvent();
    void runThatEndsBeforeItStarts();
};

void tst_CsvFormat::timeCell_data()
{
    QTest::addColumn<quint64>("time");
    QTest::addColumn<QString>("text");
    QTest::newRow("epoch") << quint64(0) << "Thu-01-Jan-1970 00:00:00.0000";
    QTest::newRow("remainder without padding") << quint64(1707140710123007) << "Mon-05-Feb-2024 13:45:10.1237";
    QTest::newRow("remainder of three digits") << quint64(1707140710123456) << "Mon-05-Feb-2024 13:45:10.123456";
    QTest::newRow("milliseconds are padded") << quint64(1707140710005040) << "Mon-05-Feb-2024 13:45:10.00540";
    QTest::newRow("last moment of a leap day") << quint64(1709251199999999) << "Thu-29-Feb-2024 23:59:59.999999";
}

void tst_CsvFormat::timeCell()
{
    QFETCH(quint64, time);
    QTEST(cell(time), "text");
}

void tst_CsvFormat::timeCellIsThePlainOne()
{
    std::mt19937_64 random(20240205);
    csv::TimeCell reused;
    quint64 time = 1700000000000000;
    for (int i = 0; i < 20000; ++i) {
        // Mostly small steps, sometimes back or far away, so that what is remembered has to be dropped.
        const quint64 step = random() % 1000000;
        time = i % 50 == 0 ? random() % 250000000000000000ULL : i % 7 == 0 ? time - qMin(time, step) : time + step;
        QByteArray text;
        reused.append(text, time);
        QCOMPARE(QString::fromLatin1(text), plainCell(time));
    }
    QByteArray text;
    reused.append(text, ~0ULL);
    QCOMPARE(QString::fromLatin1(text), plainCell(~0ULL));
}

void tst_CsvFormat::linesAreThePlainOnes()
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> volts(-5, 400);
    QByteArray expected;
    QTextStream stream(&expected);
    QByteArray got;
    csv::TimeCell time;
    SamplePoint sample;
    sample.time = 1707140710123007;
    for (int i = 0; i < 20000; ++i) {
        sample.time += random() % 200000;
        sample.voltage = i % 3 == 0 ? static_cast<double>(static_cast<float>(volts(random))) : volts(random);
        sample.currentReal = volts(random) / 64;
        sample.currentImaginary = i % 5 == 0 ? 0 : volts(random);
        const float real = static_cast<float>(sample.currentReal);
        const float imaginary = static_cast<float>(sample.currentImaginary);
        stream << plainCell(sample.time) << ';' << sample.voltage << ';'
               << std::sqrt(real * real + imaginary * imaginary) << ';' << '\n';
        csv::appendViLine(got, sample, time, ";");
    }
    stream.flush();
    QVERIFY(got == expected);
}

void tst_CsvFormat::currentIsSinglePrecision_data()
{
    QTest::addColumn<double>("real");
    QTest::addColumn<double>("imaginary");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("magnitude") << 3.0 << -4.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;5;\n");
    QTest::newRow("negative zero") << -0.0 << -0.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;0;\n");
    QTest::newRow("squares overflow") << 1e30 << 0.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;inf;\n");
    QTest::newRow("squares vanish") << 1e-30 << 0.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;0;\n");
    // 262144.25 in single precision, as a double it would still print 262144.
    QTest::newRow("single") << 262144.265 << 0.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;262144;\n");
    QTest::newRow("tie only in single precision")
        << 1000.125000001 << 0.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;1000.13;\n");
    QTest::newRow("not a number") << std::nan("") << 0.0 << QByteArray("Thu-01-Jan-1970 00:00:00.0000;-0.5;nan;\n");
}

void tst_CsvFormat::currentIsSinglePrecision()
{
    QFETCH(double, real);
    QFETCH(double, imaginary);
    QByteArray out;
    csv::TimeCell time;
    csv::appendViLine(out, point(-0.5, real, imaginary), time, ";");
    QTEST(out, "line");
}

void tst_CsvFormat::cellTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QChar>("delimiter");
    QTest::addColumn<QString>("cell");
    QTest::newRow("plain") << "Chamber A" << QChar(u';') << "Chamber A";
    QTest::newRow("delimiter") << "a;b,c" << QChar(u',') << "a;b_c";
    QTest::newRow("line breaks") << "a\r\nb" << QChar(u';') << "a__b";
    QTest::newRow("tabulator") << "a\tb" << QChar(u'\t') << "a_b";
    QTest::newRow("beyond ASCII") << QStringLiteral("Kammer µ") << QChar(u';') << QStringLiteral("Kammer µ");
}

void tst_CsvFormat::cellTexts()
{
    QFETCH(QString, text);
    QFETCH(QChar, delimiter);
    QFETCH(QString, cell);
    QCOMPARE(csv::cellText(text, delimiter), cell.toUtf8());
}

void tst_CsvFormat::unspecifiedContent()
{
    QByteArray out;
    csv::appendHeader(out, csv::Header(), QString(), QLatin1Char(','));
    QVERIFY(out.contains("\nExport Date,-\nExported Data,unspecified\n")); // nor is there a date
}

void tst_CsvFormat::samplesBeforeTheirEvent()
{
    QByteArray out;
    csv::TimeCell time;
    csv::EventRow row;
    row.type = "E11";
    row.ordinal = 3;
    row.eventTime = 100;
    row.isFirst = true;
    SamplePoint sample = point(1.5, 3, 4);
    sample.time = 95;
    csv::appendEventCells(out, row, sample, time, ";");
    row.isFirst = false;
    sample.time = 105;
    csv::appendEventCells(out, row, sample, time, ";");
    QCOMPARE(out, QByteArray("E11;3;Thu-01-Jan-1970 00:00:00.000100;0;1.5;5;;;;5;1.5;5;"));
}

void tst_CsvFormat::runThatEndsBeforeItStarts()
{
    RunRecord run;
    run.start = 20;
    run.end = 10;
    QByteArray out;
    csv::TimeCell time;
    csv::appendRunLine(out, run, {1, 2}, time, ";");
    QCOMPARE(out, QByteArray("Thu-01-Jan-1970 00:00:00.00020;Thu-01-Jan-1970 00:00:00.00010;0;0;1;2;3\n"));
}

QTEST_GUILESS_MAIN(tst_CsvFormat)
#include "tst_csvformat.moc"
