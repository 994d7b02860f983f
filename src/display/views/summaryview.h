#pragma once

#include "display/records/sessionview.h"

#include <QTimer>

class EmptyPage;
class KeptColumns;
class QCheckBox;
class QComboBox;
class QLabel;
class QStandardItemModel;
class QTableView;
class QToolButton;
class SessionRecords;
class RunSearchBar;
class RunSearcher;
class SummaryModel;
class SummaryTotals;

/// The runs of the displayed sensors as a table with totals below, and the means of the recipe steps. Choosing a run
/// here chooses it in every view, a double click opens it. GUI thread.
class SummaryView : public SessionView
{
    Q_OBJECT

public:
    enum Range { Whole, InView, Chosen };

    SummaryView(const DisplayContext &context, SessionSelection &selection, const SessionRecords &records,
                RunSearcher &searcher, QWidget *parent = nullptr);
    ~SummaryView() override;

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void refresh() override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    TimeRange rangeInView() const override;
    QVector<RecordKey> chosenRecords(bool runs) const override;

    /// The range of the time-series plot; `use`: show its runs, not those of the whole recording.
    void setViewRange(const TimeRange &range, bool use);
    const SummaryModel &model() const { return *m_model; }

signals:
    /// For the sensor that is displayed, as the card does them.
    void thresholdRequested();
    void unloadRequested();
    void exportRequested();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QWidget *buildToolBar();
    QToolButton *button(const QString &text, const QString &tip, const char *name);
    void buildTables();
    void followColumns();
    void fillSoon();
    void fill();
    void fitColumns();
    void fillSteps();
    QString emptyText() const;
    void restore(const QString &serial, quint64 start, int scroll);
    void chooseCurrent();
    void openCurrent();
    void chooseMarked(int direction);
    void copy();

    const SessionRecords &m_records;
    RunSearcher &m_searcher;
    SummaryModel *m_model;
    SummaryTotals *m_totals;
    QStandardItemModel *m_steps;
    QTableView *m_table;
    KeptColumns *m_columns;
    QTableView *m_totalsTable;
    QTableView *m_stepsTable;
    QComboBox *m_range;
    QLabel *m_text;
    QCheckBox *m_showSteps;
    QVector<QToolButton *> m_sensorButtons; // need a displayed sensor
    EmptyPage *m_empty;
    RunSearchBar *m_search; // while it has something to say
    TimeRange m_viewRange;
    QTimer m_fillTimer;
    int m_fillCostMs = 0;
    bool m_restoring = false;
    int m_fittedColumns = 0; // how many there were when they got their widths
};
