#pragma once

#include "display/records/runsearcher.h"
#include "display/records/sessionrecords.h"
#include "display/records/sessionselection.h"
#include "display/records/sessionview.h"

#include <QImage>
#include <QObject>

#include <array>

class OverlaySet;
class OverlayTable;
class QStackedWidget;
class arcPlotDisplay;

/// The views of an open session, one page each in the form's stack, and the selection they share. It shows one at a
/// time, tells all of them what changed about sensors, filter and time mode, and only the visible one that something
/// was stored. GUI thread; owned by the session form, the pages by the stack.
class SessionViews : public QObject
{
    Q_OBJECT

public:
    /// The first five in the order of their buttons.
    enum Page { Live, Runs, Events, RunsOverlay, EventsOverlay, Summary, EventChart, pageCount };

    /// `live` is the page that `plot` stands on.
    SessionViews(const DisplayContext &context, QStackedWidget *stack, QWidget *live, arcPlotDisplay *plot,
                 QObject *parent);

    SessionSelection &selection() { return m_selection; }
    SessionRecords &records() { return m_records; }
    RunSearcher &searcher() { return m_searcher; }
    const OverlayTable &overlays() const;
    /// nullptr for the live page.
    SessionView *view(int page) const { return m_pages[std::size_t(page)].view; }
    bool has(int page) const { return page >= 0 && page < pageCount && m_pages[std::size_t(page)].widget; }
    int current() const { return m_current; }
    void show(int page);
    /// The same, and says so with pageRequested().
    void request(int page);
    /// The live page with this range, not following.
    void showPlot(const TimeRange &range);
    /// A period that was chosen in the plot of the live page.
    void choosePeriod(const TimeRange &period);
    /// The summary of what the plot shows; of the whole recording while it follows.
    void showSummary();
    /// Lays the runs, or else the events, that are chosen or shown in the view over those that are overlaid already. An
    /// overlay adds what the view before it shows.
    void addToOverlay(bool runs);

    void setSensors(const QVector<ViewSensor> &sensors);
    void filterChanged();
    void setTimeMode(TimeMode mode);
    /// Something was stored.
    void refresh();

    /// The display in view as a picture.
    QImage currentImage(qreal scale, Theme::Kind kind) const;

signals:
    /// Another page was asked for from inside a view; it is in front already.
    void pageRequested(int page);
    /// For the sensor that is displayed.
    void exportRequested();
    void thresholdRequested();
    void unloadRequested();
    void overlayTableUpdated(int runs, int events);
    void setCurrentDisplayWindow(unsigned int display, quint64 from, quint64 to);

private:
    struct PageEntry
    {
        QWidget *widget = nullptr;
        SessionView *view = nullptr;
    };

    void addView(int page, SessionView *view);
    void addViews();
    void tellAdded(int kind, int found, int beyond);
    void followPlot();

    const DisplayContext m_context;
    QStackedWidget *const m_stack;
    arcPlotDisplay *const m_plot;
    SessionSelection m_selection;
    SessionRecords m_records;
    RunSearcher m_searcher;
    OverlaySet *m_overlays;
    std::array<PageEntry, pageCount> m_pages;
    int m_current = Live;
    int m_source = Live;        // where overlays are added from
    bool m_plotChooses = false; // the period comes from the plot: it stays where it is
};
