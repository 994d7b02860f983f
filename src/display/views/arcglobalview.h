#pragma once

#include "display/records/sessionview.h"
#include "display/views/eventhistogram.h"
#include "display/views/histogramitem.h"
#include "display/views/typelegend.h"

#include <QHash>

class ChartNavigator;
class ChartPlot;
class EmptyPage;
class QComboBox;
class QLabel;
class QToolButton;
class SessionRecords;
struct EventRow;

/// The bar chart of a session: events of each type, stacked, and runs beside them, per minute, hour, day or week of the
/// displayed sensors. New events are added to what was counted; the whole is counted again only for another period,
/// time mode or choice of sensors. A click chooses the period in every view. GUI thread.
class arcGlobalView : public SessionView
{
    Q_OBJECT

public:
    arcGlobalView(const DisplayContext &context, SessionSelection &selection, const SessionRecords &records,
                  QWidget *parent = nullptr);
    ~arcGlobalView() override;

    void refresh() override;
    void filterChanged() override;
    void setTimeMode(TimeMode mode) override;
    TimeRange rangeInView() const override;
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
    void addEvents(const QVector<EventRow> &events);
    void addRuns();
    void redrawSoon();
    void redraw();
    void showLegend();
    QString emptyText() const;
    HistogramSeries seriesOf(int number) const;
    void hover(const QPointF &point);
    void choose(const TimeRange &period);
    void chooseNeighbour(bool forward);

    const SessionRecords &m_records;
    EventHistogram m_histogram;
    QHash<QString, int> m_runsCounted; // by sensor
    QVector<HistogramSeries> m_stacked;
    HistogramSeries m_runs;
    QComboBox *m_period;
    QLabel *m_summary;
    QToolButton *m_showInPlot;
    ChartPlot *m_plot;
    ChartNavigator *m_navigator;
    HistogramItem *m_item; // the plot's
    TypeLegend *m_legend;
    EmptyPage *m_empty;
    bool m_redrawPending = false;
};
