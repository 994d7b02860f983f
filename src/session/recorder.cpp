#include "session/recorder.h"

#include "base/coretext.h"
#include "base/log.h"
#include "data/datanames.h"
#include "sensor/webservice.h"
#include "session/exclusivelock.h"
#include "session/savingthread.h"

#include <QDir>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <utility>

struct Recorder::Connection
{
    arcSensor *sensor = nullptr; // child of the recorder
    QString chamber;
    QString expectedSerial;
    QString serial;                        // once it records
    std::unique_ptr<QLockFile> lock;       // of its address
    std::unique_ptr<QLockFile> serialLock; // once it has said its serial
    bool isLockedOut = false;
    bool wantsFolder = false; // which could not be created so far
};

Recorder::Recorder(Session *session, const Options &options, const Clock &clock, QObject *parent)
    : QObject(parent), m_session(session), m_options(options), m_clock(clock),
      m_saver(std::make_unique<savingThread>(session, nullptr, options.savePeriodMs))
{}

Recorder::~Recorder()
{
    stop();
    for (const auto &connection : m_connections)
        delete connection->sensor; // before what their signals reach
}

Recorder::AddOutcome Recorder::addSensor(const QString &address, quint16 port, const QString &chamber, QString *holder)
{
    return connectTo(address, port, chamber, {}, holder);
}

void Recorder::connectAll()
{
    const QVector<SensorEntry> entries = m_session->sensors();
    for (const SensorEntry &entry : entries) {
        if (entry.address.isEmpty())
            continue;
        QString holder;
        const AddOutcome outcome = connectTo(entry.address, entry.port, {}, entry.data->sensorSerial(), &holder);
        if (outcome != AddOutcome::LockedByOther)
            continue;
        logWarning(QStringLiteral("Recorder::connectAll: %1 is recorded by %2").arg(entry.address, holder));
        emit sensorLocked(entry.data->sensorSerial(), holder);
    }
}

Recorder::AddOutcome Recorder::connectTo(const QString &address, quint16 port, const QString &chamber,
                                         const QString &expectedSerial, QString *holder)
{
    const auto there = std::find_if(m_connections.begin(), m_connections.end(), [&](const auto &connection) {
        return connection->sensor->address() == address && connection->sensor->port() == port;
    });
    if (there != m_connections.end() && (*there)->sensor->isOpen())
        return AddOutcome::AlreadyThere;
    if (there != m_connections.end()) { // it was stopped or refused: whoever is there now takes its place
        const QString before = (*there)->serial.isEmpty() ? (*there)->expectedSerial : (*there)->serial;
        if (before != expectedSerial)
            m_session->setSensorAddress(before, {}, 0);
        removeConnection((*there)->sensor);
    }
    LockAttempt attempt = takeLock(lockPath(address, port));
    if (attempt.outcome == LockAttempt::HeldByOther) {
        if (holder)
            *holder = attempt.holder;
        return AddOutcome::LockedByOther;
    }
    if (attempt.outcome == LockAttempt::NotWritable)
        logWarning(QStringLiteral("Recorder: recording %1 without a lock, its folder cannot be written").arg(address));

    auto added = std::make_unique<Connection>();
    Connection *const connection = added.get();
    connection->sensor = new arcSensor(address, port, m_options.timings, m_clock, this);
    connection->chamber = chamber;
    connection->expectedSerial = expectedSerial;
    connection->lock = std::move(attempt.lock);
    if (!expectedSerial.isEmpty())
        connection->sensor->setExpectedSerial(expectedSerial);
    connect(connection->sensor, &arcSensor::statusUpdate, this, [this, connection](const QString &message) {
        if (message == QLatin1String("Connected"))
            sensorAnswered(*connection);
    });
    connect(connection->sensor, &arcSensor::wrongSerial, this, [this, connection](const QString &found) {
        const QString expected = connection->serial.isEmpty() ? connection->expectedSerial : connection->serial;
        emit sensorRefused(connection->sensor,
                           CoreText::tr("the sensor with serial %1 answers instead of %2").arg(found, expected));
    });
    m_connections.push_back(std::move(added));
    return AddOutcome::Added;
}

/// The user's own folder: two users cannot write into each other's, so they do not exclude each other.
QString Recorder::lockPath(const QString &address, quint16 port) const
{
    QString folder = m_options.lockFolder;
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/locks");
    QDir().mkpath(folder);
    return QStringLiteral("%1/%2.lock").arg(folder, datanames::sensorFolder(address.toLower(), QString::number(port)));
}

void Recorder::sensorAnswered(Connection &connection)
{
    if (!connection.serial.isEmpty())
        return;
    arcSensor *const sensor = connection.sensor;
    const QString serial = sensor->info().serial_number;
    if (serial.trimmed().isEmpty())
        return refuse(connection, CoreText::tr("it does not say its serial number"));
    const bool isTwin = std::any_of(m_connections.begin(), m_connections.end(),
                                    [&](const auto &other) { return other->serial == serial; });
    if (isTwin)
        return refuse(connection, CoreText::tr("the sensor with serial %1 is connected already").arg(serial));
    if (!takeSerialLock(connection, serial))
        return;
    const std::shared_ptr<norvexData> store =
        m_session->addSensor(serial, connection.chamber, sensor->address(), sensor->port());
    if (!store)
        return tryFolderLater(connection, serial);
    connection.wantsFolder = false;
    connection.serial = serial;
    sensor->setExpectedSerial(serial); // from now on another sensor at this address is not downloaded into its store
    sensor->setStore(store);
    emit sensorReady(sensor, serial);
}

