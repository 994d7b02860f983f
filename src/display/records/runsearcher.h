#pragma once

#include "base/jobprogress.h"
#include "display/records/pooltasks.h"
#include "display/records/sessionrecords.h"

#include <QObject>
#include <QTimer>

#include <memory>

/// Searches the stored samples of the displayed sensors for stretches above another RF-ON threshold, and has them in
/// place of the stored runs until these are wanted again. The search runs on a pool thread and can be cancelled; it
/// changes nothing that is stored. GUI thread; shared by the views that list runs, which it outlives.
class RunSearcher : public QObject
{
    Q_OBJECT

public:
    static constexpr double usualThreshold = 200.0; // V

    explicit RunSearcher(const SessionRecords &records, QObject *parent = nullptr);

    bool isRunning() const { return m_progress != nullptr; }
    /// The stretches that were found are listed, not the stored runs.
    bool hasFound() const { return m_found; }
    double threshold() const { return m_threshold; }
    /// Blocks read of those there are, while it runs.
    int done() const { return m_progress ? int(m_progress->done()) : 0; }
    int total() const { return m_progress ? int(m_progress->total()) : 0; }
    /// What goes on or was found, in words; empty for the stored runs.
    const QString &text() const { return m_text; }

    /// What lists of runs show now. The events in it are those of today.
    const QVector<SessionRecords::Sensor> &sensors();

public slots:
    void start(double volts);
    /// What was listed before the search stays.
    void cancel();
    /// The stored runs are wanted again.
    void drop();

signals:
    /// Of what sensors() gives by the search; records change on their own.
    void changed();
    void stateChanged();

private:
    struct Outcome
    {
        QVector<SessionRecords::Sensor> sensors;
        bool complete = true;
    };

    void finish(const Outcome &outcome);

    const SessionRecords &m_records;
    double m_threshold = usualThreshold;
    bool m_found = false;
    QString m_text;
    QString m_textBefore; // of what is listed while the search runs
    double m_thresholdBefore = usualThreshold;
    QVector<SessionRecords::Sensor> m_sensors;              // with the stretches
    QVector<std::shared_ptr<const RecordSet>> m_linkedWith; // whose events they have
    std::shared_ptr<JobProgress> m_progress;
    QTimer m_poll;
    PoolTasks m_tasks;
};
