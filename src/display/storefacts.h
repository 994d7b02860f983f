#pragma once

#include "data/eventrecord.h"
#include "display/timerange.h"
#include "events/eventtype.h"

#include <QObject>
#include <QStringList>
#include <QVector>

#include <memory>

class QThreadPool;
class norvexData;

/// The names that events are shown under, numbered: the built-in ones by their code, then others as they turn up.
/// Numbers never change. GUI thread.
class TypeNumbers
{
public:
    TypeNumbers();

    const QStringList &names() const { return m_names; }
    /// A new name gets the next number.
    int numberOf(const QString &name);

private:
    QStringList m_names;
};

/// What the counting views keep of an event.
struct EventFact
{
    quint64 time = 0;
    quint64 end = 0;
    qint32 typeCode = 0; // with the time, the key of the event
    qint32 type = 0;     // number of the name it is shown under

    friend bool operator<(const EventFact &a, const EventFact &b)
    {
        return a.time != b.time ? a.time < b.time : a.typeCode < b.typeCode;
    }
};

/// The events, without waveforms, and the runs of one store. It reads them on a pool thread, later only what is new,
/// and tells what came. Types of the user that recognise events by their waveform are applied as the export does. GUI
/// thread; owned by the facts of the session, which outlive it.
class StoreFacts : public QObject
{
    Q_OBJECT

public:
    StoreFacts(std::shared_ptr<norvexData> store, TypeNumbers &types, QThreadPool *pool, QObject *parent = nullptr);
    ~StoreFacts() override;

    const std::shared_ptr<norvexData> &store() const { return m_store; }
    /// In order of time.
    const QVector<EventFact> &events() const { return m_events; }
    /// By start; the position + 1 is the number of the run.
    const QVector<RunRecord> &runs() const { return m_runs; }
    /// Everything that was stored at first has been read.
    bool isRead() const { return m_read; }

    /// A reading is under way; readFinished() follows.
    bool isReading() const { return m_running; }

    void setUserTypes(const QVector<eventType> &types);
    /// Starts reading when the store has something new.
    void refresh();

    static QString typeName(const EventRecord &event);

signals:
    /// In order of time, beside those that were there.
    void eventsAdded(const QVector<EventFact> &events);
    /// All were exchanged.
    void eventsReset();
    void runsChanged();
    /// One reading has ended, after the other signals.
    void readFinished();

private:
    struct Result;
    struct Mailbox;
    struct Job;

    void start(quint64 from);
    void takeResult();
    void merge(Result &result);

    const std::shared_ptr<norvexData> m_store;
    TypeNumbers &m_types;
    QThreadPool *const m_pool;
    std::shared_ptr<Mailbox> m_mailbox;
    QVector<eventType> m_userTypes;
    QVector<EventFact> m_events;
    QVector<RunRecord> m_runs;
    int m_seenEvents = 0; // counts of the store when it was last read
    int m_seenRuns = 0;
    bool m_all = true;
    bool m_read = false;
    bool m_running = false;
};
