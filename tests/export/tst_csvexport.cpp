#include "export/csvexport.h"
#include "export/csvspool.h"
#include "export/exportnames.h"
#include "export/fakestore.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr quint64 monday = 1707091200000000; // 5 Feb 2024, 00:00 UTC
constexpr quint64 second = 1000000;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

QByteArray golden(const QString &name)
{
    return contentOf(QStringLiteral(NORVEX_TEST_DATA "/export/") + name);
}

QDateTime exportDate()
{
    return QDateTime(QDate(2024, 3, 9), QTime(18, 5, 7, 42));
}

/// Two runs, events of four types (one in memory, one without a waveform), one of a type that no filter knows.
FakeStore smallStore()
{
    FakeStore store;
    store.addSample(monday + 7, 0.5, 0.3, -0.4);
    store.addSample(monday + 100000, 201.1234567, 3, 4);
    store.addSample(monday + second, 1234567.5, -1.5);
    store.addSample(monday + 86400 * second - 1, -0.0, 0.0, -0.0);
    store.addEvent(monday + 1000, eventtype::E21, 3);
    store.addEvent(monday + 2000, eventtype::E11, 1, true);
    store.addEvent(monday + 3000, eventtype::E11, 0);
    store.addEvent(monday + second, eventtype::E11, 2);
    EventRecord &named = store.addEvent(monday + 2 * second, eventtype::Snapshot, 1);
    named.named = true;
    named.name = QStringLiteral("Löschbogen; 50 µs");
    store.addRun(monday + 500, monday + 2500, 200.0625);
    store.addRun(monday + second, monday + 3 * second + 1, 0.1);
    return store;
}

int samplesIn(const QByteArray &viFile)
{
    const int columns = viFile.indexOf("Date Time;Voltage");
    return columns < 0 ? 0 : viFile.mid(columns).count('\n') - 1;
}

} // namespace

class tst_CsvExport : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void goldenFiles_data();
    void goldenFiles();
    void onlyWhatWasAskedFor();
    void newestSample_data();
    void newestSample();
    void slicesMeetExactly_data();
    void slicesMeetExactly();
    void longGapsAndAbsurdTimes_data();
    void longGapsAndAbsurdTimes();
    void unreadableBlocks_data();
    void unreadableBlocks();
    void aFileThatCannotBeWritten();
    void cancelLeavesEverythingAsItWas();
    void progress();
    void spoolGoesToAFile();

private:
    QScopedPointer<QTemporaryDir> m_folder;
    ExportRequest m_request;
};

void tst_CsvExport::init()
{
    m_folder.reset(new QTemporaryDir);
    const ExportNames names = exportNames(m_folder->filePath(QStringLiteral("run")));
    m_request = ExportRequest();
    m_request.to = monday + 86400 * second;
    m_request.sessionName = QStringLiteral("Session 1");
    m_request.eventTypes = eventtype::names();
    m_request.viFile = names.viFile;
    m_request.rfOnFile = names.rfOnFile;
    m_request.eventsFile = names.eventsFile;
}

void tst_CsvExport::goldenFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QChar>("delimiter");
    QTest::addColumn<bool>("withData");
    QTest::newRow("semicolon") << "small" << QChar(u';') << true;
    QTest::newRow("tabulator") << "tabs" << QChar(u'\t') << true;
    QTest::newRow("no data") << "empty" << QChar(u';') << false;
}

void tst_CsvExport::goldenFiles()
{
    QFETCH(QString, name);
    QFETCH(QChar, delimiter);
    QFETCH(bool, withData);
    m_request.from = monday;
    m_request.delimiter = delimiter;
    m_request.eventTypes = QStringList{QStringLiteral("E11"), QStringLiteral("SNAP"), QStringLiteral("E21")};
    FakeStore none;
    none.chamber = QStringLiteral("line;\nbreak");
    const ExportOutcome outcome = exportCsv(withData ? smallStore() : none, m_request, exportDate());
    QVERIFY(outcome.isWritten() && !outcome.isCancelled() && !outcome.isIncomplete);
    QCOMPARE(contentOf(m_request.viFile), golden(name + QStringLiteral(".vi.csv")));
    QCOMPARE(contentOf(m_request.eventsFile), golden(name + QStringLiteral(".events.csv")));
    QCOMPARE(contentOf(m_request.rfOnFile), golden(name + QStringLiteral(".rfon.csv")));
}

