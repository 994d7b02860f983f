#pragma once

#include "display/storefacts.h"

#include <QHash>
#include <QObject>
#include <QThreadPool>

struct ViewSensor;

/// The facts that the counting views of a session share: events and runs of its sensors, read once for all of them,
/// and the numbers of the event names. GUI thread; outlives the views.
class SessionFacts : public QObject
{
    Q_OBJECT

public:
    explicit SessionFacts(QObject *parent = nullptr);
    ~SessionFacts() override;

    const QStringList &typeNames() const { return m_types.names(); }
    /// Of a store, from now on.
    StoreFacts *of(const std::shared_ptr<norvexData> &store);
    /// Lets go of every other sensor.
    void retain(const QVector<ViewSensor> &sensors);
    /// The enabled types of the user, in the order in which they are tried.
    void setUserTypes(const QVector<eventType> &types);
    void refresh();

private:
    QThreadPool m_pool;
    TypeNumbers m_types;
    QVector<eventType> m_userTypes;
    QHash<norvexData *, StoreFacts *> m_stores;
};

/// How many events of each type overlap each run, as the export counts them: `counts[run][type]`.
QVector<QVector<int>> eventsInRuns(const QVector<RunRecord> &runs, const QVector<EventFact> &events, int types);
