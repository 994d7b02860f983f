#include "display/views/eventsview.h"

#include "data/derivedvalues.h"
#include "data/norvexdata.h"
#include "display/look/emptypage.h"
#include "display/look/keptlayout.h"
#include "display/look/typecolours.h"
#include "display/plot/arcplotdisplay.h"
#include "display/plot/eventicon.h"
#include "display/records/derivedsources.h"
#include "display/records/storesource.h"
#include "display/views/eventlistmodel.h"
#include "display/views/recordtable.h"
#include "display/views/sessionviews.h"

#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QSplitter>
#include <QStackedLayout>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr quint64 second = 1000000;
constexpr quint64 aroundShown = 5 * second; // before and after the event
constexpr quint64 aroundRead = 60 * second;

TimeRange around(quint64 time, quint64 reach)
{
    return {time - std::min(time, reach), time + reach};
}

} // namespace

EventsView::EventsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records,
                       QWidget *parent)
    : RecordView(context, selection, records, parent),
      m_model(new EventListModel([this](const QString &type) { return icon(type); }, this)), m_tasks(this)
{
    layOut(m_model, new RecordPanel(m_model, tr("events")), buildDetails(),
           {QStringLiteral("events"), tr("No sensor yet.\nConnect one: its events are listed here."),
            tr("Reading the events…")});
    connectAll();
    filterChanged();
    showChosen();
}

EventsView::~EventsView() = default;

QIcon EventsView::icon(const QString &type) const
{
    return eventIcon(type, m_context.theme, m_context.dictionary, *this);
}

QWidget *EventsView::buildTitleRow()
{
    m_icon = new QLabel;
    m_title = new QLabel;
    m_title->setObjectName(QStringLiteral("eventTitle"));
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_title->setWordWrap(true);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    makeSteps(tr("The event above in the list (P)"), tr("The event below in the list (N)"));
    m_showRun = new QPushButton(tr("Show Run"));
    m_showRun->setObjectName(QStringLiteral("b_eventRun"));
    auto *inPlot = new QPushButton(tr("Show in Live View"));
    inPlot->setObjectName(QStringLiteral("b_eventInPlot"));
    auto *titleRow = new QHBoxLayout;
    titleRow->addWidget(m_icon);
    titleRow->addWidget(m_title, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_previous);
    buttons->addWidget(m_next);
    buttons->addStretch();
    buttons->addWidget(m_showRun);
    buttons->addWidget(inPlot);
    auto *row = new QWidget;
    auto *layout = new QVBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(titleRow);
    layout->addLayout(buttons);
    connect(m_showRun, &QPushButton::clicked, this, [this] { emit viewRequested(SessionViews::Runs); });
    connect(inPlot, &QPushButton::clicked, this, [this] {
        const TimeRange range = around(m_shown.time, aroundShown);
        emit plotRequested(range.from, range.to);
    });
    return row;
}

