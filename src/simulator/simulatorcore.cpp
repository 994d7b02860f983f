#include "simulator/simulatorcore.h"

#include "simulator/simulatedsensor.h"

#include <QEvent>

namespace {
constexpr int tickMs = 50;
}

SimulatorCore::SimulatorCore(SimulatedSensor &sensor, const SimulatorOptions &options, Counters &counters,
                             std::function<void()> woken)
    : m_sensor(sensor), m_options(options), m_counters(counters), m_woken(std::move(woken)),
      m_engine([this](const PageRequest &request) { return answer(request); }),
      m_server([this](const RequestHead &head, const QByteArray &request) { return respond(head, request); }),
      m_discovery([this] { return m_sensor.serial().toUtf8(); })
{
    connect(&m_tick, &QTimer::timeout, this, &SimulatorCore::tick);
}

bool SimulatorCore::start(QString *error)
{
    if (!setPlan(m_options.faultPlan, error) || !m_server.listen(m_options.host, m_options.port, error))
        return false;
    if (m_options.discovery && !m_discovery.listen(m_options.discoveryPort, error))
        return false;
    m_tick.start(tickMs);
    return true;
}

bool SimulatorCore::setPlan(const QString &text, QString *error)
{
    if (!m_plan.parse(text.toUtf8(), m_options.seed, error))
        return false;
    m_planBeganMs = m_options.clock->steadyMs();
    if (m_offByPlan)
        m_server.setPower(true);
    m_offByPlan = false;
    return true;
}

void SimulatorCore::reboot(bool keepData)
{
    m_server.resetConnections();
    m_sensor.reboot(keepData);
}

bool SimulatorCore::event(QEvent *event)
{
    if (event->type() != QEvent::User)
        return QObject::event(event);
    m_woken();
    return true;
}

PageReply SimulatorCore::answer(const PageRequest &request)
{
    PageReply reply = answerPage(m_sensor, request);
    if (m_bodyFault.type)
        reply.body = m_bodyFault.type->spoil(m_bodyFault.argument, reply.body);
    return reply;
}

WireScript SimulatorCore::respond(const RequestHead &head, const QByteArray &request)
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

void SimulatorCore::tick()
{
    m_sensor.advance();
    const QVector<PlannedAction> due = m_plan.takeDue(elapsedMs());
    for (const PlannedAction &action : due)
        carryOut(action);
    m_server.keepListening();
}

void SimulatorCore::carryOut(const PlannedAction &action)
{
    switch (action.kind) {
    case PlannedAction::Kind::PowerOff:
        m_offByPlan = true;
        m_server.setPower(false);
        break;
    case PlannedAction::Kind::PowerOn:
        m_offByPlan = false;
        m_server.setPower(true);
        break;
    case PlannedAction::Kind::RebootLosing:
        reboot(false);
        break;
    case PlannedAction::Kind::RebootKeeping:
        reboot(true);
        break;
    case PlannedAction::Kind::Serial:
        m_sensor.setSerial(QString::fromUtf8(action.text));
        break;
    }
}
