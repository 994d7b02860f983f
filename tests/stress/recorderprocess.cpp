#include "base/platform.h"
#include "fastclock.h"
#include "options.h"
#include "sensor/arcsensor.h"
#include "session/recorder.h"
#include "session/sensoraddress.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

namespace {

/// Every `ms`, from when its configuration is known, a sensor is given that again or asked for a snapshot, in turns.
void uploadTo(arcSensor *sensor, std::shared_ptr<norvexData> store, int ms)
{
    auto *timer = new QTimer(sensor);
    QObject::connect(timer, &QTimer::timeout, sensor, [sensor, store = std::move(store), odd = false]() mutable {
        odd = !odd;
        if (odd)
            sensor->postConfiguration(store->configuration());
        else
            sensor->triggerSnapshot();
    });
    timer->setInterval(ms);
    QObject::connect(sensor, &arcSensor::configUpdated, timer, qOverload<>(&QTimer::start));
}

} // namespace

/// recorder SESSION LOCKS SPEED UPLOADS ADDRESS...: records with short waits until it is told to end. With a speed
/// above 1 its clock runs faster, and it asks and saves less often. Every so many milliseconds, or never for 0, it
/// uploads something to each sensor.
int runRecorder(const QStringList &arguments)
{
    platform::returnLargeMemory();
    const double speed = arguments.value(2).toDouble();
    const FastClock clock(speed);
    Recorder::Options options;
    options.timings.retryWait = 100;
    options.timings.pollPeriod = 10;
    options.timings.replyTimeout = 400;
    options.timings.dispatchInterval = speed > 1 ? 25 : 1;
    options.timings.statusMaxAge = int(2000 * speed);
    options.savePeriodMs = speed > 1 ? 2000 : 40;
    options.lockFolder = arguments.value(1);
    SessionError error;
    const QString folder = arguments.value(0);
    const std::unique_ptr<Session> session = Session::holdsSession(folder) ? Session::load(folder, &error, {}, clock)
                                                                           : Session::create(folder, &error, clock);
    if (!session) {
        std::fprintf(stderr, "%s\n", qPrintable(error.text));
        return 3;
    }
    Recorder recorder(session.get(), options, clock);
    const int uploadMs = arguments.value(3).toInt();
    if (uploadMs > 0)
        QObject::connect(&recorder, &Recorder::sensorReady, &recorder,
                         [&session, uploadMs](arcSensor *sensor, const QString &serial) {
                             uploadTo(sensor, session->store(serial), uploadMs);
                         });
    for (int i = 4; i < arguments.size(); ++i) {
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
