#include "display/views/arcglobalview.h"

#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "display/look/emptypage.h"
#include "display/look/typecolours.h"
#include "display/plot/chartnavigator.h"
#include "display/plot/chartplot.h"
#include "display/plot/plotoverlay.h"
#include "display/records/sessionrecords.h"
#include "display/records/sessionselection.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QTimer>
#include <QToolButton>
#include <qwt_plot_canvas.h>

#include <algorithm>

arcGlobalView::arcGlobalView(const DisplayContext &context, SessionSelection &selection, const SessionRecords &records,
                             QWidget *parent)
    : SessionView(context, selection, parent), m_records(records), m_plot(new ChartPlot), m_item(new HistogramItem),
      m_legend(new TypeLegend)
{
    setObjectName(QStringLiteral("arcGlobalView"));
    setFocusPolicy(Qt::StrongFocus);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(buildToolBar());
    layout->addWidget(m_plot, 1);
    layout->addWidget(m_legend);
    m_plot->applyTheme(m_context.theme);
    m_item->attach(m_plot);
    m_navigator = new ChartNavigator(m_plot, m_context.theme, false, this);
    m_empty = new EmptyPage(m_plot, context.theme);
    connect(m_navigator, &ChartNavigator::viewChanged, this, &arcGlobalView::redrawSoon);
    connect(m_navigator, &ChartNavigator::hovered, this, &arcGlobalView::hover);
    connect(m_navigator, &ChartNavigator::left, this, [this] { m_navigator->overlay()->setCrosshair(std::nullopt); });
    connect(m_navigator, &ChartNavigator::clicked, this,
            [this](const QPointF &point) { choose(m_histogram.periods().at(m_plot->timeAt(point.x()))); });
    connect(m_navigator, &ChartNavigator::doubleClicked, this, [this](const QPointF &point) {
        const TimeRange period = m_histogram.periods().at(m_plot->timeAt(point.x()));
        emit plotRequested(period.from, period.to);
    });
    connect(m_legend, &TypeLegend::toggled, &m_context.filter, &eventTypeFilter::setEnabled);
    connect(m_empty, &EmptyPage::pressed, this, [this] { m_context.filter.setAllEnabled(true); });
    connect(&m_selection, &SessionSelection::periodSelected, this, &arcGlobalView::redrawSoon);
    connect(&m_records, &SessionRecords::eventsAdded, this, &arcGlobalView::addEvents);
    connect(&m_records, &SessionRecords::eventsReset, this, &arcGlobalView::countAgain);
    connect(&m_records, &SessionRecords::changed, this, &arcGlobalView::addRuns);
    connect(&m_context.theme, &Theme::changed, this, [this] {
        m_plot->applyTheme(m_context.theme);
        filterChanged();
    });
    filterChanged();
}

arcGlobalView::~arcGlobalView() = default;

QWidget *arcGlobalView::buildToolBar()
{
    auto *bar = new QWidget;
    auto *layout = new QHBoxLayout(bar);
    layout->setContentsMargins(4, 2, 4, 2);
    m_period = new QComboBox;
    m_period->setObjectName(QStringLiteral("cb_period"));
    m_period->setAccessibleName(tr("Length of a bar"));
    for (const auto period :
         {CalendarPeriods::Minute, CalendarPeriods::Hour, CalendarPeriods::Day, CalendarPeriods::Week})
        m_period->addItem(CalendarPeriods::name(period), int(period));
    m_period->setCurrentIndex(int(CalendarPeriods::Hour));
    auto *label = new QLabel(tr("A bar for each"));
    label->setBuddy(m_period);
    m_summary = new QLabel;
    m_summary->setTextFormat(Qt::PlainText);
    m_showInPlot = new QToolButton;
    m_showInPlot->setText(tr("Show in plot"));
    m_showInPlot->setObjectName(QStringLiteral("b_showInPlot"));
    auto *whole = new QToolButton;
    whole->setText(tr("Whole range"));
    whole->setToolTip(tr("Show all that was recorded (Home)"));
    layout->addWidget(label);
    layout->addWidget(m_period);
    layout->addWidget(whole);
    layout->addWidget(m_showInPlot);
    layout->addSpacing(12);
    layout->addWidget(m_summary, 1);
    connect(m_period, qOverload<int>(&QComboBox::currentIndexChanged), this, &arcGlobalView::countAgain);
    connect(whole, &QToolButton::clicked, this, [this] { m_navigator->showWhole(); });
    connect(m_showInPlot, &QToolButton::clicked, this, [this] {
        if (!m_selection.period().isEmpty())
            emit plotRequested(m_selection.period().from, m_selection.period().to);
    });
    return bar;
}

// --- counting

