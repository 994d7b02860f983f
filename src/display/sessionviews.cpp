#include "display/sessionviews.h"

#include "display/arcplotdisplay.h"

#include <QStackedWidget>

namespace {

struct Factory
{
    int page;
    SessionView *(*make)(const DisplayContext &context, SessionSelection &selection);
};

template <class View>
SessionView *make(const DisplayContext &context, SessionSelection &selection)
{
    return new View(context, selection);
}

// One line a view: {SessionViews::Runs, make<RunsView>}.
const std::vector<Factory> factories = {};

} // namespace

SessionViews::SessionViews(const DisplayContext &context, QStackedWidget *stack, QWidget *live, arcPlotDisplay *plot,
                           QObject *parent)
    : QObject(parent), m_stack(stack), m_plot(plot)
{
    m_stack->addWidget(live);
    m_pages[Live].widget = live;
    for (const Factory &factory : factories)
        addView(factory.page, factory.make(context, m_selection));
    followPlot();
}

void SessionViews::addView(int page, SessionView *view)
{
    m_stack->addWidget(view);
    m_pages[std::size_t(page)] = {view, view};
    view->setTimeMode(m_plot->timeMode());
    connect(view, &SessionView::viewRequested, this, &SessionViews::request);
    connect(view, &SessionView::plotRequested, this, [this](quint64 from, quint64 to) { showPlot({from, to}); });
}

// What is chosen in the plot is chosen everywhere, and a chosen period is shown in the plot.
void SessionViews::followPlot()
{
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

void SessionViews::setSensors(const QVector<ViewSensor> &sensors)
{
    for (const PageEntry &page : m_pages) {
        if (page.view)
            page.view->setSensors(sensors);
    }
    refresh();
}

void SessionViews::filterChanged()
{
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
    if (SessionView *visible = view(m_current))
        visible->refresh();
}

QImage SessionViews::currentImage(qreal scale, Theme::Kind kind) const
{
    if (SessionView *visible = view(m_current))
        return visible->renderImage(scale, kind);
    return m_plot->renderImage(m_plot->size(), scale, kind);
}
