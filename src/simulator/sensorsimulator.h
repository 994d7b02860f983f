#pragma once

#include "simulator/ledger.h"
#include "simulator/simulatoroptions.h"

#include <memory>

/// A sensor on the network that is not there: serves the pages of a real one over HTTP, answers discovery, and can be
/// told to fail. Serving happens in one thread of its own, started by start() and ended by stop(). All functions may be
/// called from any thread but that one, and return when what they ask for has happened.
class SensorSimulator
{
public:
    explicit SensorSimulator(const SimulatorOptions &options = {});
    ~SensorSimulator();
    SensorSimulator(const SensorSimulator &) = delete;
    SensorSimulator &operator=(const SensorSimulator &) = delete;

    /// False and a reason when the port, the ledger or the fault plan cannot be used.
    bool start(QString *error = nullptr);
    void stop();

    quint16 port() const;
    quint16 discoveryPort() const;

    /// Without power the sensor cannot be reached: connections are refused, open ones reset. It keeps its data and goes
    /// on measuring. Power comes back on the same port.
    void setPower(bool on);
    /// Open connections are reset and the sensor starts again: uptime 0, its data lost or kept.
    void reboot(bool keepData = false);
    void setSerial(const QString &serial);

    /// Replaces the fault plan of a running simulator and begins it now; an empty text ends all faults. False and a
    /// reason when it makes no sense; the old one then stays. The language is described at FaultPlan.
    bool setFaultPlan(const QString &plan, QString *error = nullptr);

    /// Makes this many samples and events exist at once, spread over the time the samples need.
    void preload(int samples, int events);
    /// Generates what is due by the clock; also happens by itself before each page and every 50 ms.
    void advance();

    LedgerSnapshot ledger() const;
    Recipe lastRecipe() const;
    SensorConfiguration lastConfiguration() const;
    int storedSamples() const;
    int storedEvents() const;
    /// Requests answered so far, faulty answers included.
    qint64 requestCount() const;
    /// How many of them went wrong by plan.
    qint64 faultCount() const;

private:
    class Thread;
    std::unique_ptr<Thread> m_thread;
};
