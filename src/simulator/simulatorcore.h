#pragma once

#include "simulator/discoveryresponder.h"
#include "simulator/faultplan.h"
#include "simulator/httpengine.h"
#include "simulator/simulatoroptions.h"
#include "simulator/wireserver.h"

#include <QObject>
#include <QTimer>

#include <atomic>
#include <functional>

class SimulatedSensor;

/// Everything of a simulator that lives in its serving thread: the listening sockets, the HTTP engine, the fault plan
/// and the tick that lets time pass. Made and deleted in that thread; the sensor, the options and the counters outlive
/// it.
class SimulatorCore : public QObject
{
    Q_OBJECT

public:
    /// What other threads may look at while it runs.
    struct Counters
    {
        std::atomic<qint64> requests{0};
        std::atomic<qint64> faults{0};
    };

    /// `woken` runs in this thread after somebody has posted a user event.
    SimulatorCore(SimulatedSensor &sensor, const SimulatorOptions &options, Counters &counters,
                  std::function<void()> woken);

    bool start(QString *error);
    /// Ends the old plan, an absence it began included. A plan that makes no sense changes nothing.
    bool setPlan(const QString &text, QString *error);
    /// The open connections are reset, the sensor starts again.
    void reboot(bool keepData);

    WireServer &server() { return m_server; }
    quint16 discoveryPort() const { return m_discovery.port(); }

protected:
    bool event(QEvent *event) override;

private:
    qint64 elapsedMs() const { return m_options.clock->steadyMs() - m_planBeganMs; }
    PageReply answer(const PageRequest &request);
    WireScript respond(const RequestHead &head, const QByteArray &request);
    void tick();
    void carryOut(const PlannedAction &action);

    SimulatedSensor &m_sensor;
    const SimulatorOptions &m_options;
    Counters &m_counters;
    std::function<void()> m_woken;
    FaultPlan m_plan;
    qint64 m_planBeganMs = 0;
    bool m_offByPlan = false;
    Fault m_bodyFault; // of the request that is being answered
    HttpEngine m_engine;
    WireServer m_server;
    DiscoveryResponder m_discovery;
    QTimer m_tick;
};
