#include "display/views/sessionviews.h"

#include "base/prompts.h"
#include "base/scrollframe.h"
#include "display/look/typecolours.h"
#include "display/overlay/overlayset.h"
#include "display/overlay/overlayview.h"
#include "display/plot/arcplotdisplay.h"
#include "display/views/arcglobalview.h"
#include "display/views/eventsview.h"
#include "display/views/runsview.h"
#include "display/views/summaryview.h"

#include <QStackedWidget>

SessionViews::SessionViews(const DisplayContext &context, QStackedWidget *stack, QWidget *live, arcPlotDisplay *plot,
                           QObject *parent)
    : QObject(parent), m_context(context), m_stack(stack), m_plot(plot), m_searcher(m_records),
      m_overlays(new OverlaySet(context.theme, m_records, m_searcher, this))
{
    m_pages[Live].widget = new ScrollFrame(live);
    m_stack->addWidget(m_pages[Live].widget);
    addViews();
    followPlot();
    filterChanged();
}

void SessionViews::addView(int page, SessionView *view)
{
    m_pages[std::size_t(page)] = {new ScrollFrame(view), view};
    m_stack->addWidget(m_pages[std::size_t(page)].widget);
    view->setTimeMode(m_plot->timeMode());
    connect(view, &SessionView::viewRequested, this, &SessionViews::request);
    connect(view, &SessionView::plotRequested, this, [this](quint64 from, quint64 to) { showPlot({from, to}); });
}

void SessionViews::addViews()
{
    addView(Runs, new RunsView(m_context, m_selection, m_records, m_searcher));
    addView(Events, new EventsView(m_context, m_selection, m_records));

    auto *summary = new SummaryView(m_context, m_selection, m_records, m_searcher);
    addView(Summary, summary);
    connect(summary, &SummaryView::exportRequested, this, &SessionViews::exportRequested);
    connect(summary, &SummaryView::thresholdRequested, this, &SessionViews::thresholdRequested);
    connect(summary, &SummaryView::unloadRequested, this, &SessionViews::unloadRequested);

    auto *chart = new arcGlobalView(m_context, m_selection, m_records);
    addView(EventChart, chart);
    connect(chart, &arcGlobalView::setCurrentDisplayWindow, this, &SessionViews::setCurrentDisplayWindow);

    for (const bool runs : {true, false}) {
        OverlayView *view = runs ? static_cast<OverlayView *>(new RunsOverlayView(m_context, m_selection, *m_overlays))
                                 : new EventsOverlayView(m_context, m_selection, *m_overlays);
        addView(runs ? RunsOverlay : EventsOverlay, view);
        connect(view, &OverlayView::addRequested, this, [this, runs] { addToOverlay(runs); });
    }
    connect(&m_overlays->table(), &OverlayTable::overlayTableUpdated, this, &SessionViews::overlayTableUpdated);
    connect(m_overlays, &OverlaySet::added, this,
            [this](int kind, int found, int, int beyond) { tellAdded(kind, found, beyond); });
}

// What is chosen in the plot is chosen everywhere, and a chosen period is shown in the plot.
void SessionViews::followPlot()
{
    connect(&m_records, &SessionRecords::changed, this, [this] {
        for (const SessionRecords::Sensor &sensor : m_records.sensors())
            m_plot->setRecords(sensor.view.serial, sensor.records);
    });
    connect(m_plot, &arcPlotDisplay::timeModeChanged, this, &SessionViews::setTimeMode);
    connect(m_plot, &arcPlotDisplay::eventActivated, &m_selection, &SessionSelection::selectEvent);
    connect(m_plot, &arcPlotDisplay::runActivated, this, [this](const QString &serial, quint64 start) {
        m_selection.selectRun(serial, start);
        request(Runs);
    });
    connect(&m_selection, &SessionSelection::periodSelected, this, [this](const TimeRange &period) {
        if (!period.isEmpty() && !m_plotChooses)
            m_plot->setVisibleRange(period);
    });
}

void SessionViews::show(int page)
{
    if (!has(page))
        return;
    m_current = page;
    if (page != RunsOverlay && page != EventsOverlay)
        m_source = page;
    m_stack->setCurrentWidget(m_pages[std::size_t(page)].widget);
    refresh();
}

void SessionViews::request(int page)
{
    if (!has(page))
        return;
    show(page);
    emit pageRequested(page);
}

void SessionViews::showPlot(const TimeRange &range)
{
    request(Live); // the live page follows until it is told a range
    m_plot->setVisibleRange(range);
}

void SessionViews::choosePeriod(const TimeRange &period)
{
    m_plotChooses = true;
    m_selection.selectPeriod(period);
    m_plotChooses = false;
}

void SessionViews::showSummary()
{
    static_cast<SummaryView *>(view(Summary))->setViewRange(m_plot->visibleRange(), !m_plot->isFollowing());
    request(Summary);
}

void SessionViews::addToOverlay(bool runs)
{
    OverlayWish wish;
    wish.kind = runs ? OverlayEntry::Run : OverlayEntry::Event;
    if (const SessionView *source = view(m_source)) {
        wish.range = source->rangeInView();
        wish.only = source->chosenRecords(runs);
    }
    if (wish.range.isEmpty())
        wish.range = m_plot->visibleRange();
    wish.isShown = [filter = &m_context.filter](const QString &type) { return filter->isEnabled(type); };
    m_overlays->add(wish);
}

const OverlayTable &SessionViews::overlays() const
{
    return m_overlays->table();
}

void SessionViews::tellAdded(int kind, int found, int beyond)
{
    const bool runs = kind == OverlayEntry::Run;
    if (found == 0)
        m_context.prompts.inform(
            m_stack, runs ? tr("Add Runs to Overlay") : tr("Add Events to Overlay"),
            runs ? tr("There is no finished run of a displayed sensor in view.")
                 : tr("There is no event of a displayed sensor in view."),
            {tr("Zoom or pan the plot until it shows what you want to compare, or choose it in a list, then add it."),
             QString()});
    else if (beyond > 0)
        m_context.prompts.inform(m_stack, runs ? tr("Add Runs to Overlay") : tr("Add Events to Overlay"),
                                 tr("The overlay is full: %1 more were left out.").arg(beyond),
                                 {tr("Remove what you no longer compare, or show a shorter range."), QString()});
}

void SessionViews::setSensors(const QVector<ViewSensor> &sensors)
{
    for (const PageEntry &page : m_pages) {
        if (page.view)
            page.view->setSensors(sensors);
    }
    m_records.setSensors(sensors);
    refresh();
}

void SessionViews::filterChanged()
{
    m_records.setUserTypes(m_context.filter.enabledUserTypes());
    m_plot->setEventLooks(eventLooks(m_context));
    for (const PageEntry &page : m_pages) {
        if (page.view)
            page.view->filterChanged();
    }
}

void SessionViews::setTimeMode(TimeMode mode)
{
    m_plot->setTimeMode(mode);
    for (const PageEntry &page : m_pages) {
        if (page.view)
            page.view->setTimeMode(mode);
    }
}

void SessionViews::refresh()
{
    m_records.refresh();
    if (SessionView *visible = view(m_current))
        visible->refresh();
}

QImage SessionViews::currentImage(qreal scale, Theme::Kind kind) const
{
    if (SessionView *visible = view(m_current))
        return visible->renderImage(scale, kind);
    return m_plot->renderImage(m_plot->size(), scale, kind);
}
