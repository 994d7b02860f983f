#include "base/platform.h"
#include "options.h"
#include "session/recorder.h"
#include "session/sensoraddress.h"

#include <QCoreApplication>
#include <QElapsedTimer>

namespace {

/// A clock that runs faster than the computer's.
class FastClock final : public Clock
{
public:
    explicit FastClock(double factor) : m_factor(factor), m_startUtcMs(systemClock().utcMs()) { m_timer.start(); }
    qint64 utcMs() const override { return m_startUtcMs + steadyMs(); }
    qint64 steadyMs() const override { return qint64(double(m_timer.nsecsElapsed()) / 1e6 * m_factor); }

private:
    const double m_factor;
    const qint64 m_startUtcMs;
    QElapsedTimer m_timer;
};

} // namespace

/// recorder SESSION LOCKS SPEED ADDRESS...: records with short waits until it is told to end. With a speed above 1 its
/// clock runs faster, and it saves less often.
int runRecorder(const QStringList &arguments)
{
    const double speed = arguments.value(2).toDouble();
    const FastClock clock(speed);
    Recorder::Options options;
    options.timings.retryWait = 100;
    options.timings.pollPeriod = 10;
    options.timings.replyTimeout = 400;
    options.timings.dispatchInterval = 1;
    options.savePeriodMs = speed > 1 ? 1000 : 40;
    options.lockFolder = arguments.value(1);
    SessionError error;
    const QString folder = arguments.value(0);
    const std::unique_ptr<Session> session = Session::holdsSession(folder) ? Session::load(folder, &error, {}, clock)
                                                                           : Session::create(folder, &error, clock);
    if (!session)
        return 3;
    Recorder recorder(session.get(), options, clock);
    for (int i = 3; i < arguments.size(); ++i) {
        SensorAddress address;
        QString reason;
        if (!parseSensorAddress(arguments.at(i), address, &reason) ||
            recorder.addSensor(address.host, address.port, {}) != Recorder::AddOutcome::Added)
            return 4;
    }
    platform::onInterrupt([] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    return recorder.stop() ? 0 : 14;
}