QWidget *EventsView::buildDetails()
{
    m_waveform = new arcPlotDisplay(m_context.theme);
    m_derived = new arcPlotDisplay(m_context.theme);
    m_around = new arcPlotDisplay(m_context.theme);
    m_waveform->setQuantities(Voltage, Current);
    m_derived->setQuantities(Power, Impedance);
    m_around->setQuantities(Voltage, Current);
    m_waveform->setObjectName(QStringLiteral("waveform"));
    m_derived->setObjectName(QStringLiteral("derived"));
    m_around->setObjectName(QStringLiteral("around"));
    for (arcPlotDisplay *plot : plots())
        plot->toolBar()->hide();
    linkTimes(m_waveform, m_derived);
    linkTimes(m_derived, m_waveform);

    auto *curves = new QSplitter(Qt::Vertical);
    curves->addWidget(m_waveform);
    curves->addWidget(m_derived);
    curves->setStretchFactor(0, 3);
    curves->setStretchFactor(1, 2);
    auto *waveform = new QWidget;
    m_waveformStack = new QStackedLayout(waveform);
    m_noWaveform = new EmptyPage;
    m_waveformStack->addWidget(curves);
    m_waveformStack->addWidget(m_noWaveform);
    auto *parts = new QSplitter(Qt::Vertical);
    parts->addWidget(waveform);
    parts->addWidget(m_around);
    parts->setStretchFactor(0, 5);
    parts->setStretchFactor(1, 2);
    parts->setSizes({500, 240});
    for (QSplitter *splitter : {curves, parts})
        splitter->setChildrenCollapsible(false);
    keepSplitter(curves, m_context.settings, QStringLiteral("views/eventCurvesSplitter"));
    keepSplitter(parts, m_context.settings, QStringLiteral("views/eventPartsSplitter"));

    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(buildTitleRow());
    layout->addWidget(parts, 1);
    auto *details = new QWidget;
    m_detailStack = new QStackedLayout(details);
    m_noEvent = new EmptyPage;
    m_noEvent->show(tr("No event is chosen.\nChoose one in the list, or double-click a marker in the live plot."));
    m_detailStack->addWidget(page);
    m_detailStack->addWidget(m_noEvent);
    return details;
}

void EventsView::linkTimes(arcPlotDisplay *one, arcPlotDisplay *other)
{
    connect(one, &arcPlotDisplay::setCurrentDisplayWindow, this, [other](unsigned int, quint64 from, quint64 to) {
        if (other->visibleRange() != TimeRange{from, to})
            other->setVisibleRange({from, to});
    });
}

void EventsView::connectAll()
{
    connect(m_panel, &RecordPanel::allWanted, this, [this] { m_context.filter.setAllEnabled(true); });
    connect(&m_selection, &SessionSelection::eventSelected, this,
            [this](const QString &sensor, quint64 time, int typeCode) {
                m_wanted = {sensor, time, typeCode};
                chooseWanted();
            });
    connect(m_around, &arcPlotDisplay::eventActivated, &m_selection, &SessionSelection::selectEvent);
    for (arcPlotDisplay *plot : plots())
        followKeys(plot);
    connect(&m_context.theme, &Theme::changed, this, [this] {
        m_model->forgetIcons();
        m_shown = {};
        showChosen();
    });
}

void EventsView::filterChanged()
{
    m_model->setHiddenTypes(hiddenTypes());
    m_around->setEventLooks(eventLooks(m_context));
    showReason();
}

void EventsView::setTimeMode(TimeMode mode)
{
    SessionView::setTimeMode(mode);
    m_model->setTimeMode(mode);
    m_around->setTimeMode(mode);
    m_shown = {};
    showChosen();
}

