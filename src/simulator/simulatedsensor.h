#pragma once

#include "simulator/ledger.h"
#include "simulator/processmodel.h"
#include "simulator/simulatoroptions.h"

#include <QMutex>

#include <deque>

/// The sensor behind the pages: its clock, its memory of samples and events, its configuration and recipe, and the
/// ledger of what became of everything. Samples come into being when the time for them has passed and somebody looks.
/// Any thread; one mutex guards it all. It never touches the network.
class SimulatedSensor
{
public:
    explicit SimulatedSensor(const SimulatorOptions &options);

    /// Why the ledger file cannot be written; empty when it can or none is wanted.
    const QString &ledgerError() const { return m_ledgerError; }

    /// Generates what is due until now.
    void advance();
    /// Generates exactly this many samples and events at once; the sensor's clock moves on with them.
    void preload(int samples, int events);
    /// The sensor starts again: uptime 0; its memory is kept or lost.
    void reboot(bool keepData);
    void setSerial(const QString &serial);

    QByteArray infoPage();
    QByteArray statusPage();
    QByteArray framePage();
    /// Drops the samples up to and including `index` and the events that are not later than the last of them.
    void clearUpTo(qint64 index);
    QByteArray samplePage(qint64 index, qint64 limit);
    QByteArray eventPage(qint64 index, bool binary);
    QByteArray configurationPage();
    QByteArray recipePage();
    /// What was uploaded. False when it is not a configuration or recipe; the old one stays.
    bool takeConfiguration(const QByteArray &json);
    bool takeRecipe(const QByteArray &json);
    void takeSnapshot();

    QString serial() const;
    Recipe recipe() const;
    SensorConfiguration configuration() const;
    LedgerSnapshot ledger() const;
    int storedSamples() const;
    int storedEvents() const;
    sensorpages::Generation generation() const { return m_options.generation; }

private:
    qint64 uptimeMsLocked() const;
    void advanceLocked();
    void storeLocked(const SamplePoint &sample, QVector<SimulatedEvent> &events);
    void storeEventLocked(const SimulatedEvent &event);
    void dropSamplesLocked(qint64 count, bool cleared);
    void dropEventsLocked(qint64 count, bool cleared);

    const SimulatorOptions m_options;
    const double m_speed;
    QString m_ledgerError; // set by the constructor

    mutable QMutex m_mutex; // guards everything below
    QString m_serial;
    ProcessModel m_model;
    Recipe m_recipe;
    SensorConfiguration m_configuration;
    std::deque<SamplePoint> m_samples;
    std::deque<SimulatedEvent> m_events;
    qint64 m_firstSample = 0; // ledger number of m_samples.front()
    qint64 m_firstEvent = 0;  // ledger number of m_events.front()
    int m_capacity;
    qint32 m_fifoResets = 0;
    quint32 m_boot = 0;
    qint64 m_bootedAtMs; // on the injected clock
    qint64 m_skippedMs = 0;
    qint64 m_lastSnapshotUs = -1;
    Ledger m_ledger;
};
