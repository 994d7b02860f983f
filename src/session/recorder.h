#pragma once

#include "sensor/arcsensor.h"
#include "session/session.h"

#include <QLockFile>
#include <QObject>

#include <memory>
#include <vector>

class savingThread;

/// Records sensors into a session: owns one arcSensor per address and the saving thread, gives a sensor its store once
/// it has said its serial, and ends everything in the right order. The command line and the desktop both stand on it.
/// Main thread only.
class Recorder : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        LinkTimings timings;
        int savePeriodMs = 10000;
        QString lockFolder; // of the locks by address and by serial; empty for the user's own
    };

    /// The session must outlive the recorder.
    Recorder(Session *session, const Options &options, const Clock &clock = systemClock(), QObject *parent = nullptr);
    ~Recorder() override;

    enum class AddOutcome { Added, AlreadyThere, LockedByOther };
    /// Connects to a sensor. When it answers it is found in or added to the session under its serial and `chamber`.
    /// LockedByOther: another program of this user downloads it; `holder` says which.
    AddOutcome addSensor(const QString &address, quint16 port, const QString &chamber, QString *holder = nullptr);
    /// Ends a connection; the sensor stays in the session.
    void removeConnection(arcSensor *sensor);
    /// Ends a sensor's connection and starts it again at this address, which is the session's from now on. Its store
    /// and who listens to it stay.
    AddOutcome moveConnection(arcSensor *sensor, const QString &address, quint16 port, QString *holder = nullptr);
    /// Connects every sensor of the session that has an address.
    void connectAll();

    QVector<arcSensor *> connections() const;
    /// The connection that records the sensor with this serial, or that is to when it answers.
    arcSensor *connectionOf(const QString &serial) const;

    /// True when a sensor at this connection has said its serial and records into the session.
    bool isRecording(const arcSensor *sensor) const;
    /// True when what answered there was refused because another program records it, at an address of another name.
    bool isLockedOut(const arcSensor *sensor) const;

    /// Stops every connection; what they brought is still to be saved.
    void stopConnections();
    /// Stops every connection, then the saving thread, which makes the last save. True when nothing is left unsaved.
    /// The stopped connections stay until the recorder is destroyed.
    bool stop();

signals:
    /// The sensor at a connection has said its serial and records into its store.
    void sensorReady(arcSensor *sensor, const QString &serial);
    /// Another serial than the session knows for this address answered, or the serial is recorded already, here or by
    /// another program.
    void sensorRefused(arcSensor *sensor, const QString &reason);
    /// A sensor has said its serial but its folder cannot be created: it keeps its samples and is tried again until
    /// that succeeds and sensorReady() comes. Said once, not at every try.
    void sensorDelayed(arcSensor *sensor, const QString &reason);
    /// A sensor of the session was not connected at all.
    void sensorLocked(const QString &serial, const QString &holder);

private:
    struct Connection;
    AddOutcome connectTo(const QString &address, quint16 port, const QString &chamber, const QString &expectedSerial,
                         QString *holder);
    Connection *find(const arcSensor *sensor) const;
    void sensorAnswered(Connection &connection);
    void tryFolderLater(Connection &connection, const QString &serial);
    bool takeSerialLock(Connection &connection, const QString &serial);
    void refuse(Connection &connection, const QString &reason);
    QString lockPath(const QString &address, quint16 port) const;

    Session *const m_session;
    const Options m_options;
    const Clock &m_clock;
    std::vector<std::unique_ptr<Connection>> m_connections;
    std::unique_ptr<savingThread> m_saver;
};
