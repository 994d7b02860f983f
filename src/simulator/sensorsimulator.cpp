#include "simulator/sensorsimulator.h"

#include "simulator/discoveryresponder.h"
#include "simulator/httpengine.h"
#include "simulator/simulatedsensor.h"
#include "simulator/wireserver.h"

#include <QMutex>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>
#include <QWaitCondition>

#include <atomic>
#include <functional>

namespace {
constexpr int tickMs = 50;
}

/// Everything that lives in the serving thread. Made and deleted there.
class SimulatorCore : public QObject
{
    Q_OBJECT

public:
    SimulatorCore(SimulatedSensor &sensor, const SimulatorOptions &options, std::atomic<qint64> &requests)
        : m_sensor(sensor), m_options(options), m_requests(requests),
          m_engine([this](const PageRequest &request) { return answerPage(m_sensor, request); }),
          m_server([this](const RequestHead &head, const QByteArray &request) { return respond(head, request); }),
          m_discovery([this] { return m_sensor.serial().toUtf8(); })
    {
        connect(&m_tick, &QTimer::timeout, this, [this] { m_sensor.advance(); });
    }

    bool start(QString *error)
    {
        if (!m_server.listen(m_options.host, m_options.port, error))
            return false;
        if (m_options.discovery && !m_discovery.listen(m_options.discoveryPort, error))
            return false;
        m_tick.start(tickMs);
        return true;
    }

    WireServer &server() { return m_server; }
    quint16 discoveryPort() const { return m_discovery.port(); }

private:
    WireScript respond(const RequestHead &, const QByteArray &request)
    {
        ++m_requests;
        const HttpEngine::Reply reply = m_engine.process(request);
        WireScript script{{WireStep::Action::Send, reply.bytes, 0}};
        if (reply.close)
            script.append({WireStep::Action::Close, {}, 0});
        return script;
    }

    SimulatedSensor &m_sensor;
    const SimulatorOptions &m_options;
    std::atomic<qint64> &m_requests;
    HttpEngine m_engine;
    WireServer m_server;
    DiscoveryResponder m_discovery;
    QTimer m_tick;
};

/// The serving thread and the road into it: a queue of things to do under a mutex; a queued call only wakes it.
class SensorSimulator::Thread : public QThread
{
public:
    explicit Thread(const SimulatorOptions &simulatorOptions) : options(simulatorOptions), sensor(options) {}

    bool launch(QString *error)
    {
        QMutexLocker locker(&m_mutex);
        m_state = State::Starting;
        start();
        while (m_state == State::Starting)
            m_changed.wait(&m_mutex);
        if (m_state == State::Running)
            return true;
        if (error)
            *error = m_error;
        locker.unlock();
        wait();
        return false;
    }

    /// Runs `work` in the serving thread and returns when it is done. False when that thread does not run.
    bool call(std::function<void(SimulatorCore &)> work)
    {
        QMutexLocker locker(&m_mutex);
        if (m_state != State::Running)
            return false;
        m_work.append(std::move(work));
        const qint64 ticket = ++m_queued;
        QMetaObject::invokeMethod(
            m_core, [this] { drain(); }, Qt::QueuedConnection);
        while (m_done < ticket)
            m_changed.wait(&m_mutex);
        return true;
    }

    void end()
    {
        call([](SimulatorCore &core) { core.server().setPower(false); });
        quit();
        wait();
    }

    const SimulatorOptions options;
    SimulatedSensor sensor;
    std::atomic<qint64> requests{0};
    std::atomic<quint16> port{0};
    std::atomic<quint16> discoveryPort{0};

protected:
    void run() override
    {
        SimulatorCore core(sensor, options, requests);
        QString error;
        const bool started = core.start(&error);
        port = core.server().port();
        discoveryPort = core.discoveryPort();
        {
            const QMutexLocker locker(&m_mutex);
            m_core = &core;
            m_error = error;
            m_state = started ? State::Running : State::Failed;
            m_changed.wakeAll();
        }
        if (started)
            exec();
        const QMutexLocker locker(&m_mutex);
        m_core = nullptr;
        m_state = started ? State::Ended : State::Failed;
        m_done = m_queued;
        m_work.clear();
        m_changed.wakeAll();
    }

private:
    enum class State { Starting, Running, Failed, Ended };

    void drain()
    {
        QMutexLocker locker(&m_mutex);
        const auto work = m_work;
        m_work.clear();
        SimulatorCore *core = m_core;
        locker.unlock();
        if (core) {
            for (const auto &item : work)
                item(*core);
        }
        locker.relock();
        m_done += work.size();
        m_changed.wakeAll();
    }

    QMutex m_mutex; // guards everything below
    QWaitCondition m_changed;
    State m_state = State::Starting;
    QString m_error;
    SimulatorCore *m_core = nullptr;
    QVector<std::function<void(SimulatorCore &)>> m_work;
    qint64 m_queued = 0;
    qint64 m_done = 0;
};

SensorSimulator::SensorSimulator(const SimulatorOptions &options) : m_thread(std::make_unique<Thread>(options)) {}

SensorSimulator::~SensorSimulator()
{
    stop();
}

bool SensorSimulator::start(QString *error)
{
    if (m_thread->isRunning())
        return true;
    if (!m_thread->sensor.ledgerError().isEmpty()) {
        if (error)
            *error = m_thread->sensor.ledgerError();
        return false;
    }
    return m_thread->launch(error);
}

void SensorSimulator::stop()
{
    if (m_thread->isRunning())
        m_thread->end();
}

quint16 SensorSimulator::port() const
{
    return m_thread->port;
}

quint16 SensorSimulator::discoveryPort() const
{
    return m_thread->discoveryPort;
}

void SensorSimulator::setPower(bool on)
{
    m_thread->call([on](SimulatorCore &core) { core.server().setPower(on); });
}

void SensorSimulator::reboot(bool keepData)
{
    SimulatedSensor &sensor = m_thread->sensor;
    const auto work = [&sensor, keepData](SimulatorCore &core) {
        core.server().resetConnections();
        sensor.reboot(keepData);
    };
    if (!m_thread->call(work))
        sensor.reboot(keepData);
}

void SensorSimulator::setSerial(const QString &serial)
{
    m_thread->sensor.setSerial(serial);
}

void SensorSimulator::preload(int samples, int events)
{
    m_thread->sensor.preload(samples, events);
}

void SensorSimulator::advance()
{
    m_thread->sensor.advance();
}

LedgerSnapshot SensorSimulator::ledger() const
{
    return m_thread->sensor.ledger();
}

Recipe SensorSimulator::lastRecipe() const
{
    return m_thread->sensor.recipe();
}

SensorConfiguration SensorSimulator::lastConfiguration() const
{
    return m_thread->sensor.configuration();
}

int SensorSimulator::storedSamples() const
{
    return m_thread->sensor.storedSamples();
}

int SensorSimulator::storedEvents() const
{
    return m_thread->sensor.storedEvents();
}

qint64 SensorSimulator::requestCount() const
{
    return m_thread->requests;
}

#include "sensorsimulator.moc"
