#pragma once

#include "display/pooltasks.h"
#include "display/recordmodel.h"
#include "display/sessionview.h"

class EmptyPage;
class EventListModel;
class QLabel;
class QPushButton;
class QSplitter;
class QStackedLayout;
class RecordPanel;
class arcPlotDisplay;
struct EventRow;

/// Event by event: the list of the events of enabled types, and of the chosen one the waveform, power and impedance
/// derived from it, and the samples around it. GUI thread; waveforms are read on a pool thread when they are chosen.
class EventsView : public SessionView
{
    Q_OBJECT

public:
    EventsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records,
               QWidget *parent = nullptr);
    ~EventsView() override;

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void refresh() override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    QImage renderImage(qreal scale, Theme::Kind kind) override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QWidget *buildDetails();
    QIcon icon(const QString &type) const;
    QWidget *buildTitleRow();
    void connectAll();
    void linkTimes(arcPlotDisplay *one, arcPlotDisplay *other);
    void showRecords();
    void showReason();
    void chooseWanted();
    void showChosen();
    void loadWaveform(const SessionRecords::Sensor &sensor, const EventRow &event);
    void showWaveform(const SessionRecords::Sensor &sensor, const EventRow &event,
                      const QVector<SamplePoint> &waveform);
    void showContext(const SessionRecords::Sensor &sensor, const EventRow &event);
    QVector<arcPlotDisplay *> plots() const { return {m_waveform, m_derived, m_around}; }

    SessionRecords &m_records;
    EventListModel *m_model;
    RecordPanel *m_panel;
    QSplitter *m_splitter;
    QStackedLayout *m_detailStack;
    QStackedLayout *m_waveformStack;
    EmptyPage *m_noEvent;
    EmptyPage *m_noWaveform;
    QLabel *m_icon;
    QLabel *m_title;
    QPushButton *m_previous;
    QPushButton *m_next;
    QPushButton *m_showRun;
    arcPlotDisplay *m_waveform; // voltage and current
    arcPlotDisplay *m_derived;  // power and impedance
    arcPlotDisplay *m_around;   // samples before and after
    RecordKey m_wanted;
    RecordKey m_shown;
    bool m_stale = true; // the records changed while the view was hidden
    PoolTasks m_tasks;
};