void arcGlobalView::setPeriod(CalendarPeriods::Period period)
{
    m_period->setCurrentIndex(int(period));
}

void arcGlobalView::setTimeMode(TimeMode mode)
{
    SessionView::setTimeMode(mode);
    countAgain();
}

void arcGlobalView::countAgain()
{
    quint64 origin = 0;
    for (const SessionRecords::Sensor &sensor : m_records.sensors()) {
        const quint64 first = sensor.view.store->firstTime();
        if (first != 0 && (origin == 0 || first < origin))
            origin = first;
    }
    const auto period = CalendarPeriods::Period(m_period->currentData().toInt());
    m_histogram = EventHistogram(CalendarPeriods(period, m_timeMode, QTimeZone::systemTimeZone(), origin));
    m_runsCounted.clear();
    for (const SessionRecords::Sensor &sensor : m_records.sensors())
        if (sensor.view.on)
            addEvents(sensor.records->events);
    addRuns();
    redrawSoon();
}

void arcGlobalView::addEvents(const QVector<EventRow> &events)
{
    QVector<CountedEvent> counted;
    counted.reserve(events.size());
    for (const EventRow &event : events)
        counted.append({event.time, event.type});
    m_histogram.add(counted.constData(), counted.size());
    redrawSoon();
}

void arcGlobalView::addRuns()
{
    for (const SessionRecords::Sensor &sensor : m_records.sensors()) {
        if (!sensor.view.on)
            continue;
        int &counted = m_runsCounted[sensor.view.serial]; // the runs of a sensor come in order
        for (; counted < sensor.records->runs.size(); ++counted)
            m_histogram.add({sensor.records->runs.at(counted).record.start, eventtype::RfOn});
    }
    redrawSoon();
}

void arcGlobalView::refresh()
{
    redrawSoon();
}

void arcGlobalView::filterChanged()
{
    redrawSoon();
}

// --- drawing

void arcGlobalView::redrawSoon()
{
    if (m_redrawPending)
        return;
    m_redrawPending = true;
    QTimer::singleShot(0, this, &arcGlobalView::redraw);
}

void arcGlobalView::resizeEvent(QResizeEvent *event)
{
    SessionView::resizeEvent(event);
    redrawSoon();
}

void arcGlobalView::showEvent(QShowEvent *event)
{
    SessionView::showEvent(event);
    redrawSoon();
}

HistogramSeries arcGlobalView::seriesOf(int number) const
{
    const QString name = m_records.typeNames().at(number);
    return {number, name, typeColour(m_context.theme, m_context.dictionary, number, name),
            m_context.filter.isEnabled(name)};
}

void arcGlobalView::redraw()
{
    m_redrawPending = false;
    if (!isVisible())
        return;
    m_stacked.clear();
    QVector<int> shown;
    const int names = m_records.typeNames().size();
    for (int number = 0; number < names; ++number) {
        if (number == eventtype::RfOn)
            continue;
        m_stacked.append(seriesOf(number));
        if (m_stacked.last().shown)
            shown.append(number);
    }
    m_runs = seriesOf(eventtype::RfOn);
    m_runs.name = QStringLiteral("RF-ON");

    PlotView &view = m_navigator->view;
    view.setData(m_histogram.range());
    const int pixels = int(m_plot->plotCanvas()->width() * m_plot->devicePixelRatioF());
    const QVector<HistogramBar> bars =
        histogramBars(m_histogram, shown, m_runs.shown ? int(eventtype::RfOn) : -1, view.visible(), pixels);
    quint32 most = 0;
    for (const HistogramBar &bar : bars)
        most = std::max({most, bar.stack, bar.beside});
    view.setExtremes(PlotView::Left, 0, std::max(most, 4U));
    m_item->setBars(&m_histogram, m_stacked, m_runs, bars);
    m_item->setSelection(m_selection.period(), m_context.theme.rubberBandPen(), m_context.theme.rubberBandBrush());

    TimeAxis axis(m_timeMode);
    axis.setOrigin(m_histogram.periods().origin());
    m_plot->setTimeAxis(axis, view.visible());
    m_plot->setLeftAxis(view.values(PlotView::Left),
                        tr("Events and runs per %1").arg(CalendarPeriods::name(m_histogram.periods().period())),
                        QString());
    m_plot->replot();
    showLegend();
    m_showInPlot->setEnabled(!m_selection.period().isEmpty());
    m_showInPlot->setToolTip(m_showInPlot->isEnabled() ? tr("Show the chosen period in the plot (Enter)")
                                                       : tr("No period is chosen: click a bar first"));
    const bool hidden = !m_histogram.range().isEmpty() && shown.isEmpty() && !m_runs.shown;
    m_empty->show(emptyText(), hidden ? tr("Show all") : QString());
}

