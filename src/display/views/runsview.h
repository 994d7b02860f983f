#pragma once

#include "display/records/pooltasks.h"
#include "display/records/runanalysis.h"
#include "display/views/recordview.h"

class EmptyPage;
class QLabel;
class QStackedLayout;
class QTableWidget;
class RunListModel;
class RunSearchBar;
class RunSearcher;
class arcPlotDisplay;

/// Run by run: the list of runs, and of the chosen one the curves with its events, the steps of its recipe and their
/// means. GUI thread; samples are read on a pool thread.
class RunsView : public RecordView
{
    Q_OBJECT

public:
    RunsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records, RunSearcher &searcher,
             QWidget *parent = nullptr);
    ~RunsView() override;

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    QImage renderImage(qreal scale, Theme::Kind kind) override;
    QVector<RecordKey> chosenRecords(bool runs) const override { return runs ? selectedKeys() : QVector<RecordKey>(); }

private:
    arcPlotDisplay *samplesPlot() const override { return m_plot; }
    bool isStored(const RecordSet &records, const RecordKey &key) const override;
    const QVector<SessionRecords::Sensor> &listed() override;
    QString emptyText(QString *button) const override;
    void showChosen() override;
    void showTypes() override;
    QWidget *buildDetails();
    void connectAll();
    void plotRun(const SessionRecords::Sensor &sensor, const RunRow &run);
    void showSteps();

    RunListModel *m_model;
    RunSearchBar *m_search;
    QStackedLayout *m_detailStack;
    EmptyPage *m_noRun;
    QLabel *m_title;
    arcPlotDisplay *m_plot;
    QTableWidget *m_steps;
    RunSearcher &m_searcher;
    QVector<StepMeans> m_stepMeans; // of the run whose details are shown
    PoolTasks m_tasks;
};
