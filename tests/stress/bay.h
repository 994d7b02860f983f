#pragma once

#include "options.h"
#include "oracle.h"

#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <vector>

/// Many simulated sensors in one process, one recorder of all of them in another.
class Bay
{
public:
    struct Setup
    {
        int uploadMs = 0; // each sensor is given something every so often
        int sensors = 1;
        int rate = 50;    // samples a second of each sensor's own time
        double arcs = 60; // a minute of RF on
        double speed = 1; // how much faster than ours the time of sensors and recorder runs
    };

    Bay(const Options &options, const Setup &setup);
    ~Bay();

    bool startSensors();
    bool startRecorder();
    /// From now on sensor `number` follows this fault plan: it does when this returns.
    void setPlan(int number, const QString &plan);
    /// Whether anybody listens at the address of a sensor.
    bool isListening(int number) const;
    /// Asks the recorder to end and waits for its last save.
    bool endRecorder();
    bool isRecording() const { return m_recorder.state() == QProcess::Running; }

    int size() const { return m_setup.sensors; }
    LedgerWatch &watch(int number) { return *m_watches[std::size_t(number)]; }
    void updateWatches();
    /// Compares what each of these sensors says with the session; the first difference, or nothing.
    QString judge(const QVector<QPair<int, Compared>> &sensors) const;

    struct Usage
    {
        qint64 bytes = 0; // resident
        qint64 peak = 0;  // the most that it was since forgetPeak()
        int threads = 0;
        int files = 0;
    };
    /// What the recorder needs now.
    Usage usage() const;
    void forgetPeak();

private:
    QString serial(int number) const { return QStringLiteral("S%1").arg(number); }
    QString ledger(int number) const;
    QString session() const { return m_folder.filePath(QStringLiteral("session")); }

    const Options &m_options;
    const Setup m_setup;
    QTemporaryDir m_folder;
    QProcess m_sensors;
    QProcess m_recorder;
    QStringList m_addresses;
    std::vector<std::unique_ptr<LedgerWatch>> m_watches;
};