void tst_CsvExport::onlyWhatWasAskedFor()
{
    m_request.exportEvents = false;
    m_request.exportRfOn = false;
    const ExportOutcome outcome = exportCsv(smallStore(), m_request, exportDate());
    QCOMPARE(outcome.files.size(), 1);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList{QStringLiteral("run.csv")});
    // The counters tell what the range holds all the same.
    QVERIFY(contentOf(m_request.viFile).contains("Number of RF-ONs;2\nTotal Context Points;4\nTotal Events;5\n"));
}

void tst_CsvExport::newestSample_data()
{
    QTest::addColumn<quint64>("to");
    QTest::addColumn<bool>("toIncluded");
    QTest::addColumn<quint32>("points");
    QTest::newRow("a given end is excluded") << monday + 2 * second + 7 << false << 2U;
    QTest::newRow("just past it") << monday + 2 * second + 8 << false << 3U;
    QTest::newRow("the whole recording") << monday + 2 * second + 7 << true << 3U;
    QTest::newRow("the whole recording, end cut to milliseconds") << monday + 2 * second << true << 3U;
}

void tst_CsvExport::newestSample()
{
    QFETCH(quint64, to);
    QFETCH(bool, toIncluded);
    FakeStore store;
    for (const quint64 at : {0U, 1U, 2U})
        store.addSample(monday + at * second + 7, 1);
    m_request.from = monday;
    m_request.to = to;
    m_request.toIncluded = toIncluded;
    QTEST(exportCsv(store, m_request, exportDate()).points, "points");
}

void tst_CsvExport::slicesMeetExactly_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<quint64>("period");
    QTest::newRow("at the borders of slices") << 3000 << 10 * second;
    QTest::newRow("one us beside them") << 3000 << 10 * second - 1;
    QTest::newRow("dense") << 200000 << quint64(500);
    QTest::newRow("one moment apart") << 1000 << quint64(1);
}

void tst_CsvExport::slicesMeetExactly()
{
    QFETCH(int, count);
    QFETCH(quint64, period);
    FakeStore store;
    for (int i = 0; i < count; ++i)
        store.addSample(monday + static_cast<quint64>(i) * period, i);
    m_request.toIncluded = true;
    const ExportOutcome outcome = exportCsv(store, m_request, exportDate());
    QCOMPARE(outcome.points, static_cast<quint32>(count));
    const QByteArray content = contentOf(m_request.viFile);
    QCOMPARE(samplesIn(content), count);
    QVERIFY(content.contains("\nTotal Context Points;" + QByteArray::number(count) + '\n'));
    QVERIFY2(store.largestRead <= 150000, QByteArray::number(store.largestRead));
}

void tst_CsvExport::longGapsAndAbsurdTimes_data()
{
    QTest::addColumn<quint64>("far");
    QTest::addColumn<bool>("knowsGaps");
    for (const bool knows : {false, true}) {
        QTest::addRow("a year, %d", knows) << monday + 365 * 86400 * second << knows;
        QTest::addRow("the end of time, %d", knows) << ~quint64(0) - 1 << knows;
        QTest::addRow("the last microsecond, %d", knows) << ~quint64(0) << knows;
    }
}

void tst_CsvExport::longGapsAndAbsurdTimes()
{
    QFETCH(quint64, far);
    QFETCH(bool, knowsGaps);
    FakeStore store;
    store.knowsGaps = knowsGaps;
    store.addSample(5, 1);
    store.addSample(monday, 1);
    store.addSample(far, 1);
    m_request.to = far;
    m_request.toIncluded = true;
    const ExportOutcome outcome = exportCsv(store, m_request, exportDate());
    QCOMPARE(outcome.points, far == ~quint64(0) ? 2U : 3U); // ranges exclude their end
    QVERIFY2(store.reads < (knowsGaps ? 10 : 200), QByteArray::number(store.reads));
}

void tst_CsvExport::unreadableBlocks_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<bool>("isIncomplete");
    QTest::newRow("busy for a moment") << 3 << false;
    QTest::newRow("unreadable") << 5 << true;
}

