#include "base/prompts.h"
#include "data/norvexdata.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/sessionform.h"
#include "sensor/arcsensor.h"
#include "sensor/sensordialog.h"
#include "session/appsettings.h"
#include "session/recorder.h"
#include "session/session.h"

#include <QCoreApplication>
#include <QDialog>

#include <algorithm>

// Connecting to sensors: the dialog, what it needs to know of the session, and what follows when it is accepted.

SensorDialog::Surroundings SessionForm::dialogSurroundings() const
{
    Session *const session = &m_context.session;
    AppSettings *const settings = &m_context.settings;
    SensorDialog::Surroundings around;
    around.hasAddress = [session](const QString &address, quint16 port) {
        const QVector<SensorEntry> sensors = session->sensors();
        return std::any_of(sensors.begin(), sensors.end(),
                           [&](const SensorEntry &entry) { return entry.address == address && entry.port == port; });
    };
    around.hasSerial = [session](const QString &serial) { return session->store(serial) != nullptr; };
    around.setting = [settings](const QString &key, const QString &fallback) {
        return settings->value(key, fallback).toString();
    };
    around.keepSetting = [settings](const QString &key, const QString &value) { settings->setValue(key, value); };
    around.programFolder = QCoreApplication::applicationDirPath();
    return around;
}

void SessionForm::addSensor()
{
    auto *dialog = new SensorDialog(m_context.prompts, dialogSurroundings(), this);
    openSensorDialog(dialog);
}

void SessionForm::reconnectSensor(const QString &sensor)
{
    const QVector<SensorEntry> sensors = m_context.session.sensors();
    for (const SensorEntry &entry : sensors) {
        if (entry.data->sensorSerial() != sensor)
            continue;
        // The dialog asks the sensor itself; two connections at once would disturb each other.
        arcSensor *const connection = m_context.recorder.connectionOf(sensor);
        const bool wasOn = connection && connection->isOpen();
        if (dataObjectWidget *known = card(sensor))
            known->disconnectSensor();
        auto *dialog = new SensorDialog(m_context.prompts, dialogSurroundings(),
                                        {sensor, entry.address, entry.port, entry.data->chamberSerial()}, this);
        openSensorDialog(dialog);
        if (wasOn)
            connect(dialog, &QDialog::rejected, connection, &arcSensor::reconnect);
        return;
    }
}

void SessionForm::openSensorDialog(SensorDialog *dialog)
{
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::finished, this, [this, dialog](int result) {
        if (result == QDialog::Accepted)
            startRecording(dialog->verifiedSerial(), dialog->verifiedAddress(), dialog->verifiedPort(),
                           dialog->chamberName());
    });
    dialog->show(); // open() would make it modal to this window alone
}

void SessionForm::startRecording(const QString &serial, const QString &address, quint16 port, const QString &chamber)
{
    QString holder;
    arcSensor *const connection = m_context.recorder.connectionOf(serial);
    const Recorder::AddOutcome outcome = connection
                                             ? m_context.recorder.moveConnection(connection, address, port, &holder)
                                             : m_context.recorder.addSensor(address, port, chamber, &holder);
    if (connection)
        finishSensorReconnection(serial);
    if (connection && outcome == Recorder::AddOutcome::LockedByOther)
        connection->reconnect(); // where it was
    if (outcome == Recorder::AddOutcome::AlreadyThere)
        m_context.prompts.warn(this, tr("Warning"),
                               tr("The sensor at %1, port %2 is being connected already").arg(address).arg(port),
                               {tr("Its card comes as soon as it answers. Nothing was changed."), QString()});
    if (outcome == Recorder::AddOutcome::LockedByOther)
        m_context.prompts.warn(
            this, tr("Warning"), tr("Sensor %1 is being recorded by another program").arg(serial),
            {tr("%1\nClose it there first; two programs would take each other's samples.").arg(holder), QString()});
}

void SessionForm::finishSensorReconnection(const QString &sensor)
{
    if (dataObjectWidget *known = card(sensor))
        known->setSensor(m_context.recorder.connectionOf(sensor));
    refreshDisplays(0);
}