QImage EventsView::renderImage(qreal scale, Theme::Kind kind)
{
    if (m_shown.time == 0 || m_waveformStack->currentIndex() != 0)
        return SessionView::renderImage(scale, kind);
    int height = 0;
    for (const arcPlotDisplay *plot : plots())
        height += plot->height();
    QImage image(QSize(m_waveform->width(), height) * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    QPainter painter(&image);
    int top = 0;
    for (arcPlotDisplay *plot : plots()) {
        painter.drawImage(QPoint(0, top), plot->renderImage({m_waveform->width(), plot->height()}, scale, kind));
        top += plot->height();
    }
    return image;
}

bool EventsView::isStored(const RecordSet &records, const RecordKey &key) const
{
    return records.findEvent(key.time, key.typeCode) >= 0;
}

QString EventsView::emptyText(QString *) const
{
    return tr("No event yet.\nArcs, pulse events and snapshots are listed here as soon as the sensor reports one.");
}

void EventsView::showChosen()
{
    const int row = m_panel->table()->currentIndex().row();
    const EventRow *event = m_model->eventAt(row);
    m_detailStack->setCurrentIndex(event ? 0 : 1);
    if (!event) {
        m_shown = {};
        for (arcPlotDisplay *plot : plots())
            plot->removeAllSensors();
        return;
    }
    enableSteps(row);
    const RecordKey key = m_model->key(row);
    const SessionRecords::Sensor sensor = m_model->sensorAt(row);
    const EventRow shown = *event;
    const bool inRun = shown.run >= 0 && shown.run < sensor.records->runs.size(); // it may be stored later
    m_showRun->setEnabled(inRun);
    m_showRun->setToolTip(inRun ? tr("Open its run in the runs view") : tr("The event lies in no stored run"));
    if (key == m_shown && m_model->typeName(row) == m_shownType) {
        m_around->setRecords(key.sensor, sensor.records);
        return;
    }
    m_shown = key;
    m_shownType = m_model->typeName(row);
    m_selection.selectEvent(key.sensor, key.time, key.typeCode);
    if (inRun)
        m_selection.selectRun(key.sensor, sensor.records->runs.at(shown.run).record.start);
    m_icon->setPixmap(icon(m_shownType).pixmap(fontMetrics().height()));
    m_title->setText(tr("<b>%1</b> · %2 · %3 V · %4")
                         .arg(m_shownType.toHtmlEscaped(), m_model->timeAxis().moment(shown.time))
                         .arg(shown.amplitude, 0, 'f', 1)
                         .arg(preciseDuration(shown.end - shown.time)));
    showContext(sensor, shown);
    loadWaveform(sensor, shown);
}

void EventsView::showContext(const SessionRecords::Sensor &sensor, const EventRow &event)
{
    m_around->removeAllSensors();
    m_around->addSensor(
        sensor.view.serial, sensor.view.label,
        std::make_shared<RangeSource>(std::make_shared<StoreSource>(sensor.view.store), around(event.time, aroundRead)),
        sensor.view.colour);
    m_around->setRecords(sensor.view.serial, sensor.records);
    m_around->setSections({PlotSection{TimeRange{event.time, event.time}, sensor.records->nameOf(event), {}}});
    m_around->setTimeOrigin(m_model->timeAxis().origin());
    m_around->setFixedRange(around(event.time, aroundShown));
}

void EventsView::loadWaveform(const SessionRecords::Sensor &sensor, const EventRow &event)
{
    m_tasks.cancel();
    m_tasks.start(
        [store = sensor.view.store, key = EventKey{event.time, event.typeCode}](const std::atomic<bool> &) {
            return store->waveform(key);
        },
        [this, sensor, event](const QVector<SamplePoint> &waveform) { showWaveform(sensor, event, waveform); });
}

void EventsView::showWaveform(const SessionRecords::Sensor &sensor, const EventRow &event,
                              const QVector<SamplePoint> &waveform)
{
    m_waveformStack->setCurrentIndex(waveform.isEmpty() ? 1 : 0);
    for (arcPlotDisplay *plot : {m_waveform, m_derived})
        plot->removeAllSensors();
    if (waveform.isEmpty()) {
        m_noWaveform->show(tr("This event has no waveform.\nThe sensor sent none, or its file cannot be read."));
        return;
    }
    const auto source = std::make_shared<WaveformSource>(waveform);
    const auto marks = std::make_shared<const RecordSet>(waveformMarks(waveform, event.peak));
    for (arcPlotDisplay *plot : {m_waveform, m_derived}) {
        plot->addSensor(sensor.view.serial, sensor.view.label, source, sensor.view.colour);
        plot->setRecords(sensor.view.serial, marks);
        // The two plots share their time axis; its title stands below the lower one.
        plot->setTimeZero(event.time, plot == m_derived ? m_model->timeAxis().moment(event.time) : QString());
        plot->setFixedRange({waveform.first().time, waveform.last().time + 1});
    }
    m_waveform->setSections({PlotSection{TimeRange{event.time, event.time}, QString(), {}}});
}
