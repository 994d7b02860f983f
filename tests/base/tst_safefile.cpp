#include "base/safefile.h"

#include <QtTest>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/resource.h>
#endif

namespace {

const QByteArray oldContent("old content");
const QByteArray newContent("something new");

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be read>");
}

bool putContent(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// Takes three bytes, then nothing more.
class SmallDisk final : public QIODevice
{
public:
    SmallDisk() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    QByteArray taken;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *bytes, qint64 size) override
    {
        const qint64 fits = qMin<qint64>(size, 3 - taken.size());
        taken.append(bytes, int(fits));
        if (fits > 0)
            return fits;
        setErrorString(QStringLiteral("full"));
        return -1;
    }
};

} // namespace

class tst_safefile : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath(QStringLiteral("block.norvexdata"));
        QVERIFY(putContent(m_path, oldContent));
    }

    void theFileIsOldUntilCommitAndThenNew()
    {
        SafeFile file(m_path);
        QVERIFY(file.open());
        QVERIFY(file.write(newContent.left(4)));
        QVERIFY(file.write(newContent.mid(4)));
        QCOMPARE(contentOf(m_path), oldContent);
        QVERIFY(file.commit());
        QCOMPARE(contentOf(m_path), newContent);
        QCOMPARE(names(), QStringList{QStringLiteral("block.norvexdata")});
        QVERIFY(file.error().isEmpty());
    }

    void aFileThatDidNotExistIsMade()
    {
        QVERIFY(QFile::remove(m_path));
        QVERIFY(writeFileSafely(m_path, newContent));
        QCOMPARE(contentOf(m_path), newContent);
    }

    void withoutCommitNothingChanges()
    {
        {
            SafeFile file(m_path);
            QVERIFY(file.open());
            QVERIFY(file.write(newContent));
        }
        QCOMPARE(contentOf(m_path), oldContent);
        QCOMPARE(names(), QStringList{QStringLiteral("block.norvexdata")});
    }

    void temporaryNamesAreRecognised()
    {
        SafeFile one(m_path);
        SafeFile two(m_path);
        QVERIFY(one.open() && two.open());
        QStringList strays = names();
        QVERIFY(strays.removeOne(QStringLiteral("block.norvexdata")));
        QCOMPARE(strays.size(), 2);
        for (const QString &stray : qAsConst(strays))
            QVERIFY2(SafeFile::isTemporaryName(stray), qPrintable(stray));
        for (const char *name : {"block.norvexdata", "index.dat", ".norvex-tmp.dat", ""})
            QVERIFY2(!SafeFile::isTemporaryName(QString::fromLatin1(name)), name);
        QVERIFY(one.write("one", 3) && two.write("two", 3));
        QVERIFY(two.commit() && one.commit());
        QCOMPARE(contentOf(m_path), QByteArray("one"));
    }

    void refusedTargets_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("a link to a file") << QStringLiteral("link");
        QTest::newRow("a link to nothing") << QStringLiteral("dangling");
        QTest::newRow("a folder") << QStringLiteral("folder");
        QTest::newRow("in a folder that is missing") << QStringLiteral("missing/file");
        QTest::newRow("below a file") << QStringLiteral("block.norvexdata/file");
    }

    void refusedTargets()
    {
        QFETCH(QString, target);
        QVERIFY(QFile::link(m_path, m_folder->filePath(QStringLiteral("link"))));
        QVERIFY(
            QFile::link(m_folder->filePath(QStringLiteral("nothing")), m_folder->filePath(QStringLiteral("dangling"))));
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("folder")));
        const QStringList before = names();
        QString error;
        QVERIFY(!writeFileSafely(m_folder->filePath(target), newContent, &error));
        QVERIFY(!error.isEmpty());
        QCOMPARE(contentOf(m_path), oldContent);
        QCOMPARE(names(), before);
    }

    void aRenameThatFailsLeavesNoTemporary()
    {
        SafeFile file(m_path);
        QVERIFY(file.open());
        QVERIFY(file.write(newContent));
        QVERIFY(QFile::remove(m_path));
        QVERIFY(QDir().mkpath(m_path + QStringLiteral("/in the way")));
        QVERIFY(!file.commit());
        QVERIFY(!file.error().isEmpty());
        QVERIFY(!file.commit());
        QCOMPARE(names(), QStringList{QStringLiteral("block.norvexdata")});
    }

    void aFileNeverOpenedCannotBeCommitted()
    {
        SafeFile file(m_path);
        QVERIFY(!file.commit());
        QCOMPARE(contentOf(m_path), oldContent);
    }

