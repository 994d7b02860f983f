#include "sessionfixture.h"

#include <QtTest>

namespace {

/// "serial in folder of chamber at address:port colour", one a sensor.
QStringList shown(const Session &session)
{
    QStringList lines;
    const QVector<SensorEntry> entries = session.sensors();
    for (const SensorEntry &entry : entries) {
        lines.append(QStringLiteral("%1 in %2 of %3 at %4:%5 %6")
                         .arg(entry.data->sensorSerial(), entry.data->folderName(), entry.data->chamberSerial(),
                              entry.address, QString::number(entry.port), entry.colour));
    }
    return lines;
}

} // namespace

class tst_session : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_temporary = std::make_unique<QTemporaryDir>();
        QVERIFY(m_temporary->isValid());
        m_folder = m_temporary->filePath(QStringLiteral("etch"));
    }

    void whatIsSavedIsLoaded()
    {
        {
            const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
            QVERIFY(session);
            QVERIFY(
                session->addSensor(QStringLiteral("SN1"), QStringLiteral("Etch 1"), QStringLiteral("10.0.0.5"), 81));
            const auto offline = session->addSensor(QStringLiteral("SN2"), {}, {}, 80);
            offline->setTimeLine({true, 1234567, 89});
            QVERIFY(session->store(QStringLiteral("SN1"))->addSamples(samplesFrom(0, 25)));
            QVERIFY(session->save());
        }
        SessionError error;
        const std::unique_ptr<Session> session = Session::load(m_folder, &error);
        QVERIFY2(session, qPrintable(error.text));
        QCOMPARE(shown(*session), QStringList({QStringLiteral("SN1 in SN1-Etch 1 of Etch 1 at 10.0.0.5:81 #2255ee"),
                                               QStringLiteral("SN2 in SN2-Default of Default at :80 #994455")}));
        QCOMPARE(session->chambers(), QStringList({QStringLiteral("Etch 1"), QStringLiteral("Default")}));
        QCOMPARE(session->store(QStringLiteral("SN1"))->sampleCount(), quint64(25));
        const SensorTimeLine line = session->store(QStringLiteral("SN2"))->timeLine();
        QVERIFY(line.known);
        QCOMPARE(line.baseUs, qint64(1234567));
        QCOMPARE(line.uptimeMs, qint64(89));
        QVERIFY(!session->store(QStringLiteral("SN1"))->timeLine().known);
        QCOMPARE(session->loadProblems(), QStringList());
        QVERIFY2(!session->hasUnsavedData(), "nothing has changed since it was loaded");
    }

    void whatChangesIsUnsaved()
    {
        FakeClock clock;
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr, clock);
        QVERIFY2(session->hasUnsavedData(), "the session file is not there yet");
        QCOMPARE(session->lastSaveMs(), qint64(0));
        QVERIFY(session->save());
        QCOMPARE(session->lastSaveMs(), clock.utcMs());
        QVERIFY(!session->hasUnsavedData());

        const auto data = session->addSensor(QStringLiteral("SN1"), {}, QStringLiteral("a"), 80);
        const std::vector<std::function<void()>> changes{
            [] {},
            [&] { data->addSamples(samplesFrom(0, 1)); },
            [&] { session->setSensorColour(QStringLiteral("SN1"), QStringLiteral("#123456")); },
            [&] { session->setSensorAddress(QStringLiteral("SN1"), QStringLiteral("b"), 80); },
            [&] { session->addSensor(QStringLiteral("SN1"), QStringLiteral("Etch"), QStringLiteral("b"), 80); },
            [&] {
                data->setTimeLine({true, 5, 5});
            },
        };
        for (const auto &change : changes) {
            change();
            QVERIFY(session->hasUnsavedData());
            QVERIFY(session->save());
            QVERIFY(!session->hasUnsavedData());
        }
        QVERIFY(session->removeSensor(QStringLiteral("SN1")));
        QVERIFY2(!session->hasUnsavedData(), "taking a sensor out saves");
    }

    /// What a sensor measured is not on disk before its time line is, and then whatever becomes of the session file.
    void savedOnlyWithTheTimeLine()
    {
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        const auto data = session->addSensor(QStringLiteral("SN1"), {}, QStringLiteral("a"), 80);
        const QString file = m_folder + QStringLiteral("/index.norvex_session");
        const auto blockSize = [this] {
            return QFileInfo(m_folder + QStringLiteral("/SN1-Default/block_1.norvexdata")).size();
        };
        data->setTimeLine({true, 5, 5});
        QVERIFY(data->addSamples(samplesFrom(0, 1)));
        QVERIFY(QDir().mkdir(file)); // the file cannot be written
        QVERIFY(!session->save());
        QCOMPARE(blockSize(), qint64(0));
        QVERIFY(QDir().rmdir(file));
        QVERIFY(session->save());
        const qint64 before = blockSize();
        QVERIFY(before > 0);

        QVERIFY(QFile::remove(file) && QDir().mkdir(file));
        data->setTimeLine({true, 5, 60'000}); // the sensor runs on
        QVERIFY(data->addSamples(samplesFrom(1, 1)));
        QVERIFY(!session->save());
        QVERIFY(blockSize() > before);
    }

    void createRefusesAFolderWithASession()
    {
        QVERIFY(Session::create(m_folder, nullptr)->save());
        SessionError error;
        QVERIFY(!Session::create(m_folder, &error));
        QCOMPARE(int(error.kind), int(SessionError::AlreadyThere));
    }

    void createRefusesAFolderThatCannotBe()
    {
        QFile file(m_folder);
        QVERIFY(file.open(QIODevice::WriteOnly));
        SessionError error;
        QVERIFY(!Session::create(m_folder + QStringLiteral("/below"), &error));
        QCOMPARE(int(error.kind), int(SessionError::CannotWrite));
    }

    void loadNeedsASessionFile()
    {
        SessionError error;
        QVERIFY(!Session::load(m_folder, &error));
        QCOMPARE(int(error.kind), int(SessionError::MissingFile));
        QCOMPARE(error.text, QStringLiteral("Could not locate file at directory:") + m_folder);
        QVERIFY2(!QFileInfo::exists(m_folder), "looking does not make folders");
        QVERIFY(!Session::loadReadOnly(m_folder, &error));
        QCOMPARE(int(error.kind), int(SessionError::MissingFile));
    }

    void loadRefusesWhatIsNoSessionFile()
    {
        QVERIFY(QDir().mkpath(m_folder));
        writeSessionFile("Arc detect data file ;V1.0.0\n");
        SessionError error;
        QVERIFY(!Session::load(m_folder, &error));
        QCOMPARE(int(error.kind), int(SessionError::Unreadable));
    }

    void hostileLinesDoNotReachOutside()
    {
        QVERIFY(QDir().mkpath(m_folder));
        QVERIFY(QDir(m_folder).mkpath(QStringLiteral("../outside")));
        writeSessionFile("Norvex session file ;V1.0.0\nSensor Data;4\nsensor;../outside;S1;c\nsensor;..;S2;c\n"
                         "sensor;gone;S3;c;;80\nsensor;gone;S4;c\nEnd Sensors;\n");
        SessionError error;
        const std::unique_ptr<Session> session = Session::load(m_folder, &error);
        QVERIFY2(session, qPrintable(error.text));
        QCOMPARE(session->sensors().size(), 1);
        QCOMPARE(session->sensors().at(0).data->sensorSerial(), QStringLiteral("S3"));
        QVERIFY(!session->sensors().at(0).loadProblem.isEmpty());
        QCOMPARE(session->fileProblems().size(), 3);
        QCOMPARE(session->loadProblems().size(), 4);
        QCOMPARE(filesBelow(m_folder + QStringLiteral("/../outside")), QStringList());
    }

    void oneSessionAtATime()
    {
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        QVERIFY(session->save());
        SessionError error;
        QVERIFY(!Session::load(m_folder, &error));
        QCOMPARE(int(error.kind), int(SessionError::Locked));
        QVERIFY2(error.text.contains(QString::number(QCoreApplication::applicationPid())), qPrintable(error.text));
        QVERIFY2(!Session::create(m_folder, &error), "a folder in use is no empty one");
        QCOMPARE(int(error.kind), int(SessionError::Locked));
        QVERIFY2(Session::loadReadOnly(m_folder, &error), qPrintable(error.text));
    }

    void readOnlyWritesNothing()
    {
        {
            const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
            session->addSensor(QStringLiteral("SN1"), {}, {}, 80)->addSamples(samplesFrom(0, 3));
            session->addSensor(QStringLiteral("SN2"), {}, {}, 80)->addSamples(samplesFrom(0, 4));
            QVERIFY(session->save());
        }
        QVERIFY(QFile::remove(m_folder + QStringLiteral("/SN2-Default/index.dat")));
        const QStringList before = filesBelow(m_folder);
        {
            const std::unique_ptr<Session> session = Session::loadReadOnly(m_folder, nullptr);
            QVERIFY(session);
            QCOMPARE(session->store(QStringLiteral("SN1"))->sampleCount(), quint64(3));
            QCOMPARE(session->store(QStringLiteral("SN2"))->sampleCount(), quint64(4));
            QVERIFY(!session->hasUnsavedData());
            QVERIFY(!session->save());
        }
        QCOMPARE(filesBelow(m_folder), before);
    }

    void noTwoSensorsShareAFolder()
    {
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        const QStringList serials{QStringLiteral("SN/1"), QStringLiteral("SN_1"), QStringLiteral("sn_1"),
                                  QStringLiteral("SN:1")};
        QSet<QString> folders;
        for (const QString &serial : serials) {
            const auto data = session->addSensor(serial, {}, {}, 80);
            QVERIFY(data);
            folders.insert(data->folderName().toLower());
            QVERIFY(QFileInfo(m_folder + QLatin1Char('/') + data->folderName()).isDir());
        }
        QCOMPARE(folders.size(), serials.size());
        QCOMPARE(session->addSensor(serials.at(1), {}, {}, 80), session->store(serials.at(1)));
    }

    void aForeignFolderIsLeftAlone()
    {
        QVERIFY(QDir().mkpath(m_folder + QStringLiteral("/SN1-Default")));
        QFile file(m_folder + QStringLiteral("/SN1-Default/block_1.norvexdata"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("somebody's");
        file.close();
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        const auto data = session->addSensor(QStringLiteral("SN1"), {}, {}, 80);
        QCOMPARE(data->folderName(), QStringLiteral("SN1-Default (2)"));
        data->addSamples(samplesFrom(0, 3));
        QVERIFY(session->save());
        QCOMPARE(file.size(), qint64(10));
    }

    void aRemovedSensorComesBackWithItsData()
    {
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        session->addSensor(QStringLiteral("SN1"), {}, {}, 80)->addSamples(samplesFrom(0, 3));
        QVERIFY(!session->removeSensor(QStringLiteral("SN9")));
        QVERIFY(session->removeSensor(QStringLiteral("SN1")));
        QVERIFY(session->sensors().isEmpty());
        const auto again = session->addSensor(QStringLiteral("SN1"), {}, {}, 80);
        QCOMPARE(again->folderName(), QStringLiteral("SN1-Default"));
        QCOMPARE(again->sampleCount(), quint64(3));
        again->addSamples(samplesFrom(3, 2));
        QVERIFY(session->save());
        QCOMPARE(again->sampleCount(), quint64(5));
    }

    void aFailedSaveIsToldAndTriedAgain()
    {
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        session->addSensor(QStringLiteral("SN1"), {}, {}, 80)->addSamples(samplesFrom(0, 3));
        QVERIFY(QDir(m_folder).mkdir(Session::fileName()));
        QVERIFY(!session->save());
        QVERIFY(session->hasUnsavedData());
        QCOMPARE(session->lastSaveMs(), qint64(0));
        QVERIFY2(QFileInfo::exists(m_folder + QStringLiteral("/SN1-Default/index.dat")),
                 "what can be saved is saved all the same");
        QVERIFY(QDir(m_folder).rmdir(Session::fileName()));
        QVERIFY(session->save());
        QVERIFY(!session->hasUnsavedData());
    }

    void loadingCanBeCancelled()
    {
        {
            const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
            for (int i = 0; i < 3; ++i)
                session->addSensor(QStringLiteral("SN%1").arg(i), {}, {}, 80);
            QVERIFY(session->save());
        }
        QStringList steps;
        const auto cancelAtSecond = [&](int done, int total, const QString &name) {
            steps.append(QStringLiteral("%1/%2 %3").arg(done).arg(total).arg(name));
            return done < 1;
        };
        SessionError error;
        QVERIFY(!Session::load(m_folder, &error, cancelAtSecond));
        QCOMPARE(int(error.kind), int(SessionError::Cancelled));
        QCOMPARE(steps, QStringList({QStringLiteral("0/3 SN0-Default"), QStringLiteral("1/3 SN1-Default")}));
        QVERIFY2(Session::load(m_folder, &error), "cancelling gives the folder free");
    }

    void folderOfTakesOffTheFileName_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::newRow("/data/etch") << "/data/etch";
        QTest::newRow("/data/etch/index.norvex_session") << "/data/etch";
        QTest::newRow("index.norvex_session") << ".";
        QTest::newRow("/index.norvex_session") << "/";
        QTest::newRow("/data/myindex.norvex_session") << "/data/myindex.norvex_session";
    }

    void folderOfTakesOffTheFileName()
    {
        QTEST(Session::folderOf(QString::fromUtf8(QTest::currentDataTag())), "folder");
    }

    void aRemovalThatCannotBeSavedIsToldAndSavedLater()
    {
        {
            const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
            session->addSensor(QStringLiteral("SN1"), {}, {}, 80)->addSamples(samplesFrom(0, 3));
            const QString file = m_folder + QLatin1Char('/') + Session::fileName();
            QVERIFY(QDir().mkpath(file + QStringLiteral("/inside")));
            bool saved = true;
            QVERIFY(session->removeSensor(QStringLiteral("SN1"), &saved));
            QVERIFY(!saved && session->hasUnsavedData());
            QVERIFY(QDir(file).removeRecursively());
            QVERIFY(session->save());
        }
        QVERIFY(Session::load(m_folder, nullptr)->sensors().isEmpty());
    }

    void announcesSensors()
    {
        const std::unique_ptr<Session> session = Session::create(m_folder, nullptr);
        QSignalSpy added(session.get(), &Session::sensorAdded);
        QSignalSpy removed(session.get(), &Session::sensorRemoved);
        session->addSensor(QStringLiteral("SN1"), {}, {}, 80);
        session->addSensor(QStringLiteral("SN1"), {}, QStringLiteral("a"), 80);
        session->removeSensor(QStringLiteral("SN1"));
        QCOMPARE(added.size(), 1);
        QCOMPARE(removed.size(), 1);
    }

private:
    void writeSessionFile(const QByteArray &bytes)
    {
        QFile file(m_folder + QLatin1Char('/') + Session::fileName());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    std::unique_ptr<QTemporaryDir> m_temporary;
    QString m_folder;
};

QTEST_GUILESS_MAIN(tst_session)
#include "tst_session.moc"