TimeRange arcGlobalView::rangeInView() const
{
    return m_selection.period().isEmpty() ? m_navigator->view.visible() : m_selection.period();
}

QImage arcGlobalView::renderImage(qreal, Theme::Kind)
{
    return grab(m_plot->geometry() | m_legend->geometry()).toImage();
}

void arcGlobalView::showLegend()
{
    QVector<TypeLegend::Entry> entries;
    quint64 events = 0;
    for (const HistogramSeries &series : qAsConst(m_stacked)) {
        const quint64 total = m_histogram.total(series.number);
        events += total;
        if (total > 0)
            entries.append({series.name, series.name, series.colour, total, series.shown});
    }
    const quint64 runs = m_histogram.total(eventtype::RfOn);
    if (runs > 0)
        entries.append({m_records.typeNames().at(eventtype::RfOn), m_runs.name, m_runs.colour, runs, m_runs.shown});
    m_legend->show(entries, m_context.theme);
    const bool counting = !m_sensors.isEmpty() && m_histogram.range().isEmpty();
    m_summary->setText(counting ? QString() : tr("%1 events, %2 runs").arg(events).arg(runs));
}

QString arcGlobalView::emptyText() const
{
    if (!m_histogram.range().isEmpty()) {
        const bool any =
            std::any_of(m_stacked.begin(), m_stacked.end(), [](const HistogramSeries &series) { return series.shown; });
        return any || m_runs.shown ? QString() : tr("Every event type is hidden by the filter.");
    }
    if (m_sensors.isEmpty())
        return tr("No sensor yet.\nConnect one, and its arcs and runs are counted here.");
    if (std::none_of(m_sensors.begin(), m_sensors.end(), [](const ViewSensor &sensor) { return sensor.on; }))
        return tr("Every sensor is switched off.\nSwitch one on with \"Data display on/off\" on its card.");
    if (m_records.isReading())
        return tr("Reading events and runs...");
    return tr("No event and no run has been recorded yet.\nThey are counted here as soon as a sensor reports them.");
}

// --- choosing

void arcGlobalView::hover(const QPointF &point)
{
    const quint64 time = m_plot->timeAt(point.x());
    if (m_histogram.range().isEmpty())
        return;
    const int bar = m_histogram.find(time);
    QVector<PlotOverlay::Row> rows;
    if (bar >= 0) {
        QVector<HistogramSeries> all = m_stacked;
        all.append(m_runs);
        for (const HistogramSeries &series : qAsConst(all)) {
            const quint32 count = m_histogram.count(bar, series.number);
            if (count > 0 && series.shown)
                rows.append({series.colour, series.name, QString::number(count), 0, false});
        }
    }
    m_navigator->overlay()->setCrosshair(point, m_histogram.periods().text(m_histogram.periods().at(time)), rows);
}

void arcGlobalView::choose(const TimeRange &period)
{
    m_selection.selectPeriod(period);
    emit setCurrentDisplayWindow(0, period.from, period.to);
    redrawSoon();
}

void arcGlobalView::chooseNeighbour(bool forward)
{
    if (m_histogram.barCount() == 0)
        return;
    const TimeRange chosen = m_selection.period();
    int bar = forward ? 0 : m_histogram.barCount() - 1;
    if (!chosen.isEmpty())
        bar = forward ? m_histogram.firstAfter(chosen.to) : m_histogram.firstAfter(chosen.from) - 1;
    if (bar >= 0 && bar < m_histogram.barCount())
        choose(m_histogram.bar(bar));
}

QString arcGlobalView::toText() const
{
    QStringList lines;
    QStringList cells{tr("Period")};
    for (const HistogramSeries &series : m_stacked)
        cells.append(series.name);
    cells.append(m_runs.name);
    lines.append(cells.join(QLatin1Char('\t')));
    const TimeRange view = m_navigator->view.visible();
    for (int bar = m_histogram.firstAfter(view.from);
         bar < m_histogram.barCount() && m_histogram.bar(bar).from < view.to; ++bar) {
        cells = QStringList{m_histogram.periods().text(m_histogram.bar(bar))};
        for (const HistogramSeries &series : m_stacked)
            cells.append(QString::number(m_histogram.count(bar, series.number)));
        cells.append(QString::number(m_histogram.count(bar, m_runs.number)));
        lines.append(cells.join(QLatin1Char('\t')));
    }
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

void arcGlobalView::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy))
        QApplication::clipboard()->setText(toText());
    else if (event->key() == Qt::Key_N || event->key() == Qt::Key_P)
        chooseNeighbour(event->key() == Qt::Key_N);
    else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        m_showInPlot->click();
    else if (!m_navigator->pressKey(event))
        SessionView::keyPressEvent(event);
}
