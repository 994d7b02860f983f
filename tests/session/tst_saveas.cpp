#include "base/jobprogress.h"
#include "session/saveas.h"
#include "sessionfixture.h"

#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

#include <memory>

namespace {

QVector<SamplePoint> allOf(const norvexData &store)
{
    QVector<SamplePoint> all;
    if (!store.samplesInRange(0, ~quint64(0), all))
        all.clear();
    return all;
}

/// All but the journal, whose files come and go.
QStringList dataFiles(const QString &folder)
{
    return filesBelow(folder).filter(QRegularExpression(QStringLiteral("^(?!.*/journal/)")));
}

using Change = std::function<void(const QString &from, const QString &to, JobProgress &progress)>;

} // namespace
Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(CopyOutcome::Kind)

class TestSaveAs : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void recordingGoesOn();
    void leavesEverythingAsItWas_data();
    void leavesEverythingAsItWas();
    void droppedCopy();
    void fullDisk();

private:
    QString from() const { return m_folder->filePath(QStringLiteral("from")); }
    QString to() const { return m_folder->filePath(QStringLiteral("new/to")); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Session> m_session;
    std::shared_ptr<norvexData> m_store;
};

void TestSaveAs::init()
{
    m_session.reset();
    m_folder = std::make_unique<QTemporaryDir>();
    m_session = Session::create(from(), nullptr);
    m_store = m_session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(m_store->addSamples(samplesFrom(0, 10050)));
    EventRecord event;
    event.time = 1700000000000000ULL;
    event.samples = samplesFrom(0, 20);
    QVERIFY(m_store->addEvent(event));
    QVERIFY(m_session->save());
}

void TestSaveAs::recordingGoesOn()
{
    QVERIFY(m_store->addSamples(samplesFrom(10050, 10))); // not saved when the copy begins
    auto progress = std::make_unique<JobProgress>();
    SaveAs job(*m_session, to());
    const CopyOutcome copied = job.copy(progress.get());
    QVERIFY2(copied.kind == CopyOutcome::Kind::Done, qPrintable(copied.reason));
    QCOMPARE(progress->done(), progress->total());
    progress.reset(); // what shows it is closed before the end
    QCOMPARE(m_session->path(), from());
    QVERIFY(m_store->addSamples(samplesFrom(10060, 10))); // saved where the session still is
    m_session->addSensor(QStringLiteral("S2"), QStringLiteral("PM2"), QString(), 80);
    QVERIFY(m_session->save());
    QVERIFY(m_store->addSamples(samplesFrom(10070, 10))); // not saved at all
    bool answered = false;
    m_store->whenDurable(this, [&](bool ok) { answered = ok; });

    const CopyOutcome moved = job.finish();
    QVERIFY2(moved.kind == CopyOutcome::Kind::Done, qPrintable(moved.reason));
    QTRY_VERIFY_WITH_TIMEOUT(answered, 20000); // whoever waited for the old journal is answered
    QCOMPARE(m_session->path(), to());
    QVERIFY(QDir(from()).removeRecursively());
    QVERIFY(m_store->addSamples(samplesFrom(10080, 10)));
    QVERIFY(settle(*m_store)); // in the new journal
    QVERIFY(QDir(to() + QStringLiteral("/journal")).exists());
    m_store->unloadIdleBlocks(true);
    QCOMPARE(allOf(*m_store).size(), 10090);
    QVERIFY(m_session->save());
    QVERIFY(!m_session->hasUnsavedData());

    const auto read = Session::loadReadOnly(to(), nullptr);
    QCOMPARE(read->sensors().size(), 2);
    QCOMPARE(allOf(*read->store(QStringLiteral("S1"))).size(), 10090);
    const auto events = read->store(QStringLiteral("S1"))->eventsInRange(0, ~quint64(0));
    QCOMPARE(events.size(), 1);
    QCOMPARE(read->store(QStringLiteral("S1"))->waveform(keyOf(events[0])).size(), 20);
    SessionError error;
    QVERIFY(!Session::load(to(), &error)); // the lock has moved along
    QCOMPARE(error.kind, SessionError::Locked);
}

