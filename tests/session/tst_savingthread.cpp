#include "session/savingthread.h"
#include "sessionfixture.h"

#include <QtTest>

namespace {

constexpr int period = 20;
const QString unsavedLine = QStringLiteral("savingThread::saveSession: Session HAS UNSAVED DATA");
const QString failedLine = QStringLiteral("savingThread::saveSession: Periodic save check failed.");

} // namespace

class tst_savingthread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_temporary = std::make_unique<QTemporaryDir>();
        m_folder = m_temporary->filePath(QStringLiteral("etch"));
        m_session = Session::create(m_folder, nullptr);
        QVERIFY(m_session);
        m_data = m_session->addSensor(QStringLiteral("SN1"), {}, {}, 80);
        QVERIFY(m_session->save());
    }

    void cleanup()
    {
        m_data.reset();
        m_session.reset();
    }

    void savesWithinAPeriod()
    {
        const LogLines log;
        savingThread saver(m_session.get(), nullptr, period);
        QVERIFY(m_data->addSamples(samplesFrom(0, 3)));
        QTRY_VERIFY_WITH_TIMEOUT(!m_session->hasUnsavedData(), 20000);
        QCOMPARE(LogLines::with(unsavedLine), QStringList(QLatin1String("I ") + unsavedLine));
    }

    void theLastSaveHappensOnTheWayOut()
    {
        const LogLines log;
        {
            const savingThread saver(m_session.get(), nullptr, 3600000);
            QVERIFY(m_data->addSamples(samplesFrom(0, 3)));
        }
        QVERIFY(!m_session->hasUnsavedData());
        QCOMPARE(LogLines::with(unsavedLine).size(), 1);
    }

    void withoutUnsavedDataNothingIsWrittenOrSaid()
    {
        const QStringList before = filesBelow(m_folder);
        const LogLines log;
        {
            const savingThread saver(m_session.get(), nullptr, 1);
            QTest::qWait(30);
        }
        QCOMPARE(LogLines::with(QStringLiteral("savingThread")), QStringList());
        QCOMPARE(filesBelow(m_folder), before);
    }

    void aFailedSaveIsWarnedOfAndTriedAgain()
    {
        const LogLines log;
        QVERIFY(m_data->addSamples(samplesFrom(0, 3)));
        const QString file = m_folder + QLatin1Char('/') + Session::fileName();
        QVERIFY(QFile::remove(file));
        QVERIFY(QDir().mkdir(file));
        savingThread saver(m_session.get(), nullptr, period);
        QTRY_VERIFY_WITH_TIMEOUT(LogLines::with(failedLine).size() >= 2, 20000);
        QVERIFY(LogLines::with(failedLine).constFirst().startsWith(QStringLiteral("W ")));
        QVERIFY(QDir().rmdir(file));
        QTRY_VERIFY_WITH_TIMEOUT(!m_session->hasUnsavedData(), 20000);
    }

    void withoutASessionItRuns()
    {
        const LogLines log;
        savingThread saver(nullptr, nullptr, 1);
        QTest::qWait(10);
        QVERIFY(saver.isRunning());
        saver.saveSession();
        QCOMPARE(LogLines::with(QStringLiteral("savingThread")), QStringList());
    }

    /// Samples arrive, the thread saves and the owner saves too: at the end everything is on disk once.
    void savesWhileSamplesArrive()
    {
        constexpr int pages = 40;
        {
            savingThread saver(m_session.get(), nullptr, 1);
            for (int page = 0; page < pages; ++page) {
                QVERIFY(m_data->addSamples(samplesFrom(page * 20, 20)));
                if (page % 10 == 0)
                    saver.saveSession();
            }
        }
        QVERIFY(!m_session->hasUnsavedData());
        const std::unique_ptr<Session> loaded = Session::loadReadOnly(m_folder, nullptr);
        QVector<SamplePoint> samples;
        QVERIFY(loaded->store(QStringLiteral("SN1"))->samplesInRange(0, ~quint64(0), samples));
        QCOMPARE(samples, samplesFromPages(pages));
    }

private:
    static QVector<SamplePoint> samplesFromPages(int pages)
    {
        QVector<SamplePoint> all;
        for (int page = 0; page < pages; ++page)
            all += samplesFrom(page * 20, 20);
        return all;
    }

    std::unique_ptr<QTemporaryDir> m_temporary;
    QString m_folder;
    std::unique_ptr<Session> m_session;
    std::shared_ptr<norvexData> m_data;
};

QTEST_GUILESS_MAIN(tst_savingthread)
#include "tst_savingthread.moc"
