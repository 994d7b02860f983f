#pragma once

#include "display/overlaytable.h"
#include "display/timerange.h"

#include <QObject>
#include <QThreadPool>

#include <functional>

class SessionFacts;
class StoreFacts;
struct ViewSensor;

/// The overlays of a session: their table, and the reading of their curves on a pool thread. What is added comes from
/// the facts of the session, so a range is added when these have been read. GUI thread; outlives the views.
class OverlaySet : public QObject
{
    Q_OBJECT

public:
    /// More are not taken: nobody tells them apart, and their samples fill the memory.
    static constexpr int mostRuns = 2000;
    static constexpr int mostEvents = 5000;

    OverlaySet(const Theme &theme, SessionFacts &facts, QObject *parent = nullptr);
    ~OverlaySet() override;

    OverlayTable &table() { return m_table; }

    /// The runs that overlap a range, of the sensors that are switched on.
    void addRuns(const QVector<ViewSensor> &sensors, const TimeRange &range);
    /// The events in a range whose type `isShown`.
    void addEvents(const QVector<ViewSensor> &sensors, const TimeRange &range,
                   std::function<bool(const QString &)> isShown);

signals:
    /// An addition has ended: so many were found, so many of them were new, so many are beyond the limit.
    void added(int kind, int found, int fresh, int beyond);

private:
    struct Mailbox;
    struct Addition
    {
        OverlayEntry::Kind kind;
        QVector<ViewSensor> sensors;
        TimeRange range;
        std::function<bool(const QString &)> isShown;
    };

    void begin(const Addition &addition);
    void addWhatIsRead();
    void finish(const Addition &addition);
    QVector<OverlayEntry> runsOf(const ViewSensor &sensor, const TimeRange &range);
    QVector<OverlayEntry> eventsOf(const ViewSensor &sensor, const Addition &addition);
    void read(const OverlayEntry &entry);
    void takeSeries();

    SessionFacts &m_facts;
    OverlayTable m_table;
    QThreadPool m_pool;
    std::shared_ptr<Mailbox> m_mailbox;
    QVector<Addition> m_additions; // wait for the facts
};
