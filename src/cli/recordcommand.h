#pragma once

#include "cli/command.h"
#include "cli/progress.h"
#include "cli/recordoptions.h"
#include "session/recorder.h"

#include <QTimer>

#include <map>

/// One run of "norvex-cli record": opens the session, records until the time is up or an interrupt, shows progress on
/// stderr, saves, and says what happened by an exit code. Main thread; it runs the event loop in run() only.
class RecordRun : public QObject
{
    Q_OBJECT

public:
    RecordRun(const RecordOptions &options, Console &console, bool inPlace);
    ~RecordRun() override;

    ExitCode run();

private:
    struct Watched
    {
        QString shown; // last plain line's state
        QString refusal;
        QString delay; // why it cannot be stored yet
        RateMeter rate;
        bool wasReady = false;
        bool isSilent = false; // the last attempt ended without an answer
    };

    bool openSession();
    bool connectSensors();
    void sensorReady(arcSensor *sensor, const QString &serial);
    void sensorRefused(arcSensor *sensor, const QString &reason);
    void sensorDelayed(arcSensor *sensor, const QString &reason);
    void sensorLocked(const QString &serial, const QString &holder);
    void showProgress();
    SensorProgress progressOf(arcSensor *sensor);
    ExitCode finish();
    ExitCode tellLeftOut();
    ExitCode reachedNothing();

    const RecordOptions m_options;
    Console &m_console;
    ProgressPrinter m_printer;
    ExitCode m_failure = ExitCode::Done;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<Recorder> m_recorder; // destroyed before the session it refers to
    std::map<arcSensor *, Watched> m_watched;
    QTimer m_progressTimer;
    int m_ticks = 0;
    bool m_stopped = false;
    bool m_lockedOut = false; // of a sensor of the session
};