void TestSaveAs::leavesEverythingAsItWas_data()
{
    QTest::addColumn<Change>("before");
    QTest::addColumn<CopyOutcome::Kind>("kind");
    const auto row = [](const char *name, const Change &before, CopyOutcome::Kind kind) {
        QTest::newRow(name) << before << kind;
    };
    row(
        "cancelled", [](const QString &, const QString &, JobProgress &progress) { progress.cancel(); },
        CopyOutcome::Kind::Cancelled);
    row(
        "the target holds something",
        [](const QString &, const QString &to, JobProgress &) {
            QDir().mkpath(to);
            QFile file(to + QStringLiteral("/mine.txt"));
            QVERIFY(file.open(QIODevice::WriteOnly));
        },
        CopyOutcome::Kind::NotEmpty);
    row(
        "the target cannot be made",
        [](const QString &, const QString &to, JobProgress &) {
            QFile file(QFileInfo(to).path());
            QVERIFY(file.open(QIODevice::WriteOnly));
        },
        CopyOutcome::Kind::Failed);
    row(
        "a sensor folder was taken away",
        [](const QString &from, const QString &, JobProgress &) {
            QVERIFY(QDir().rename(from + QStringLiteral("/S1-PM1"), from + QStringLiteral("/gone")));
        },
        CopyOutcome::Kind::Failed);
}

void TestSaveAs::leavesEverythingAsItWas()
{
    QFETCH(Change, before);
    JobProgress progress;
    before(from(), to(), progress);
    if (QTest::currentTestFailed())
        return;
    const QStringList files = dataFiles(from());
    const QStringList others = dataFiles(m_folder->path());
    SaveAs job(*m_session, to());
    const CopyOutcome outcome = job.copy(&progress);
    QTEST(outcome.kind, "kind");
    QVERIFY(outcome.kind == CopyOutcome::Kind::Cancelled || !outcome.reason.isEmpty());
    QVERIFY(job.finish().kind != CopyOutcome::Kind::Done);
    QCOMPARE(m_session->path(), from());
    QCOMPARE(dataFiles(from()), files);
    QCOMPARE(dataFiles(m_folder->path()), others);
    QVERIFY(!QFileInfo(m_folder->filePath(QStringLiteral("new"))).isDir() || !filesBelow(to()).isEmpty());
    QVERIFY(m_store->addSamples(samplesFrom(20000, 10)));
    QVERIFY(settle(*m_store));
}

void TestSaveAs::droppedCopy()
{
    {
        SaveAs job(*m_session, to());
        QVERIFY(job.copy().kind == CopyOutcome::Kind::Done);
    }
    QVERIFY(!QFileInfo::exists(to()));
    SaveAs inside(*m_session, from() + QStringLiteral("/S1-PM1/x"));
    QVERIFY(inside.copy().kind == CopyOutcome::Kind::NotEmpty);
}

/// In a process of its own no file may get larger than half of a block's: so a disk fills up in the middle.
void TestSaveAs::fullDisk()
{
    const QString shell = QStandardPaths::findExecutable(QStringLiteral("sh"));
    if (shell.isEmpty())
        QSKIP("there is no shell to limit a process");
    m_session.reset();
    const QStringList before = filesBelow(from() + QStringLiteral("/S1-PM1"));
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(shell, {QStringLiteral("-c"), QStringLiteral("trap '' XFSZ; ulimit -f 2000; exec \"$@\""),
                          QStringLiteral("sh"), QCoreApplication::applicationFilePath(), QStringLiteral("--save-as"),
                          from(), to()});
    QVERIFY(process.waitForFinished(20000));
    const QString said = QString::fromUtf8(process.readAll());
    QVERIFY2(said.contains(QStringLiteral("block_1.norvexdata: File too large")), qPrintable(said));
    QCOMPARE(process.exitCode(), int(CopyOutcome::Kind::Failed));
    QCOMPARE(filesBelow(from() + QStringLiteral("/S1-PM1")), before);
    QVERIFY(!QFileInfo::exists(m_folder->filePath(QStringLiteral("new"))));
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("--save-as")) {
        const auto session = Session::load(arguments.value(2), nullptr);
        SaveAs job(*session, arguments.value(3));
        const CopyOutcome outcome = job.copy();
        fprintf(stderr, "%s\n", qPrintable(outcome.reason));
        return int(outcome.kind);
    }
    TestSaveAs test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_saveas.moc"
