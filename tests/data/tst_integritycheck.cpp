#include "data/blockfile.h"
#include "data/folderrepair.h"
#include "data/integritycheck.h"
#include "storefixture.h"

#include <QtTest>

using Harm = std::function<bool(const SensorFolder &)>;
Q_DECLARE_METATYPE(Harm)

namespace {

/// "file state", one a finding.
QStringList shown(const IntegrityReport &report)
{
    QStringList lines;
    for (const FileFinding &finding : report.findings)
        lines.append(finding.file + QLatin1Char(' ') + nameOf(finding.state));
    return lines;
}

bool cut(const QString &path, qint64 size)
{
    return QFile::resize(path, size);
}

bool empty(const QString &path)
{
    return QFile::resize(path, 0);
}

} // namespace

class tst_integritycheck : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<SensorFolder>();
        const auto store = m_folder->newStore();
        QVector<SamplePoint> samples(10);
        for (int i = 0; i < samples.size(); ++i)
            samples[i].time = quint64(i + 1) * 1000;
        QVERIFY(store->addSamples(samples));
        EventRecord event;
        event.time = 5000;
        QVERIFY(store->addEvent(event));
        QVERIFY(store->save(m_folder->session()));
    }

    void aSoundFolder()
    {
        const IntegrityReport report = checkSensorFolder(m_folder->path());
        QVERIFY2(!report.isDamaged(), qPrintable((shown(report) + report.problems).join(QLatin1Char('\n'))));
        QCOMPARE(report.blocks, 1);
        QCOMPARE(report.events, 1);
        QCOMPARE(report.samples, quint64(10));
        QVERIFY(holdsSensorData(m_folder->path()));
        QVERIFY(!holdsSensorData(m_folder->session()));
    }

    void damage_data()
    {
        QTest::addColumn<Harm>("harm");
        QTest::addColumn<QStringList>("findings");
        QTest::addColumn<int>("problems");
        const QString block = QStringLiteral("block_1.norvexdata");
        const QString event = QStringLiteral("Event_1.norvexevent");
        QTest::addColumn<int>("kept"); // samples after the repair
        const auto row = [](const char *name, const Harm &harm, const QStringList &findings, int problems = 0,
                            int kept = 10) { QTest::newRow(name) << harm << findings << problems << kept; };
        row(
            "block cut", [=](const SensorFolder &f) { return cut(f.file(block), 12 + 196 * 4 + 100); },
            {block + QStringLiteral(" short")}, 0, 4);
        row("block's count lowered",
            [=](const SensorFolder &f) {
                QFile file(f.file(block));
                return file.open(QIODevice::ReadWrite) && file.seek(11) && file.write("\3", 1) == 1;
            },
            {block + QStringLiteral(" long")});
        row(
            "block of another version",
            [=](const SensorFolder &f) {
                QFile file(f.file(block));
                return file.open(QIODevice::ReadWrite) && file.seek(3) && file.write("\5", 1) == 1;
            },
            {block + QStringLiteral(" unreadable")}, 0, 0);
        row(
            "blocks half the same",
            [=](const SensorFolder &f) {
                return writeFile(f.file(QStringLiteral("block_2.norvexdata")), blockfile::encodeBlock(::row(6000, 10)));
            },
            {QStringLiteral("block_2.norvexdata overlapping")}, 0, 15);
        row(
            "names that leave the folder",
            [](const SensorFolder &f) {
                return writeFile(f.index(), contentOf(f.index())
                                                .replace("Block Data;1", "Block Data;2\nblock;S1;../evil;1;2")
                                                .replace("Event_1.", "../Event_1."));
            },
            {event + QStringLiteral(" unlisted"), QStringLiteral("../evil outside"),
             QStringLiteral("../Event_1.norvexevent outside")},
            2);
        row("other times listed",
            [](const SensorFolder &f) {
                return writeFile(f.index(), contentOf(f.index()).replace(";10000\n", ";9\n"));
            },
            {block + QStringLiteral(" stale")});
        row(
            "block cut in its header", [=](const SensorFolder &f) { return cut(f.file(block), 11); },
            {block + QStringLiteral(" unreadable")}, 0, 0);
        row(
            "block empty", [=](const SensorFolder &f) { return empty(f.file(block)); },
            {block + QStringLiteral(" unreadable")}, 0, 0);
        row(
            "block gone", [=](const SensorFolder &f) { return QFile::remove(f.file(block)); },
            {block + QStringLiteral(" missing")}, 0, 0);
        row("block more",
            [=](const SensorFolder &f) {
                return QFile::copy(f.file(block), f.file(QStringLiteral("block_7.norvexdata")));
            },
            {QStringLiteral("block_7.norvexdata overlapping")});
        row("event cut", [=](const SensorFolder &f) { return cut(f.file(event), 100); },
            {event + QStringLiteral(" unreadable")});
        row("event gone", [=](const SensorFolder &f) { return QFile::remove(f.file(event)); },
            {event + QStringLiteral(" missing")});
        row("event more",
            [=](const SensorFolder &f) {
                return QFile::copy(f.file(event), f.file(QStringLiteral("Event_9.norvexevent")));
            },
            {QStringLiteral("Event_9.norvexevent overlapping")});
        row(
            "block a symbolic link",
            [=](const SensorFolder &f) {
                const QString elsewhere = f.session() + QStringLiteral("/elsewhere");
                return QFile::rename(f.file(block), elsewhere) && QFile::link(elsewhere, f.file(block));
            },
            {block + QStringLiteral(" missing")}, 0, 0);
        row(
            "kept configuration spoilt",
            [](const SensorFolder &f) { return writeFile(f.file(QStringLiteral("config_last.norvexconfig")), "junk"); },
            {}, 1);
        row(
            "index gone", [](const SensorFolder &f) { return QFile::remove(f.index()); },
            {block + QStringLiteral(" unlisted"), event + QStringLiteral(" unlisted")}, 1);
        row(
            "index cut", [](const SensorFolder &f) { return cut(f.index(), QFileInfo(f.index()).size() - 12); }, {}, 1);
        row(
            "save interrupted", [](const SensorFolder &f) { return QFile::copy(f.index(), f.backup()); }, {}, 1);
        row(
            "folder gone", [](const SensorFolder &f) { return QDir(f.path()).removeRecursively(); }, {}, 1, 0);
    }

    void damage()
    {
        QFETCH(Harm, harm);
        QVERIFY(harm(*m_folder));
        const QStringList before = m_folder->names();
        const IntegrityReport report = checkSensorFolder(m_folder->path());
        QVERIFY(report.isDamaged());
        QTEST(shown(report), "findings");
        QTEST(report.problems.size(), "problems");
        QCOMPARE(m_folder->names(), before);
    }

    void repair_data() { damage_data(); }

    void repair()
    {
        QFETCH(Harm, harm);
        QFETCH(int, kept);
        QVERIFY(harm(*m_folder));
        const QStringList before = m_folder->names();
        QMap<QString, QByteArray> originals;
        for (const QString &name : before)
            originals.insert(name, contentOf(m_folder->file(name)));
        const QString aside = m_folder->session() + QStringLiteral("/aside");
        const SensorIdentity identity{QStringLiteral("S1"), QStringLiteral("Default")};
        const FolderRepair done = repairFolder(inspectFolder(m_folder->path()), identity, aside);
        QVERIFY2(done.outcome == FolderRepair::Outcome::Repaired, qPrintable(done.reason));

        // Sound, and nothing to do a second time.
        const IntegrityReport after = checkSensorFolder(m_folder->path());
        QVERIFY2(!after.isDamaged(), qPrintable((shown(after) + after.problems).join(QLatin1Char('\n'))));
        const QStringList repaired = m_folder->names();
        QVERIFY(repairFolder(inspectFolder(m_folder->path()), identity, aside).outcome == FolderRepair::Outcome::Sound);
        QCOMPARE(m_folder->names(), repaired);

        // Every file that is no longer there or no longer the same is kept.
        for (const QString &name : before) {
            if (contentOf(m_folder->file(name)) != originals.value(name))
                QCOMPARE(contentOf(aside + QLatin1Char('/') + name), originals.value(name));
        }

        LoadOutcome outcome = LoadOutcome::Failed;
        const auto store = m_folder->load(&outcome);
        QCOMPARE(outcome, LoadOutcome::Loaded);
        QCOMPARE(everything(*store).size(), kept);
        QCOMPARE(store->sampleCount(), quint64(kept));
        QCOMPARE(store->eventCount(), kept == 0 && !before.contains(QStringLiteral("index.dat")) ? 0 : 1);
        QCOMPARE(store->sensorSerial(), QStringLiteral("S1"));
    }

    void goesAwayOnTheWay_data()
    {
        QTest::addColumn<bool>("all");
        QTest::newRow("the folder") << true;
        QTest::newRow("a file") << false;
    }

    /// Between the look at the folder and its repair; what comes back must be what was there.
    void goesAwayOnTheWay()
    {
        QFETCH(bool, all);
        const QString aside = m_folder->session() + QStringLiteral("/aside");
        QVERIFY(QFile::remove(m_folder->file(QStringLiteral("index.dat"))));
        const QStringList before = m_folder->names();
        const FolderInspection found = inspectFolder(m_folder->path());
        const QString gone = all ? m_folder->path() : m_folder->file(QStringLiteral("block_1.norvexdata"));
        QVERIFY(QFile::rename(gone, gone + QStringLiteral(".away")));
        const FolderRepair repair = repairFolder(found, {QStringLiteral("S1"), QStringLiteral("Default")}, aside);
        QVERIFY(repair.outcome == FolderRepair::Outcome::Failed);
        QVERIFY2(repair.reason.contains(gone), qPrintable(repair.reason));
        QVERIFY(!QFileInfo::exists(aside));
        QVERIFY(!QFileInfo::exists(gone));
        QVERIFY(QFile::rename(gone + QStringLiteral(".away"), gone));
        QCOMPARE(m_folder->names(), before);
    }

private:
    std::unique_ptr<SensorFolder> m_folder;
};

QTEST_GUILESS_MAIN(tst_integritycheck)
#include "tst_integritycheck.moc"
