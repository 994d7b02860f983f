#include "simulator/sensorsimulator.h"

#include "simulator/simulatedsensor.h"
#include "simulator/simulatorcore.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

/// The serving thread and the road into it: a queue of things to do under a mutex; a queued call only wakes it.
class SensorSimulator::Thread : public QThread
{
public:
    explicit Thread(const SimulatorOptions &simulatorOptions) : options(simulatorOptions), sensor(options) {}

    bool launch(QString *error)
    {
        std::unique_lock<std::mutex> locker(m_mutex);
        m_state = State::Starting;
        start();
        while (m_state == State::Starting)
            m_changed.wait(locker);
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
        std::unique_lock<std::mutex> locker(m_mutex);
        if (m_state != State::Running)
            return false;
        m_work.append(std::move(work));
        const qint64 ticket = ++m_queued;
        QCoreApplication::postEvent(m_core, new QEvent(QEvent::User));
        while (m_done < ticket)
            m_changed.wait(locker);
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
    SimulatorCore::Counters counters;
    std::atomic<quint16> port{0};
    std::atomic<quint16> discoveryPort{0};

protected:
    void run() override
    {
        SimulatorCore core(sensor, options, counters, [this] { drain(); });
        QString error;
        const bool started = core.start(&error);
        port = core.server().port();
        discoveryPort = core.discoveryPort();
        {
            const std::lock_guard<std::mutex> locker(m_mutex);
            m_core = &core;
            m_error = error;
            m_state = started ? State::Running : State::Failed;
            m_changed.notify_all();
        }
        if (started)
            exec();
        const std::lock_guard<std::mutex> locker(m_mutex);
        m_core = nullptr;
        m_state = started ? State::Ended : State::Failed;
        m_done = m_queued;
        m_work.clear();
        m_changed.notify_all();
    }

private:
    enum class State { Starting, Running, Failed, Ended };

    void drain()
    {
        std::unique_lock<std::mutex> locker(m_mutex);
        const auto work = m_work;
        m_work.clear();
        SimulatorCore *core = m_core;
        locker.unlock();
        if (core) {
            for (const auto &item : work)
                item(*core);
        }
        locker.lock();
        m_done += work.size();
        m_changed.notify_all();
    }

    std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
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
    if (!m_thread->call([keepData](SimulatorCore &core) { core.reboot(keepData); }))
        m_thread->sensor.reboot(keepData);
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
    return m_thread->counters.requests;
}

qint64 SensorSimulator::faultCount() const
{
    return m_thread->counters.faults;
}

bool SensorSimulator::setFaultPlan(const QString &plan, QString *error)
{
    bool taken = false;
    QString reason;
    const auto work = [&](SimulatorCore &core) { taken = core.setPlan(plan, &reason); };
    if (!m_thread->call(work))
        reason = QStringLiteral("the simulator does not run");
    if (error)
        *error = reason;
    return taken;
}