/// The same sensor has more than one address when names count: two programs that both clear would each miss what the
/// other has taken. Two sensors that say the same serial have different ports on one computer.
bool Recorder::takeSerialLock(Connection &connection, const QString &serial)
{
    connection.serialLock.reset(); // of an earlier answer
    LockAttempt attempt = takeLock(lockPath(QStringLiteral("serial-") + serial, connection.sensor->port()));
    connection.serialLock = std::move(attempt.lock);
    connection.isLockedOut = attempt.outcome == LockAttempt::HeldByOther;
    if (connection.isLockedOut)
        refuse(connection, CoreText::tr("the sensor with serial %1 is recorded by %2").arg(serial, attempt.holder));
    return !connection.isLockedOut;
}

/// A disk that is full now may have room in an hour; the sensor keeps its samples meanwhile.
void Recorder::tryFolderLater(Connection &connection, const QString &serial)
{
    arcSensor *const sensor = connection.sensor;
    sensor->stop();
    QTimer::singleShot(m_options.timings.retryWait, sensor, [this, sensor] {
        const Connection *const waiting = find(sensor);
        if (waiting && waiting->wantsFolder)
            sensor->reconnect();
    });
    if (std::exchange(connection.wantsFolder, true))
        return;
    const QString reason = CoreText::tr("the folder of sensor %1 cannot be created; trying again").arg(serial);
    logWarning(QStringLiteral("Recorder: %1 waits: %2").arg(sensor->address(), reason));
    emit sensorDelayed(sensor, reason);
}

void Recorder::refuse(Connection &connection, const QString &reason)
{
    connection.wantsFolder = false;
    connection.sensor->stop();
    logWarning(QStringLiteral("Recorder: refused %1: %2").arg(connection.sensor->address(), reason));
    emit sensorRefused(connection.sensor, reason);
}

Recorder::Connection *Recorder::find(const arcSensor *sensor) const
{
    for (const auto &connection : m_connections) {
        if (connection->sensor == sensor)
            return connection.get();
    }
    return nullptr;
}

Recorder::AddOutcome Recorder::moveConnection(arcSensor *sensor, const QString &address, quint16 port, QString *holder)
{
    Connection *const connection = find(sensor);
    if (!connection)
        return AddOutcome::AlreadyThere;
    if (sensor->address() != address || sensor->port() != port) {
        const auto before = std::find_if(m_connections.begin(), m_connections.end(), [&](const auto &other) {
            return other->sensor->address() == address && other->sensor->port() == port && other->lock;
        });
        LockAttempt attempt;
        if (before != m_connections.end()) // whose sensor has left this address
            attempt.lock = std::move((*before)->lock);
        else
            attempt = takeLock(lockPath(address, port));
        if (attempt.outcome == LockAttempt::HeldByOther) {
            if (holder)
                *holder = attempt.holder;
            return AddOutcome::LockedByOther;
        }
        connection->lock = std::move(attempt.lock);
        sensor->setAddress(address, port);
        m_session->setSensorAddress(connection->serial.isEmpty() ? connection->expectedSerial : connection->serial,
                                    address, port);
    }
    sensor->reconnect();
    return AddOutcome::Added;
}

void Recorder::removeConnection(arcSensor *sensor)
{
    const auto at = std::find_if(m_connections.begin(), m_connections.end(),
                                 [&](const auto &connection) { return connection->sensor == sensor; });
    if (at == m_connections.end())
        return;
    sensor->stop();
    sensor->disconnect(this);
    m_connections.erase(at);
    sensor->deleteLater();
}

QVector<arcSensor *> Recorder::connections() const
{
    QVector<arcSensor *> sensors;
    for (const auto &connection : m_connections)
        sensors.append(connection->sensor);
    return sensors;
}

arcSensor *Recorder::connectionOf(const QString &serial) const
{
    for (const auto &connection : m_connections) {
        const QString &own = connection->serial.isEmpty() ? connection->expectedSerial : connection->serial;
        if (!serial.isEmpty() && own == serial)
            return connection->sensor;
    }
    return nullptr;
}

bool Recorder::isRecording(const arcSensor *sensor) const
{
    const Connection *const connection = find(sensor);
    return connection && !connection->serial.isEmpty();
}

bool Recorder::isLockedOut(const arcSensor *sensor) const
{
    const Connection *const connection = find(sensor);
    return connection && connection->isLockedOut;
}

void Recorder::stopConnections()
{
    for (const auto &connection : m_connections) {
        connection->wantsFolder = false;
        connection->sensor->stop();
        connection->lock.reset();
        connection->serialLock.reset();
    }
}

bool Recorder::stop()
{
    stopConnections();
    m_saver.reset();
    return !m_session->hasUnsavedData();
}
