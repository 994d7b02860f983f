#pragma once

#include "display/eventhistogram.h"
#include "display/histogramitem.h"
#include "display/sessionview.h"
#include "display/typelegend.h"

#include <QHash>

class ChartNavigator;
class ChartPlot;
class EmptyNotice;
class QComboBox;
class QLabel;
class QToolButton;
class SessionFacts;
class StoreFacts;
struct EventFact;

/// The bar chart of a session: events of each type, stacked, and runs beside them, per minute, hour, day or week of the
/// displayed sensors. New events are added to what was counted; the whole is counted again only for another period,
/// time mode or choice of sensors. A click chooses the period in every view. GUI thread.
class arcGlobalView : public SessionView
{
    Q_OBJECT

public:
    arcGlobalView(const DisplayContext &context, SessionSelection &selection, SessionFacts &facts,
                  QWidget *parent = nullptr);
    ~arcGlobalView() override;

    void setSensors(const QVector<ViewSensor> &sensors) override;
    void refresh() override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    QImage renderImage(qreal scale, Theme::Kind kind) override;

    const EventHistogram &histogram() const { return m_histogram; }
    void setPeriod(CalendarPeriods::Period period);
    /// What was counted in the periods in view, tab-separated.
    QString toText() const;

signals:
    /// The chosen period, for the time-series plot.
    void setCurrentDisplayWindow(unsigned int display, quint64 from, quint64 to);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QWidget *buildToolBar();
    void countAgain();
    void addEvents(const QVector<EventFact> &events);
    void addRuns();
    void redrawSoon();
    void redraw();
    void showLegend();
    QString emptyText() const;
    HistogramSeries seriesOf(int number) const;
    QVector<StoreFacts *> shownFacts() const;
    void hover(const QPointF &point);
    void choose(const TimeRange &period);
    void chooseNeighbour(bool forward);

    SessionFacts &m_facts;
    EventHistogram m_histogram;
    QHash<const StoreFacts *, int> m_runsCounted;
    QVector<HistogramSeries> m_stacked;
    HistogramSeries m_runs;
    QComboBox *m_period;
    QLabel *m_summary;
    QToolButton *m_showInPlot;
    ChartPlot *m_plot;
    ChartNavigator *m_navigator;
    HistogramItem *m_item; // the plot's
    TypeLegend *m_legend;
    EmptyNotice *m_empty;
    bool m_redrawPending = false;
};
