#include "session/recorder.h"

#include "base/log.h"
#include "data/datanames.h"
#include "sensor/webservice.h"
#include "session/exclusivelock.h"
#include "session/savingthread.h"

#include <QDir>
#include <QStandardPaths>

#include <algorithm>

struct Recorder::Connection
{
    arcSensor *sensor = nullptr; // child of the recorder
    QString chamber;
    QString expectedSerial;
    QString serial; // once it records
    std::unique_ptr<QLockFile> lock;
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
        if (outcome == AddOutcome::LockedByOther)
            logWarning(QStringLiteral("Recorder::connectAll: %1 is recorded by %2").arg(entry.address, holder));
    }
}

Recorder::AddOutcome Recorder::connectTo(const QString &address, quint16 port, const QString &chamber,
                                         const QString &expectedSerial, QString *holder)
{
    for (const auto &known : m_connections) {
        if (known->sensor->address() == address && known->sensor->port() == port)
            return AddOutcome::AlreadyThere;
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
                           QStringLiteral("the sensor with serial %1 answers instead of %2").arg(found, expected));
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
        return refuse(connection, QStringLiteral("it does not say its serial number"));
    if (connectionOf(serial))
        return refuse(connection, QStringLiteral("the sensor with serial %1 is connected already").arg(serial));
    const std::shared_ptr<norvexData> store =
        m_session->addSensor(serial, connection.chamber, sensor->address(), sensor->port());
    if (!store)
        return refuse(connection, QStringLiteral("the folder of sensor %1 cannot be created").arg(serial));
    connection.serial = serial;
    sensor->setExpectedSerial(serial); // from now on another sensor at this address is not downloaded into its store
    sensor->setStore(store);
    emit sensorReady(sensor, serial);
}

void Recorder::refuse(Connection &connection, const QString &reason)
{
    connection.sensor->stop();
    logWarning(QStringLiteral("Recorder: refused %1: %2").arg(connection.sensor->address(), reason));
    emit sensorRefused(connection.sensor, reason);
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
        if (!serial.isEmpty() && connection->serial == serial)
            return connection->sensor;
    }
    return nullptr;
}

bool Recorder::isRecording(const arcSensor *sensor) const
{
    return std::any_of(m_connections.begin(), m_connections.end(), [&](const auto &connection) {
        return connection->sensor == sensor && !connection->serial.isEmpty();
    });
}

bool Recorder::stop()
{
    for (const auto &connection : m_connections) {
        connection->sensor->stop();
        connection->lock.reset();
    }
    m_saver.reset();
    return !m_session->hasUnsavedData();
}
