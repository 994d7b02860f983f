#pragma once

#include "display/overlay/overlaytable.h"
#include "display/records/recordkey.h"
#include "display/records/timerange.h"

#include <QHash>
#include <QObject>
#include <QThreadPool>

#include <functional>

class RunSearcher;
class SessionRecords;
struct EventRow;
struct RunRow;

/// What is to be laid over each other: runs or events of the displayed sensors, those of a range or these alone.
struct OverlayWish
{
    OverlayEntry::Kind kind = OverlayEntry::Run;
    TimeRange range;
    QVector<RecordKey> only;                      // when there are any
    std::function<bool(const QString &)> isShown; // event types; none: all
};

/// The overlays of a session: their table, and the reading of their curves on a pool thread. What is added comes from
/// the records of the session, so a wish is fulfilled when what was stored at its time has been read; an event that
/// comes to be shown under another name gets it here, too. GUI thread; outlives the views.
class OverlaySet : public QObject
{
    Q_OBJECT

public:
    /// More are not taken: nobody tells them apart, and their samples fill the memory.
    static constexpr int mostRuns = 2000;
    static constexpr int mostEvents = 5000;

    OverlaySet(const Theme &theme, SessionRecords &records, RunSearcher &searcher, QObject *parent = nullptr);
    ~OverlaySet() override;

    OverlayTable &table() { return m_table; }
    void add(const OverlayWish &wish);

signals:
    /// An addition has ended: so many were found, so many of them were new, so many are beyond the limit.
    void added(int kind, int found, int fresh, int beyond);

private:
    struct Mailbox;
    struct Addition
    {
        OverlayWish wish;
        QHash<QString, int> stored; // records of each sensor when it was wished
    };

    void addWhatIsRead();
    bool isRead(const Addition &addition) const;
    void finish(const OverlayWish &wish);
    static bool isWanted(const OverlayWish &wish, const RecordKey &key, quint64 end);
    static QVector<OverlayEntry> runsOf(const QVector<RunRow> &runs, const QString &serial, const OverlayWish &wish);
    QVector<OverlayEntry> eventsOf(int sensor, const OverlayWish &wish) const;
    void nameEvents();
    void read(const OverlayEntry &entry);
    void takeSeries();

    SessionRecords &m_records;
    RunSearcher &m_searcher;
    OverlayTable m_table;
    QThreadPool m_pool;
    std::shared_ptr<Mailbox> m_mailbox;
    QVector<Addition> m_additions; // wait for the records
};
