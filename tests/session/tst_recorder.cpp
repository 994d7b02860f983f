#include "session/recorder.h"
#include "sessionfixture.h"
#include "simulator/sensorsimulator.h"

#include <QtTest>

namespace {

const QString host = QStringLiteral("127.0.0.1");
constexpr int patience = 20000;

} // namespace

class tst_recorder : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_temporary = std::make_unique<QTemporaryDir>();
        m_options.timings.retryWait = 50;
        m_options.timings.pollPeriod = 20;
        m_options.timings.replyTimeout = 500;
        m_options.timings.dispatchInterval = 1;
        m_options.lockFolder = m_temporary->filePath(QStringLiteral("locks"));
        m_session = Session::create(m_temporary->filePath(QStringLiteral("etch")), nullptr);
        QVERIFY(m_session);
    }

    void cleanup() { m_session.reset(); }

    void recordsAndSavesOnItsWayOut()
    {
        const auto sensor = started(QStringLiteral("SN1"));
        Recorder recorder(m_session.get(), m_options);
        QSignalSpy ready(&recorder, &Recorder::sensorReady);
        QCOMPARE(recorder.addSensor(host, sensor->port(), QStringLiteral("Etch")), Recorder::AddOutcome::Added);
        QTRY_VERIFY_WITH_TIMEOUT(!ready.isEmpty(), patience);
        QCOMPARE(ready.at(0).at(1).toString(), QStringLiteral("SN1"));
        arcSensor *const connection = recorder.connectionOf(QStringLiteral("SN1"));
        QVERIFY(connection);
        QVERIFY(recorder.isRecording(connection));
        const auto data = m_session->store(QStringLiteral("SN1"));
        QCOMPARE(connection->store(), data);
        QTRY_VERIFY_WITH_TIMEOUT(data->sampleCount() >= 20, patience);
        QVERIFY(recorder.stop());
        QVERIFY(!m_session->hasUnsavedData());
        const auto loaded = Session::loadReadOnly(m_session->path(), nullptr);
        QVERIFY(loaded);
        QCOMPARE(loaded->sensors().at(0).address, host);
        QCOMPARE(loaded->sensors().at(0).port, sensor->port());
        QCOMPARE(loaded->sensors().at(0).data->chamberSerial(), QStringLiteral("Etch"));
        QCOMPARE(loaded->sensors().at(0).data->sampleCount(), data->sampleCount());
        QVERIFY2(loaded->sensors().at(0).data->timeLine().known, "the time line is kept with the session");
    }

    void aSerialThatIsChangedInTheFilesIsKnownAgain()
    {
        const auto sensor = started(QStringLiteral("S;1"));
        for (const bool first : {true, false}) {
            {
                Recorder recorder(m_session.get(), m_options);
                QSignalSpy ready(&recorder, &Recorder::sensorReady);
                if (first)
                    recorder.addSensor(host, sensor->port(), {});
                else
                    recorder.connectAll();
                QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
                QCOMPARE(ready.at(0).at(1).toString(), QStringLiteral("S_1"));
                QVERIFY(recorder.stop());
            }
            const QString path = m_session->path();
            m_session.reset();
            m_session = Session::load(path, nullptr);
        }
        QCOMPARE(m_session->sensors().size(), 1);
    }

    void anAddressHasOneRecorder()
    {
        const auto other = Session::create(m_temporary->filePath(QStringLiteral("other")), nullptr);
        Recorder first(m_session.get(), m_options);
        QCOMPARE(first.addSensor(host, 1, {}), Recorder::AddOutcome::Added);
        QCOMPARE(first.addSensor(host, 1, {}), Recorder::AddOutcome::AlreadyThere);
        Recorder second(other.get(), m_options);
        QString holder;
        QCOMPARE(second.addSensor(host, 1, {}, &holder), Recorder::AddOutcome::LockedByOther);
        QVERIFY2(holder.contains(QString::number(QCoreApplication::applicationPid())), qPrintable(holder));
        QCOMPARE(second.addSensor(host, 2, {}), Recorder::AddOutcome::Added);
        first.removeConnection(first.connections().at(0));
        QCOMPARE(second.addSensor(host, 1, {}), Recorder::AddOutcome::Added);
    }

    /// Both would clear, and each would miss what the other has taken.
    void aSensorHasOneRecorderUnderEveryName()
    {
        const auto sensor = started(QStringLiteral("SN1"));
        const auto session = Session::create(m_temporary->filePath(QStringLiteral("other")), nullptr);
        Recorder first(m_session.get(), m_options);
        QSignalSpy ready(&first, &Recorder::sensorReady);
        first.addSensor(host, sensor->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
        Recorder second(session.get(), m_options);
        QSignalSpy refused(&second, &Recorder::sensorRefused);
        QSignalSpy late(&second, &Recorder::sensorReady);
        QCOMPARE(second.addSensor(QStringLiteral("127.1"), sensor->port(), {}), Recorder::AddOutcome::Added);
        QTRY_COMPARE_WITH_TIMEOUT(refused.size() + late.size(), 1, patience);
        QVERIFY(late.isEmpty() && session->sensors().isEmpty());
        arcSensor *const connection = second.connections().at(0);
        QVERIFY(second.isLockedOut(connection));
        QVERIFY(first.stop());
        connection->reconnect();
        QTRY_COMPARE_WITH_TIMEOUT(late.size(), 1, patience);
        QVERIFY(!second.isLockedOut(connection));
    }

    void aSensorWaitsForItsFolder()
    {
        QFile inTheWay(m_session->path() + QStringLiteral("/SN1-Default"));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        m_options.timings.retryWait = 5;
        const auto sensor = started(QStringLiteral("SN1"));
        Recorder recorder(m_session.get(), m_options);
        QSignalSpy ready(&recorder, &Recorder::sensorReady);
        QSignalSpy refused(&recorder, &Recorder::sensorRefused);
        QSignalSpy delayed(&recorder, &Recorder::sensorDelayed);
        recorder.addSensor(host, sensor->port(), {});
        int tries = 0;
        connect(recorder.connections().at(0), &arcSensor::statusUpdate, this,
                [&tries](const QString &message) { tries += message == QLatin1String("Connected") ? 1 : 0; });
        QTRY_VERIFY_WITH_TIMEOUT(tries >= 15, patience);
        QVERIFY(ready.isEmpty() && refused.isEmpty());
        QCOMPARE(delayed.size(), 1);
        QVERIFY(inTheWay.remove());
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
        QTRY_VERIFY_WITH_TIMEOUT(m_session->store(QStringLiteral("SN1"))->sampleCount() > 0, patience);
    }

    void theSameSensorIsNotRecordedTwice()
    {
        const auto one = started(QStringLiteral("SN1"));
        const auto twin = started(QStringLiteral("SN1"));
        Recorder recorder(m_session.get(), m_options);
        QSignalSpy ready(&recorder, &Recorder::sensorReady);
        QSignalSpy refused(&recorder, &Recorder::sensorRefused);
        recorder.addSensor(host, one->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
        recorder.addSensor(host, twin->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(refused.size(), 1, patience);
        QCOMPARE(recorder.connections().at(1)->state(), 0);
        QVERIFY(!recorder.isRecording(recorder.connections().at(1)));
        QCOMPARE(m_session->sensors().size(), 1);
        QCOMPARE(m_session->sensors().at(0).port, one->port());
    }

    void anotherSensorAtTheAddressIsNotMixedIn()
    {
        const auto sensor = started(QStringLiteral("SN1"));
        Recorder recorder(m_session.get(), m_options);
        QSignalSpy ready(&recorder, &Recorder::sensorReady);
        QSignalSpy refused(&recorder, &Recorder::sensorRefused);
        recorder.addSensor(host, sensor->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
        sensor->setPower(false);
        QTRY_COMPARE_WITH_TIMEOUT(recorder.connections().at(0)->state(), 0, patience);
        const quint64 before = m_session->store(QStringLiteral("SN1"))->sampleCount();
        sensor->setSerial(QStringLiteral("SN2"));
        sensor->setPower(true);
        QTRY_VERIFY_WITH_TIMEOUT(!refused.isEmpty(), patience);
        QVERIFY2(refused.at(0).at(1).toString().contains(QStringLiteral("SN2")),
                 qPrintable(refused.at(0).at(1).toString()));
        QTest::qWait(50);
        QCOMPARE(m_session->store(QStringLiteral("SN1"))->sampleCount(), before);
        QVERIFY(!m_session->store(QStringLiteral("SN2")));

        sensor->setSerial(QStringLiteral("SN1"));
        QTRY_VERIFY_WITH_TIMEOUT(m_session->store(QStringLiteral("SN1"))->sampleCount() > before, patience);
    }

    void anotherSensorTakesTheAddressOfAStoppedOne()
    {
        const auto sensor = started(QStringLiteral("SN1"));
        Recorder recorder(m_session.get(), m_options);
        QSignalSpy ready(&recorder, &Recorder::sensorReady);
        recorder.addSensor(host, sensor->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
        recorder.connectionOf(QStringLiteral("SN1"))->stop();
        sensor->setSerial(QStringLiteral("SN2"));
        QCOMPARE(recorder.addSensor(host, sensor->port(), {}), Recorder::AddOutcome::Added);
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 2, patience);
        QCOMPARE(recorder.connections().size(), 1);
        QVERIFY(m_session->sensors().at(0).address.isEmpty()); // or both would claim it when the session is opened
        QCOMPARE(m_session->sensors().at(1).port, sensor->port());
    }

    void aSensorMovesToAnotherAddress()
    {
        const auto one = started(QStringLiteral("SN1"));
        const auto two = started(QStringLiteral("SN2"));
        Recorder recorder(m_session.get(), m_options);
        QSignalSpy ready(&recorder, &Recorder::sensorReady);
        recorder.addSensor(host, one->port(), {});
        recorder.addSensor(host, two->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 2, patience);
        two->setPower(false); // they change places
        one->setSerial(QStringLiteral("SN2"));
        arcSensor *const moved = recorder.connectionOf(QStringLiteral("SN2"));
        const quint64 before = m_session->store(QStringLiteral("SN2"))->sampleCount();
        QCOMPARE(recorder.moveConnection(moved, host, one->port()), Recorder::AddOutcome::Added);
        QTRY_VERIFY_WITH_TIMEOUT(m_session->store(QStringLiteral("SN2"))->sampleCount() > before, patience);
        QCOMPARE(m_session->sensors().at(1).port, one->port());
        QString holder;
        Recorder other(m_session.get(), m_options);
        QCOMPARE(other.addSensor(host, one->port(), {}, &holder), Recorder::AddOutcome::LockedByOther);
        QCOMPARE(other.addSensor(host, two->port(), {}, &holder), Recorder::AddOutcome::Added); // it is free now
    }

    void aLoadedSessionConnectsItsSensors()
    {
        const auto sensor = started(QStringLiteral("SN1"));
        m_session->addSensor(QStringLiteral("SN1"), QStringLiteral("Etch"), host, sensor->port());
        m_session->addSensor(QStringLiteral("SN2"), {}, {}, 80);
        const QString folder = m_session->path();
        QVERIFY(m_session->save());
        m_session.reset();
        m_session = Session::load(folder, nullptr);
        Recorder recorder(m_session.get(), m_options);
        recorder.connectAll();
        QCOMPARE(recorder.connections().size(), 1);
        const auto data = m_session->store(QStringLiteral("SN1"));
        QTRY_VERIFY_WITH_TIMEOUT(data->sampleCount() > 0, patience);
        QCOMPARE(data->chamberSerial(), QStringLiteral("Etch"));
    }

    void whatIsStoppedStaysStopped()
    {
        const auto sensor = started(QStringLiteral("SN1"));
        auto recorder = std::make_unique<Recorder>(m_session.get(), m_options);
        QSignalSpy ready(recorder.get(), &Recorder::sensorReady);
        recorder->addSensor(host, sensor->port(), {});
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 1, patience);
        QVERIFY(recorder->stop());
        const quint64 requests = quint64(sensor->requestCount());
        QTest::qWait(50);
        QVERIFY(quint64(sensor->requestCount()) <= requests + 1); // the one in flight
        QVERIFY2(recorder->stop(), "stopping twice is harmless");
        Recorder next(m_session.get(), m_options);
        QCOMPARE(next.addSensor(host, sensor->port(), {}), Recorder::AddOutcome::Added);
    }

private:
    std::unique_ptr<SensorSimulator> started(const QString &serial)
    {
        SimulatorOptions options;
        options.serial = serial;
        options.rate = 500;
        auto sensor = std::make_unique<SensorSimulator>(options);
        if (!sensor->start())
            qFatal("the simulated sensor does not start");
        return sensor;
    }

    std::unique_ptr<QTemporaryDir> m_temporary;
    Recorder::Options m_options;
    std::unique_ptr<Session> m_session;
};

QTEST_GUILESS_MAIN(tst_recorder)
#include "tst_recorder.moc"
