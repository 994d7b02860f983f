#include "base/log.h"

#include <QMutex>
#include <QRegularExpression>
#include <QtTest>

namespace {

QStringList received;

void receive(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    static const QHash<int, QString> names{{QtDebugMsg, QStringLiteral("debug")},
                                           {QtInfoMsg, QStringLiteral("info")},
                                           {QtWarningMsg, QStringLiteral("warning")}};
    received.append(names.value(type) + QLatin1Char('|') + message);
}

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

/// The log file is one of the process, so its cases run in the order written here.
class tst_log : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        received.clear();
        if (!m_started)
            m_runnersHandler = qInstallMessageHandler(receive);
    }

    void cleanup()
    {
        if (!m_started)
            qInstallMessageHandler(m_runnersHandler);
    }

    void linesArriveExactlyAsGiven_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("quotes and backslashes") << QStringLiteral("C:\\data \"x\" 'y'");
        QTest::newRow("blanks") << QStringLiteral("  two  before and after  ");
        QTest::newRow("place markers") << QStringLiteral("%1 %s %d 100%");
        QTest::newRow("other alphabets") << QStringLiteral("Kammer \u00B5 \u5BA4");
        QTest::newRow("empty") << QString();
    }

    void linesArriveExactlyAsGiven()
    {
        QFETCH(QString, line);
        logDebug(line);
        logInfo(line);
        logWarning(line);
        const QStringList expected{QStringLiteral("debug|") + line, QStringLiteral("info|") + line,
                                   QStringLiteral("warning|") + line};
        QCOMPARE(received, expected);
    }

    void aLogFileThatCannotBeOpenedIsReported()
    {
        QVERIFY(m_folder.isValid());
        QFile blocker(m_folder.filePath(QStringLiteral("blocker")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        QVERIFY(!startLogFile(blocker.fileName() + QStringLiteral("/norvex.log"), true));
        logInfo(QStringLiteral("goes on"));
        QCOMPARE(received, QStringList{QStringLiteral("info|goes on")});
    }

    void linesAreStampedAndEchoed()
    {
        m_path = m_folder.filePath(QStringLiteral("new folder/norvex.log"));
        QVERIFY(startLogFile(m_path, true));
        m_started = true;
        logInfo(QStringLiteral("first \u00B5"));
        logWarning(QStringLiteral("second"));
        QCOMPARE(received, (QStringList{QStringLiteral("info|first \u00B5"), QStringLiteral("warning|second")}));
        const QStringList lines = linesOf(m_path);
        QCOMPARE(lines.size(), 2);
        const QRegularExpression stamped(
            QStringLiteral("^\\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d\\.\\d{3} first \u00B5$"));
        QVERIFY2(stamped.match(lines.first()).hasMatch(), qPrintable(lines.first()));
    }

    void aFullLogFileIsRotated()
    {
        const QString megabyte(1000 * 1000, QLatin1Char('x'));
        const QString older = m_path + QStringLiteral(".1");
        for (int i = 0; i < 5; ++i) {
            QVERIFY(!QFile::exists(older));
            logInfo(megabyte);
        }
        logInfo(QStringLiteral("after the first rotation"));
        QVERIFY(QFileInfo(older).size() > 5 * 1000 * 1000);
        QCOMPARE(linesOf(m_path).size(), 1);
        for (int i = 0; i < 5; ++i)
            logInfo(megabyte);
        logInfo(QStringLiteral("after the second rotation"));
        QVERIFY(linesOf(older).first().endsWith(QStringLiteral("after the first rotation")));
        QCOMPARE(linesOf(m_path).size(), 1);
    }

    void cleanupTestCase() { qInstallMessageHandler(m_runnersHandler); }

private:
    QTemporaryDir m_folder;
    QString m_path;
    QtMessageHandler m_runnersHandler = nullptr;
    bool m_started = false;
};

QTEST_GUILESS_MAIN(tst_log)
#include "tst_log.moc"