#ifdef Q_OS_LINUX
    void aWriteThatIsCutShortKeepsTheOldContent()
    {
        const auto previous = std::signal(SIGXFSZ, SIG_IGN);
        rlimit before{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
        rlimit small = before;
        small.rlim_cur = 1000;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
        bool first = false, second = true, third = true, committed = true;
        QString error;
        {
            SafeFile file(m_path);
            const bool opened = file.open();
            first = opened && file.write(QByteArray(600, 'a'));
            second = file.write(QByteArray(600, 'b')); // only 400 of them fit
            third = file.write("c", 1);
            committed = file.commit();
            error = file.error();
        }
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, previous);
        QVERIFY(first);
        QVERIFY(!second);
        QVERIFY(!third);
        QVERIFY(!committed);
        QVERIFY(!error.isEmpty());
        QCOMPARE(contentOf(m_path), oldContent);
        QCOMPARE(names(), QStringList{QStringLiteral("block.norvexdata")});
    }
#endif

    void readingIsBounded_data()
    {
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<bool>("ok");
        QTest::newRow("room to spare") << qint64(1000) << true;
        QTest::newRow("exactly as large") << qint64(oldContent.size()) << true;
        QTest::newRow("one byte too large") << qint64(oldContent.size() - 1) << false;
        QTest::newRow("nothing allowed") << qint64(0) << false;
    }

    void readingIsBounded()
    {
        QFETCH(qint64, limit);
        QFETCH(bool, ok);
        QByteArray bytes;
        QString error;
        QCOMPARE(readWholeFile(m_path, bytes, limit, &error), ok);
        QCOMPARE(error.isEmpty(), ok);
        if (ok)
            QCOMPARE(bytes, oldContent);
    }

    void aSmallFileTakesLittleMemoryWhateverTheLimit()
    {
        const auto highest = [] {
            QFile status(QStringLiteral("/proc/self/status"));
            status.open(QIODevice::ReadOnly);
            for (const QByteArray &line : status.readAll().split('\n')) {
                if (line.startsWith("VmPeak:"))
                    return line.simplified().split(' ').value(1).toLongLong();
            }
            return 0LL;
        };
        const qint64 before = highest();
        if (before == 0)
            QSKIP("this system does not tell");
        QVERIFY(writeFileSafely(m_path, QByteArray(2000, 'x')));
        QByteArray bytes;
        QVERIFY(readWholeFile(m_path, bytes, qint64(1) << 30));
        QCOMPARE(bytes.size(), 2000);
        QVERIFY(highest() - before < 64 * 1024);
    }

    void whatCannotBeReadHasAReason()
    {
        QByteArray bytes;
        const QString pipe = m_folder->filePath(QStringLiteral("pipe")); // reading it would never end
        QProcess::execute(QStringLiteral("mkfifo"), {pipe});
        for (const QString &path : {m_folder->filePath(QStringLiteral("missing")), m_folder->path(), pipe}) {
            QString error;
            QVERIFY(!readWholeFile(path, bytes, 1000, &error));
            QVERIFY(!error.isEmpty());
        }
    }

    void aDiskThatGetsFullSaysWhy()
    {
        SmallDisk disk;
        QString error;
        QVERIFY(!writeAll(disk, newContent.constData(), newContent.size(), &error));
        QCOMPARE(error, QStringLiteral("full"));
        QCOMPARE(disk.taken, newContent.left(3));
    }

private:
    QStringList names() const
    {
        return QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_safefile)
#include "tst_safefile.moc"
