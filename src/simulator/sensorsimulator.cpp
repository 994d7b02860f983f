#include "simulator/sensorsimulator.h"

#include "simulator/discoveryresponder.h"
#include "simulator/faultplan.h"
#include "simulator/httpengine.h"
#include "simulator/simulatedsensor.h"
#include "simulator/wireserver.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace {
constexpr int tickMs = 50;
}

/// Everything that lives in the serving thread. Made and deleted there.
class SimulatorCore : public QObject
{
    Q_OBJECT

public:
    /// What others may ask for while it runs.
    struct Counters
    {
        std::atomic<qint64> requests{0};
        std::atomic<qint64> faults{0};
    };

    /// `woken` runs in this thread after somebody has posted a user event.
    SimulatorCore(SimulatedSensor &sensor, const SimulatorOptions &options, Counters &counters,
                  std::function<void()> woken)
        : m_sensor(sensor), m_options(options), m_counters(counters), m_woken(std::move(woken)),
          m_engine([this](const PageRequest &request) { return answer(request); }),
          m_server([this](const RequestHead &head, const QByteArray &request) { return respond(head, request); }),
          m_discovery([this] { return m_sensor.serial().toUtf8(); })
    {
        connect(&m_tick, &QTimer::timeout, this, [this] {
            m_sensor.advance();
            followPlan();
            m_server.keepListening();
        });
    }

    bool start(QString *error)
    {
        if (!setPlan(m_options.faultPlan, error) || !m_server.listen(m_options.host, m_options.port, error))
            return false;
        if (m_options.discovery && !m_discovery.listen(m_options.discoveryPort, error))
            return false;
        m_tick.start(tickMs);
        return true;
    }

    bool setPlan(const QString &text, QString *error)
    {
        m_planBeganMs = m_options.clock->steadyMs();
        return m_plan.parse(text.toUtf8(), m_options.seed, error);
    }

    bool event(QEvent *event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        m_woken();
        return true;
    }

    WireServer &server() { return m_server; }
    quint16 discoveryPort() const { return m_discovery.port(); }

private:
    qint64 elapsedMs() const { return m_options.clock->steadyMs() - m_planBeganMs; }

    PageReply answer(const PageRequest &request)
    {
        PageReply reply = answerPage(m_sensor, request);
        if (m_bodyFault.type)
            reply.body = m_bodyFault.type->spoil(m_bodyFault.argument, reply.body);
        return reply;
    }

    WireScript respond(const RequestHead &head, const QByteArray &request)
    {
        ++m_counters.requests;
        const PageKind page = pageKind(head.path, head.query.contains("clear_index="));
        const Fault fault = m_plan.next(page, head.method == "POST", elapsedMs());
        if (fault.type)
            ++m_counters.faults;
        if (fault.type && fault.type->layer == FaultType::Layer::Instead)
            return fault.type->script(fault.argument, {});

        const bool spoilsBody = fault.type && fault.type->layer == FaultType::Layer::Body;
        m_bodyFault = spoilsBody ? fault : Fault();
        const HttpEngine::Reply reply = m_engine.process(request);
        m_bodyFault = {};
        if (fault.type && !spoilsBody)
            return fault.type->script(fault.argument, reply.bytes);
        WireScript script{{WireStep::Action::Send, reply.bytes, 0}};
        if (reply.close)
            script.append({WireStep::Action::Close, {}, 0});
        return script;
    }

    void followPlan()
    {
        const QVector<PlannedAction> due = m_plan.takeDue(elapsedMs());
        for (const PlannedAction &action : due) {
            switch (action.kind) {
            case PlannedAction::Kind::PowerOff:
                m_server.setPower(false);
                break;
            case PlannedAction::Kind::PowerOn:
                m_server.setPower(true);
                break;
            case PlannedAction::Kind::RebootLosing:
                m_sensor.reboot(false);
                break;
            case PlannedAction::Kind::RebootKeeping:
                m_sensor.reboot(true);
                break;
            case PlannedAction::Kind::Serial:
                m_sensor.setSerial(QString::fromUtf8(action.text));
                break;
            }
        }
    }

    SimulatedSensor &m_sensor;
    const SimulatorOptions &m_options;
    Counters &m_counters;
    std::function<void()> m_woken;
    FaultPlan m_plan;
    qint64 m_planBeganMs = 0;
    Fault m_bodyFault; // of the request that is being answered
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

#include "sensorsimulator.moc"
