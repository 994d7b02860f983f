#include "programs.h"
#include "session/session.h"

#include <QDirIterator>
#include <QtTest>

// Commands whose process may not write files beyond a megabyte: half of a full block. What they were given is
// untouched, they say what happened, and a second try with room ends well.

namespace {

constexpr int roomForHalfABlock = 2000;

QVector<SamplePoint> samples(int count)
{
    QVector<SamplePoint> list(count);
    for (int i = 0; i < count; ++i)
        list[i].time = 1700000000000000ULL + static_cast<quint64>(i) * 1000;
    return list;
}

QMap<QString, QByteArray> contentsBelow(const QString &folder)
{
    QMap<QString, QByteArray> contents;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        if (file.open(QIODevice::ReadOnly))
            contents.insert(file.fileName(), file.readAll());
    }
    return contents;
}

} // namespace

class TestFullDisk : public QObject
{
    Q_OBJECT

private slots:
    void import();
    void repair();
    void recover();

private:
    QString path(const char *name) const { return m_folder.filePath(QLatin1String(name)); }
    void record(const QString &folder);

    const QTemporaryDir m_folder;
    const Programs m_programs{m_folder.filePath(QStringLiteral("home"))};
};

void TestFullDisk::record(const QString &folder)
{
    const auto session = Session::create(folder, nullptr);
    const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
    QVERIFY(store->addSamples(samples(10000)));
    QVERIFY(session->save());
}

void TestFullDisk::import()
{
    record(path("source"));
    const auto before = contentsBelow(path("source"));
    const QStringList arguments{QStringLiteral("import"),   path("source"),       path("target"),
                                QStringLiteral("--sensor"), QStringLiteral("S2"), QStringLiteral("--chamber"),
                                QStringLiteral("PM2")};
    const Programs::Result failed = m_programs.cliWithoutRoom(arguments, roomForHalfABlock);
    QCOMPARE(failed.code, 14);
    QVERIFY2(failed.err.contains("File too large"), failed.err.constData());
    QVERIFY(contentsBelow(path("source")) == before);
    const Programs::Result done = m_programs.cli(arguments);
    QVERIFY2(done.code == 0, done.err.constData());
    QCOMPARE(Session::loadReadOnly(path("target"), nullptr)->store(QStringLiteral("S2"))->sampleCount(),
             quint64(10000));
}

void TestFullDisk::repair()
{
    record(path("damaged"));
    QVERIFY(QFile::resize(path("damaged/S1-PM1/block_1.norvexdata"), 12 + 196 * 9000));
    const auto before = contentsBelow(path("damaged/S1-PM1"));
    const QStringList arguments{QStringLiteral("check"), path("damaged"), QStringLiteral("--repair")};
    const Programs::Result locked = m_programs.cliWithoutRoom(arguments, 0); // not even for the lock
    QCOMPARE(locked.code, 14);
    const Programs::Result failed = m_programs.cliWithoutRoom(arguments, roomForHalfABlock);
    QCOMPARE(failed.code, 14);
    QVERIFY2(failed.err.contains("File too large"), failed.err.constData());
    QVERIFY(contentsBelow(path("damaged/S1-PM1")) == before);
    const Programs::Result done = m_programs.cli(arguments);
    QVERIFY2(done.code == 0, done.err.constData());
    QCOMPARE(Session::loadReadOnly(path("damaged"), nullptr)->store(QStringLiteral("S1"))->sampleCount(),
             quint64(9000));
}

/// Of block files without a session. What the first try copied is not copied twice.
void TestFullDisk::recover()
{
    record(path("whole"));
    QVERIFY(QDir().mkpath(path("bare")));
    const QString block = path("bare/block_1.norvexdata");
    QVERIFY(QFile::copy(path("whole/S1-PM1/block_1.norvexdata"), block));
    const auto before = contentsBelow(path("bare"));
    const QStringList arguments{QStringLiteral("recover"), path("bare")};
    const Programs::Result failed = m_programs.cliWithoutRoom(arguments, roomForHalfABlock);
    QCOMPARE(failed.code, 14);
    QVERIFY2(failed.err.contains("File too large"), failed.err.constData());
    QVERIFY(contentsBelow(path("bare")).value(block) == before.value(block));
    const Programs::Result done = m_programs.cli(arguments);
    QVERIFY2(done.code == 0, done.err.constData());
    const auto session = Session::loadReadOnly(path("bare"), nullptr);
    QVERIFY(session && session->sensors().size() == 1);
    QCOMPARE(session->sensors().constFirst().data->sampleCount(), quint64(10000));
}

QTEST_GUILESS_MAIN(TestFullDisk)
#include "tst_fulldisk.moc"
