#include "session/exclusivelock.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

/// Run with "--hold PATH" this program takes the lock, says so, and waits for its standard input to end; with
/// "--die PATH" it ends without releasing it.
class tst_exclusivelock : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(m_folder.isValid()); }

    void oneHolderAtATime()
    {
        const QString path = m_folder.filePath(QStringLiteral("one.lock"));
        {
            const LockAttempt first = takeLock(path);
            QCOMPARE(int(first.outcome), int(LockAttempt::Taken));
            const LockAttempt second = takeLock(path);
            QCOMPARE(int(second.outcome), int(LockAttempt::HeldByOther));
            QVERIFY(second.lock == nullptr);
            QVERIFY2(second.holder.contains(QString::number(QCoreApplication::applicationPid())),
                     qPrintable(second.holder));
        }
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(int(takeLock(path).outcome), int(LockAttempt::Taken));
    }

    void anotherProcessIsNamed()
    {
        const QString path = m_folder.filePath(QStringLiteral("other.lock"));
        QProcess other;
        start(other, QStringLiteral("--hold"), path);
        const LockAttempt attempt = takeLock(path);
        QCOMPARE(int(attempt.outcome), int(LockAttempt::HeldByOther));
        QVERIFY2(attempt.holder.contains(QStringLiteral("process %1 on ").arg(other.processId())),
                 qPrintable(attempt.holder));
        QVERIFY2(attempt.holder.startsWith(QStringLiteral("tst_exclusive")), qPrintable(attempt.holder));
        other.closeWriteChannel();
        QVERIFY(other.waitForFinished(5000));
        QCOMPARE(int(takeLock(path).outcome), int(LockAttempt::Taken));
    }

    void theLockOfADeadProcessIsFreeAtOnce()
    {
        const QString path = m_folder.filePath(QStringLiteral("dead.lock"));
        QProcess other;
        start(other, QStringLiteral("--die"), path);
        QVERIFY(other.waitForFinished(5000));
        QVERIFY(QFileInfo::exists(path));
        QCOMPARE(int(takeLock(path).outcome), int(LockAttempt::Taken));
    }

    void aTakeoverThatWasKilledKeepsNobodyOut()
    {
        const QString path = m_folder.filePath(QStringLiteral("takeover.lock"));
        QProcess other;
        start(other, QStringLiteral("--die"), path);
        QVERIFY(other.waitForFinished(5000));
        QFile leftover(path + QStringLiteral(".rmlock"));
        QVERIFY(leftover.open(QIODevice::WriteOnly));
        QVERIFY(leftover.setFileTime(QDateTime::currentDateTime().addMSecs(-1900), QFileDevice::FileModificationTime));
        leftover.close();
        QCOMPARE(int(takeLock(path).outcome), int(LockAttempt::Taken));
        QVERIFY(!leftover.exists());
    }

    void anOldLockFileThatNamesNobodyIsFree_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("ageMs");
        QTest::newRow("empty") << QByteArray() << 60000;
        QTest::newRow("zeros") << QByteArray(64, '\0') << 60000;
        QTest::newRow("text") << QByteArray("not a lock\n") << 60000;
        QTest::newRow("half a name") << "1\nnorvex\n" + QSysInfo::machineHostName().toUtf8() + "\n0a1b" << 60000;
        QTest::newRow("of a program killed just now") << QByteArray() << 1900;
    }

    void anOldLockFileThatNamesNobodyIsFree()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, ageMs);
        const QString path = m_folder.filePath(QStringLiteral("nameless.lock"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
        file.flush();
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addMSecs(-ageMs), QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(int(takeLock(path).outcome), int(LockAttempt::Taken));
    }

    void aFolderThatIsNotThere()
    {
        QCOMPARE(int(takeLock(m_folder.filePath(QStringLiteral("none/x.lock"))).outcome),
                 int(LockAttempt::NotWritable));
    }

private:
    static void start(QProcess &process, const QString &mode, const QString &path)
    {
        process.start(QCoreApplication::applicationFilePath(), {mode, path});
        QVERIFY(process.waitForReadyRead(5000));
        QCOMPARE(process.readLine().trimmed(), QByteArray("taken"));
    }

    QTemporaryDir m_folder;
};

namespace {

int holdLock(const QString &mode, const QString &path)
{
    LockAttempt attempt = takeLock(path);
    std::puts(attempt.outcome == LockAttempt::Taken ? "taken" : "refused");
    std::fflush(stdout);
    if (mode == QLatin1String("--die"))
        std::_Exit(0);
    while (std::getchar() != EOF) {
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 &&
        (arguments.at(1) == QLatin1String("--hold") || arguments.at(1) == QLatin1String("--die")))
        return holdLock(arguments.at(1), arguments.at(2));
    tst_exclusivelock test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_exclusivelock.moc"
