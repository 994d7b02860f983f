#pragma once

#include "base/jobprogress.h"
#include "display/pooltasks.h"
#include "display/sessionrecords.h"

#include <QTimer>
#include <QWidget>

#include <memory>

class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;

/// Below the list of runs: searches the stored samples for stretches above another RF-ON threshold, with progress and
/// Cancel, and goes back to the stored runs. The search runs on a pool thread. Child of the runs view.
class RunSearchBar : public QWidget
{
    Q_OBJECT

public:
    explicit RunSearchBar(const SessionRecords &records, QWidget *parent = nullptr);

    bool isRunning() const { return m_progress != nullptr; }
    double threshold() const;
    void setThreshold(double volts);

public slots:
    void start();
    void cancel();

signals:
    void found(const QVector<SessionRecords::Sensor> &stretches);
    /// The stored runs are wanted again.
    void dropped();

private:
    struct Outcome
    {
        QVector<SessionRecords::Sensor> sensors;
        bool complete = true;
    };

    void finish(const Outcome &outcome, double threshold);
    void showState(const QString &text, bool running, bool canDrop);

    const SessionRecords &m_records;
    QDoubleSpinBox *m_threshold;
    QPushButton *m_search;
    QPushButton *m_cancel;
    QPushButton *m_drop;
    QProgressBar *m_bar;
    QLabel *m_text;
    QTimer m_poll;
    std::shared_ptr<JobProgress> m_progress;
    PoolTasks m_tasks;
};
