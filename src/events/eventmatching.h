#pragma once

#include "data/abstractnorvexdata.h"
#include "events/eventtype.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QThreadPool>
#include <QTimer>

#include <memory>

class JobProgress;

/// Which of the user's types stored events match, and how many there are of each name.
struct EventMatches
{
    QHash<EventKey, QString> names; // of the events that match a type of the user; the others keep their built-in name
    QSet<EventKey> unmatched;       // whose waveform was read in vain
    QHash<QString, int> counts;     // by the name an event is shown under
    bool cancelled = false;
};

/// Goes through every event of a sensor, runs excluded, piece by piece; reads a waveform only where the event's
/// snapshots leave a match possible and `known`, an earlier result for the same data and types, does not tell. Any
/// thread; the progress counts milliseconds of the recording.
EventMatches matchEvents(const abstractNorvexData &data, const QVector<eventType> &types, JobProgress &progress,
                         const EventMatches &known = {});

/// Whether the snapshots alone tell that an event cannot match: twice the largest deviation from the first sample
/// bounds the one from the base.
bool canMatch(const EventRecord &event, const QVector<eventType> &types);

/// matchEvents() behind a window: one job at a time on a thread of its own, a new one ends the one before, nothing
/// arrives from an ended one. Started again for the same data and types it reads only what came since. Lives in its
/// owner's thread; its end waits for the piece in work.
class EventMatchJob : public QObject
{
    Q_OBJECT

public:
    explicit EventMatchJob(QObject *parent = nullptr);
    ~EventMatchJob() override;

    void start(const std::shared_ptr<const abstractNorvexData> &data, const QVector<eventType> &types);
    void cancel();
    bool isRunning() const { return m_progress != nullptr; }

signals:
    /// Ten times a second while it runs.
    void progress(qint64 done, qint64 total);
    void finished(const EventMatches &matches);

private:
    QThreadPool m_pool;                      // one thread
    std::shared_ptr<JobProgress> m_progress; // of the job that counts
    EventMatches m_known;                    // the last whole result, for these:
    QVector<eventType> m_types;
    std::weak_ptr<const abstractNorvexData> m_data;
    QTimer m_timer;
};

Q_DECLARE_METATYPE(EventMatches)
