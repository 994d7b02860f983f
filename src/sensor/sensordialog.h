#pragma once

#include "sensor/arcsensor.h"
#include "sensor/sensorscanner.h"

#include <QDialog>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>

class Prompts;
namespace Ui {
class SensorDialog;
}

/// "Sensor Information": finds sensors by a broadcast, lists those that answer, and verifies the one that was picked or
/// typed through a temporary connection before it becomes the session's. Opened again for a known sensor it reconnects
/// it. GUI thread; application-modal.
class SensorDialog : public QDialog
{
    Q_OBJECT

public:
    /// What the dialog needs to know of the session and the settings, without knowing them.
    struct Surroundings
    {
        std::function<bool(const QString &address, quint16 port)> hasAddress;
        std::function<bool(const QString &serial)> hasSerial;
        std::function<QString(const QString &key, const QString &fallback)> setting;
        std::function<void(const QString &key, const QString &value)> keepSetting;
        QString programFolder; // where the IP configuration program is looked for
        LinkTimings timings;
    };
    /// A sensor that is in the session already and is to be connected again.
    struct Known
    {
        QString serial;
        QString address;
        quint16 port = 80;
        QString chamber;
    };

    SensorDialog(Prompts &prompts, const Surroundings &surroundings, QWidget *parent = nullptr);
    SensorDialog(Prompts &prompts, const Surroundings &surroundings, const Known &known, QWidget *parent = nullptr);
    ~SensorDialog() override;

    /// What was verified when the dialog was accepted.
    const QString &verifiedAddress() const { return m_verifiedAddress; }
    quint16 verifiedPort() const { return m_verifiedPort; }
    QString chamberName() const;
    const QString &verifiedSerial() const { return m_serial; }
    /// The scanner, so that a test can say where it looks.
    SensorScanner &scanner() { return m_scanner; }

signals:
    void sensorReconnectSuccessful(const QString &sensor);
    void sensorRemoved(const QString &sensor);
    void reconnectSensor(const QString &sensor);
    void removeSensor(const QString &sensor);
    /// The sensor at the typed address has said its serial number.
    void sensorSerial(const QString &serial);

public slots:
    void scanNetwork();
    void dataToRead();
    void scannerUpdate();
    void sensorScanSelection(int row, int column);
    void createNewSensor();
    void openIPConfig();
    void chamberChanged();
    void accepted();
    void discarded();
    void statusUpdate(QString status_message);

private:
    void setUp();
    QString address() const;
    quint16 port() const;
    void targetEdited();
    /// `hint`: what it means and what to do.
    void showStatus(const QString &colour, const QString &text, const QString &hint = QString());
    void showScanResult();
    void refuseDuplicate(const QString &kind, const QString &value);
    void allowAccepting(bool allowed);
    void sensorAnswered();
    void timedOutForGood();
    void dropTemporarySensor();

    std::unique_ptr<Ui::SensorDialog> ui;
    Prompts &m_prompts;
    const Surroundings m_surroundings;
    const Known m_known; // serial empty for a new sensor
    SensorScanner m_scanner;
    QTimer m_scanTimer;
    int m_scanTicks = 0;
    QPointer<arcSensor> m_sensor; // temporary
    QString m_pickedSerial;       // of the table's row
    QString m_serial;             // of the sensor that answered at the address and port below
    QString m_verifiedAddress;
    quint16 m_verifiedPort = 0;
    int m_timeouts = 0; // one after the other
};
