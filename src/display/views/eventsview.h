#pragma once

#include "display/records/pooltasks.h"
#include "display/views/recordview.h"

class EmptyPage;
class EventListModel;
class QLabel;
class QPushButton;
class QStackedLayout;
class arcPlotDisplay;
struct EventRow;

/// Event by event: the list of the events of enabled types, and of the chosen one the waveform, power and impedance
/// derived from it, and the samples around it. GUI thread; waveforms are read on a pool thread when they are chosen.
class EventsView : public RecordView
{
    Q_OBJECT

public:
    EventsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records,
               QWidget *parent = nullptr);
    ~EventsView() override;

    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    QImage renderImage(qreal scale, Theme::Kind kind) override;
    QVector<RecordKey> chosenRecords(bool runs) const override { return !runs ? selectedKeys() : QVector<RecordKey>(); }

private:
    arcPlotDisplay *samplesPlot() const override { return m_around; }
    bool isStored(const RecordSet &records, const RecordKey &key) const override;
    QString emptyText(QString *button) const override;
    void showChosen() override;
    QWidget *buildDetails();
    QIcon icon(const QString &type) const;
    QWidget *buildTitleRow();
    void connectAll();
    void linkTimes(arcPlotDisplay *one, arcPlotDisplay *other);
    void loadWaveform(const SessionRecords::Sensor &sensor, const EventRow &event);
    void showWaveform(const SessionRecords::Sensor &sensor, const EventRow &event,
                      const QVector<SamplePoint> &waveform);
    void showContext(const SessionRecords::Sensor &sensor, const EventRow &event);
    QVector<arcPlotDisplay *> plots() const { return {m_waveform, m_derived, m_around}; }

    EventListModel *m_model;
    QStackedLayout *m_detailStack;
    QStackedLayout *m_waveformStack;
    EmptyPage *m_noEvent;
    EmptyPage *m_noWaveform;
    QLabel *m_icon;
    QLabel *m_title;
    QPushButton *m_showRun;
    QString m_shownType;        // of the event whose details are shown
    arcPlotDisplay *m_waveform; // voltage and current
    arcPlotDisplay *m_derived;  // power and impedance
    arcPlotDisplay *m_around;   // samples before and after
    PoolTasks m_tasks;
};