void tst_CsvExport::unreadableBlocks()
{
    QFETCH(int, failures);
    FakeStore store = smallStore();
    store.failingReads = failures;
    const ExportOutcome outcome = exportCsv(store, m_request, exportDate());
    QVERIFY(outcome.isWritten());
    QTEST(outcome.isIncomplete, "isIncomplete");
}

void tst_CsvExport::aFileThatCannotBeWritten()
{
    m_request.viFile = m_folder->filePath(QStringLiteral("missing/run.vi.csv"));
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("run.rfon.csv")));
    const ExportOutcome outcome = exportCsv(smallStore(), m_request, exportDate());
    QVERIFY(!outcome.isWritten());
    QCOMPARE(outcome.files.size(), 3);
    QCOMPARE(outcome.files.at(0).result, ExportedFile::CannotWrite);
    QVERIFY(!outcome.files.at(0).error.isEmpty());
    QCOMPARE(outcome.files.at(1).result, ExportedFile::Written);
    QCOMPARE(outcome.files.at(2).result, ExportedFile::CannotWrite);
    QCOMPARE(cannotCreateText(outcome.files.at(0).path), QStringLiteral("Unable to create file:") + m_request.viFile);
    QVERIFY(contentOf(m_request.eventsFile).contains("Total Context Points;4\n"));
}

void tst_CsvExport::cancelLeavesEverythingAsItWas()
{
    QFile old(m_request.viFile);
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("old");
    old.close();
    const FakeStore store = smallStore();
    int reports = 0;
    const auto count = [&](const QString &, int, int) { return ++reports > 0; };
    QVERIFY(exportCsv(store, m_request, exportDate(), count).isWritten());
    const int allReports = reports;
    QVERIFY(allReports > 5);

    for (int limit = 0; limit < allReports; ++limit) {
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("old");
        old.close();
        reports = 0;
        const auto cancel = [&](const QString &, int, int) { return reports++ < limit; };
        const ExportOutcome outcome = exportCsv(store, m_request, exportDate(), cancel);
        QVERIFY(outcome.isCancelled());
        QCOMPARE(reports, limit + 1);
        const bool viWritten = outcome.files.first().result == ExportedFile::Written;
        QCOMPARE(contentOf(m_request.viFile) != "old", viWritten);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), 3); // no temporary is left
    }
}

void tst_CsvExport::progress()
{
    QStringList labels;
    bool isWithinRange = true;
    exportCsv(smallStore(), m_request, exportDate(), [&](const QString &label, int value, int maximum) {
        if (labels.isEmpty() || labels.last() != label)
            labels.append(label);
        isWithinRange = isWithinRange && value >= 0 && value <= maximum;
        return true;
    });
    QVERIFY(isWithinRange);
    QCOMPARE(labels.join(QLatin1Char('|')),
             QStringLiteral("Preparing data for Export...|Exporting data...|Exporting Event data...|"
                            "Preparing Event data for Export...|Export RF-ON Details..."));
}

void tst_CsvExport::spoolGoesToAFile()
{
    QByteArray expected;
    QByteArray got;
    {
        CsvSpool spool(m_request.viFile, 1000);
        for (int i = 0; i < 5000; ++i) {
            const QByteArray line = QByteArray::number(i) + '\n';
            expected += line;
            spool.lines() += line;
            spool.takeIn();
        }
        QCOMPARE(spool.size(), qint64(expected.size()));
        QVERIFY(spool.lines().size() <= 1000);
        QVERIFY(spool.forEachPiece([&](const QByteArray &piece) {
            got += piece;
            return true;
        }));
        QVERIFY(!spool.forEachPiece([](const QByteArray &) { return false; }));
    }
    QVERIFY(got == expected);
    QVERIFY(QDir(m_folder->path()).isEmpty());

    CsvSpool nowhere(m_folder->filePath(QStringLiteral("missing/x")), 10);
    nowhere.lines() = QByteArray(100, 'x');
    nowhere.takeIn();
    QVERIFY(!nowhere.error().isEmpty());
    QVERIFY(!nowhere.forEachPiece([](const QByteArray &) { return true; }));
}

QTEST_GUILESS_MAIN(tst_CsvExport)
#include "tst_csvexport.moc"
