#pragma once

#include "display/pooltasks.h"
#include "display/recordmodel.h"
#include "display/runanalysis.h"
#include "display/sessionview.h"

class EmptyPage;
class QLabel;
class QPushButton;
class QSplitter;
class QStackedLayout;
class QTableWidget;
class RecordPanel;
class RunListModel;
class RunSearchBar;
class arcPlotDisplay;

/// Run by run: the list of runs, and of the chosen one the curves with its events, the steps of its recipe and their
/// means. GUI thread; samples are read on a pool thread.
class RunsView : public SessionView
{
    Q_OBJECT

public:
    RunsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records,
             QWidget *parent = nullptr);
    ~RunsView() override;

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void refresh() override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    QImage renderImage(qreal scale, Theme::Kind kind) override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QWidget *buildDetails();
    void connectAll();
    void showRecords();
    void showReason();
    void chooseWanted();
    void showRun();
    void plotRun(const SessionRecords::Sensor &sensor, const RunRow &run);
    void showSteps(const RunRow &run, const SessionRecords::Sensor &sensor, const QVector<StepMeans> &steps);

    SessionRecords &m_records;
    RunListModel *m_model;
    RunSearchBar *m_search;
    RecordPanel *m_panel;
    QSplitter *m_splitter;
    QStackedLayout *m_detailStack;
    EmptyPage *m_noRun;
    QLabel *m_title;
    QPushButton *m_previous;
    QPushButton *m_next;
    arcPlotDisplay *m_plot;
    QTableWidget *m_steps;
    RecordKey m_wanted; // to be chosen as soon as it is in the list
    RecordKey m_shown;
    bool m_stale = true;     // the records changed while the view was hidden
    bool m_searched = false; // the list shows what a search found
    PoolTasks m_tasks;
};
