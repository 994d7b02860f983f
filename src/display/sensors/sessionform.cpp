#include "display/sensors/sessionform.h"

#include "base/prompts.h"
#include "data/norvexdata.h"
#include "data/valuetype.h"
#include "display/look/lowscreen.h"
#include "display/look/theme.h"
#include "display/plot/arcplotdisplay.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/livenumbers.h"
#include "display/sensors/sensorcare.h"
#include "display/sensors/sensorchooser.h"
#include "display/views/eventfilterbox.h"
#include "display/views/sessionviews.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "export/exportdialog.h"
#include "sensor/arcsensor.h"
#include "sensor/sensordialog.h"
#include "session/appsettings.h"
#include "session/recorder.h"
#include "session/session.h"
#include "ui_sessionform.h"

#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int refreshPeriodMs = 200;
constexpr qint64 longestSpan = Q_INT64_C(366) * 86400 * 1000000;
const QString splitterKey = QStringLiteral("form/splitter");
const QString spanKey = QStringLiteral("plot/span");
const QString timeModeKey = QStringLiteral("plot/timeMode");
const QString leftKey = QStringLiteral("plot/leftQuantity");
const QString rightKey = QStringLiteral("plot/rightQuantity");
const QString switchedOffKey = QStringLiteral("form/switchedOff"); // serials of sensors
constexpr int mostSwitchedOff = 200;

} // namespace

SessionForm::SessionForm(const DisplayContext &context, QWidget *parent)
    : QWidget(parent), m_context(context), ui(std::make_unique<Ui::SessionForm>())
{
    ui->setupUi(this);
    const int em = fontMetrics().horizontalAdvance(QLatin1Char('0'));
    const int screenWidth = QGuiApplication::primaryScreen()->availableSize().width();
    ui->sensorColumn->setMinimumWidth(qMin(qBound(240, em * 30, 320), screenWidth * 3 / 10));
    ui->sensorColumn->setMaximumWidth(qMax(320, em * 36));
    // A page that wants more scrolls instead of pushing the window over the edge of a small screen.
    ui->displayStack->setMinimumSize(qMin(em * 56, screenWidth * 6 / 10), fontMetrics().lineSpacing() * 8);
    ui->outerLayout->setStretchFactor(ui->splitter, 1);
    ui->splitter->setStretchFactor(0, 0);
    ui->splitter->setStretchFactor(1, 1);
    m_cardLayout = new QVBoxLayout(ui->sensorList);
    m_cardLayout->setContentsMargins(0, 0, 0, 0);
    m_cardLayout->addStretch();

    auto *live = new QWidget;
    auto *liveLayout = new QVBoxLayout(live);
    liveLayout->setContentsMargins(0, 0, 0, 0);
    m_numbers = new LiveNumbers(m_context.theme);
    m_plot = new arcPlotDisplay(m_context.theme);
    liveLayout->addWidget(m_plot, 1);
    // Where there is no room for both, the plot is what is seen first.
    liveLayout->insertWidget(isLowScreen(fontMetrics()) ? 1 : 0, m_numbers);
    m_views = new SessionViews(m_context, ui->displayStack, live, m_plot, this);

    ui->columnLayout->addWidget(new EventFilterBox(m_context, m_views->records()));
    ui->columnLayout->setStretch(ui->columnLayout->indexOf(ui->sensorArea), 1);

    m_chooser = new SensorChooser;
    for (QWidget *command :
         std::initializer_list<QWidget *>{m_chooser, ui->b_export, ui->b_snapshot, ui->b_viewSummary, ui->b_eventChart,
                                          ui->b_addRuns, ui->b_addEvents, ui->progressBar})
        ui->commandRow->addWidget(command);

    connect(m_chooser, &SensorChooser::chosen, this, &SessionForm::chooseDisplayed);
    connect(ui->b_addSensor, &QPushButton::clicked, this, &SessionForm::addSensor);
    connect(ui->b_export, &QPushButton::released, this, &SessionForm::exportData);
    connect(ui->b_snapshot, &QPushButton::released, this, &SessionForm::triggerSnapshotEvent);
    connect(ui->b_viewSummary, &QPushButton::released, this, &SessionForm::viewSummaryButtonPressed);
    connect(ui->b_eventChart, &QPushButton::released, this, [this] { m_views->request(SessionViews::EventChart); });
    connect(ui->b_addRuns, &QPushButton::released, this, &SessionForm::addVisibleRunsToOverlayTable);
    connect(ui->b_addEvents, &QPushButton::released, this, &SessionForm::addVisibleEventsToOverlayTable);
    connect(&m_context.filter, &eventFilter::newFilter, this, &SessionForm::setCurrentFilter);
    connect(&m_context.dictionary, &eventTypeNames::dictionaryUpdated, this, &SessionForm::typeDictionaryUpdated);
    connect(&m_context.theme, &Theme::changed, this, &SessionForm::typeDictionaryUpdated); // the colours
    connect(&m_context.theme, &Theme::changed, this, &SessionForm::showChooser);
    connect(m_plot, &arcPlotDisplay::timeFrameSelected, this, &SessionForm::plotWindowSelected);
    connect(m_views, &SessionViews::pageRequested, this, &SessionForm::viewRequested);
    connect(m_views, &SessionViews::overlayTableUpdated, this, &SessionForm::overlayTableUpdated);
    connect(m_views, &SessionViews::setCurrentDisplayWindow, this, &SessionForm::setCurrentDisplayWindow);
    connect(m_views, &SessionViews::exportRequested, this, [this] { onDisplayedCard(&dataObjectWidget::exportData); });
    connect(m_views, &SessionViews::thresholdRequested, this,
            [this] { onDisplayedCard(&dataObjectWidget::setRFONThreshold); });
    connect(m_views, &SessionViews::unloadRequested, this, [this] { onDisplayedCard(&dataObjectWidget::unloadData); });
    connect(m_plot, &arcPlotDisplay::setCurrentDisplayWindow, this, &SessionForm::setCurrentDisplayWindow);
    connect(m_plot, &arcPlotDisplay::yieldView, this, &SessionForm::yieldPlotView);
    connect(m_plot, &arcPlotDisplay::returnToNormalMode, this, &SessionForm::returnToNormalView);
    connect(m_plot, &arcPlotDisplay::emptyStateButtonClicked, this, &SessionForm::fillEmptyPlot);
    connect(this, &SessionForm::sensorReconnectSuccessful, this, &SessionForm::finishSensorReconnection);
    connect(this, &SessionForm::sensorRemoved, this, &SessionForm::removeSensorWidget);
    connect(&m_context.session, &Session::sensorAdded, this, &SessionForm::addCard);
    connect(&m_context.session, &Session::sensorRemoved, this, &SessionForm::sensorRemoved);
    connect(&m_context.recorder, &Recorder::sensorReady, this, &SessionForm::sensorReady);
    connect(&m_context.recorder, &Recorder::sensorRefused, this,
            [this](arcSensor *, const QString &reason) { emit problem(reason); });
    connect(&m_context.recorder, &Recorder::sensorDelayed, this,
            [this](arcSensor *, const QString &reason) { emit problem(reason); });
    connect(&m_context.recorder, &Recorder::sensorLocked, this, [this](const QString &serial, const QString &holder) {
        emit problem(tr("Sensor %1 is not recorded here: another program does it (%2).").arg(serial, holder));
    });
    connect(&m_refreshTimer, &QTimer::timeout, this, &SessionForm::tick);

    const QVector<SensorEntry> sensors = m_context.session.sensors();
    for (const SensorEntry &entry : sensors)
        addCard(entry.data->sensorSerial());
    setCurrentFilter(m_context.filter.enabledTypes());
    showEmptyState();
    restoreState();
    setUpdateTimer(true);
}

SessionForm::~SessionForm() = default;

void SessionForm::keepState() const
{
    m_context.settings.setValue(splitterKey, ui->splitter->saveState());
    m_context.settings.setValue(spanKey, m_plot->span());
    m_context.settings.setValue(timeModeKey, int(m_plot->timeMode()));
    m_context.settings.setValue(leftKey, m_plot->leftQuantity());
    m_context.settings.setValue(rightKey, m_plot->rightQuantity());
    QStringList off = m_context.settings.value(switchedOffKey).toStringList();
    for (const dataObjectWidget *card : m_cards) {
        off.removeAll(card->serial());
        if (!card->isDisplayOn())
            off.append(card->serial());
    }
    m_context.settings.setValue(switchedOffKey, QStringList(off.mid(off.size() - mostSwitchedOff)));
}

void SessionForm::restoreState()
{
    const auto number = [this](const QString &key, qint64 fallback, qint64 lowest, qint64 highest) {
        bool ok = false;
        const qint64 value = m_context.settings.value(key, fallback).toLongLong(&ok);
        return ok && value >= lowest && value <= highest ? value : fallback;
    };
    ui->splitter->restoreState(m_context.settings.value(splitterKey).toByteArray());
    m_plot->setSpan(quint64(number(spanKey, qint64(m_plot->span()), 0, longestSpan)));
    m_plot->setTimeMode(TimeMode(number(timeModeKey, int(m_plot->timeMode()), 0, 2)));
    m_plot->setQuantities(
        int(number(leftKey, m_plot->leftQuantity(), 0, valueTypeCount - 1)),
        int(number(rightKey, m_plot->rightQuantity(), arcPlotDisplay::noQuantity, valueTypeCount - 1)));
    const QStringList off = m_context.settings.value(switchedOffKey).toStringList();
    for (const QString &serial : off) {
        if (dataObjectWidget *stored = card(serial))
            stored->displayToggled();
    }
}

void SessionForm::showView(int view)
{
    m_views->show(view);
    if (view != SessionViews::Live)
        return;
    m_plot->jumpToLive();
    if (!m_cards.isEmpty())
        m_plot->setFocus();
}

void SessionForm::setDisplayOnly(bool only)
{
    ui->sensorColumn->setVisible(!only);
    ui->commandRow->setVisible(!only);
}

// --- cards

dataObjectWidget *SessionForm::card(const QString &serial) const
{
    for (dataObjectWidget *card : m_cards) {
        if (card->serial() == serial)
            return card;
    }
    return nullptr;
}

QColor SessionForm::keptColour(const QString &serial) const
{
    const QVector<SensorEntry> sensors = m_context.session.sensors();
    const auto at = std::find_if(sensors.begin(), sensors.end(),
                                 [&serial](const SensorEntry &entry) { return entry.data->sensorSerial() == serial; });
    return at == sensors.end() ? QColor() : QColor(at->colour);
}

dataObjectWidget *SessionForm::displayedSensor() const
{
    return m_displayed.isEmpty() ? nullptr : m_displayed.last();
}

int SessionForm::connectedSensors() const
{
    int connected = 0;
    for (const dataObjectWidget *card : m_cards)
        connected += card->sensor() && card->sensor()->state() > 0 ? 1 : 0;
    return connected;
}

void SessionForm::addCard(const QString &serial)
{
    if (card(serial))
        return;
    const QVector<SensorEntry> sensors = m_context.session.sensors();
    for (const SensorEntry &entry : sensors) {
        if (entry.data->sensorSerial() != serial)
            continue;
        auto *added = new dataObjectWidget(entry.data, m_context.recorder.connectionOf(serial), m_context.prompts,
                                           m_context.settings, m_context.session.path());
        added->setColor(m_context.theme.labelColour(QColor(entry.colour)));
        connect(&m_context.theme, &Theme::changed, added, [this, added, colour = QColor(entry.colour)] {
            if (added->isDisplayOn())
                added->setColor(m_context.theme.labelColour(colour));
        });
        connect(added, qOverload<bool>(&dataObjectWidget::enableDisplay), this, &SessionForm::enableDisplays);
        connect(added, &dataObjectWidget::sensorReconnectionRequest, this, &SessionForm::reconnectSensor);
        connect(added, &dataObjectWidget::sensorRemoveRequest, this, &SessionForm::removeSensor);
        connect(added, &dataObjectWidget::doingUpdate, this, &SessionForm::setUpdateTimer);
        connect(added, &dataObjectWidget::updateDisplay, this, &SessionForm::refreshDisplays);
        connect(added, &dataObjectWidget::setReanalysisFile, this, &SessionForm::switchSavedDataViewMode);
        connect(&m_context.filter, &eventFilter::newFilter, added, &dataObjectWidget::getFilter);
        connect(added, &dataObjectWidget::exportRequested, this,
                [this, added] { exportStore(added, ExportKind::FixedFiles); });
        connect(added, &dataObjectWidget::importExtDataRequested, this, [this, added] {
            SensorCare(this, m_context.prompts, added->store(), m_context.session.path())
                .importTable(m_context.settings);
            refreshDisplays(0);
        });
        connect(added, &dataObjectWidget::reanalysisRequested, this, [this, added] {
            SensorCare care(this, m_context.prompts, added->store(), m_context.session.path());
            const SensorCare::Reanalysed done = care.reanalyse();
            const bool shown = added->store()->showsReanalysis();
            if (done == SensorCare::Reanalysed::Show || (done == SensorCare::Reanalysed::Done && shown))
                added->connectReanalysisFile(); // the new result, when an earlier one is in view
            emit added->updateDisplay(0);
        });
        connect(added, &dataObjectWidget::checkDataDisplayMode, added,
                [added] { added->showDataDisplayMode(added->store()->showsReanalysis()); });
        connect(added, &dataObjectWidget::rfOnThresholdChanged, &m_views->searcher(), &RunSearcher::start);
        connect(added, &dataObjectWidget::problem, this, &SessionForm::problem);
        connect(added, &dataObjectWidget::notice, this, &SessionForm::notice);
        added->getFilter(m_context.filter.enabledTypes());
        m_cards.append(added);
        m_displayed.append(added);
        m_cardLayout->insertWidget(m_cardLayout->count() - 1, added);
        m_plot->addSensor(serial, added->shownName(), entry.data, QColor(entry.colour));
        const auto showConnection = [this, added](bool connected) {
            m_plot->setConnected(added->serial(), connected, added->store()->lastTime());
        };
        showConnection(added->store()->isConnected());
        connect(added, &dataObjectWidget::connectionChanged, this, showConnection);
        m_numbers->addSensor(serial, entry.data, entry.colour);
        break;
    }
    announceSensors();
}

void SessionForm::announceSensors()
{
    QVector<ViewSensor> sensors;
    for (dataObjectWidget *card : qAsConst(m_cards))
        sensors.append(ViewSensor{card->serial(), card->shownName(), card->store(), keptColour(card->serial()),
                                  m_displayed.contains(card)});
    m_views->setSensors(sensors);
    showChooser();
    showEmptyState();
}

void SessionForm::showChooser()
{
    QVector<SensorChooser::Entry> displayed;
    for (dataObjectWidget *card : qAsConst(m_cards)) {
        if (m_displayed.contains(card))
            displayed.append({card->serial(), card->shownName(), m_context.theme.themed(keptColour(card->serial()))});
    }
    m_chooser->setSensors(displayed, displayedSensor() ? displayedSensor()->serial() : QString());
}

/// It becomes the one that was switched on last.
void SessionForm::chooseDisplayed(const QString &serial)
{
    dataObjectWidget *const chosen = card(serial);
    if (chosen && m_displayed.removeAll(chosen) > 0)
        m_displayed.append(chosen);
}

void SessionForm::attachConnections()
{
    for (dataObjectWidget *card : qAsConst(m_cards))
        card->setSensor(m_context.recorder.connectionOf(card->serial()));
}

void SessionForm::sensorReady(arcSensor *sensor, const QString &serial)
{
    addCard(serial);
    if (dataObjectWidget *ready = card(serial)) {
        const bool reconnected = ready->sensor() == nullptr;
        ready->setSensor(sensor);
        if (reconnected)
            emit sensorReconnectSuccessful(serial);
    }
}

void SessionForm::enableDisplays(bool on)
{
    auto *card = qobject_cast<dataObjectWidget *>(sender());
    if (!card)
        return;
    m_displayed.removeAll(card);
    if (on) {
        m_displayed.append(card);
        card->setColor(m_context.theme.labelColour(keptColour(card->serial())));
    }
    m_plot->setSensorVisible(card->serial(), on);
    if (on)
        m_numbers->addSensor(card->serial(), card->store(), keptColour(card->serial()).name());
    else
        m_numbers->removeSensor(card->serial());
    announceSensors();
    refreshDisplays(0);
}

void SessionForm::removeSensor(const QString &sensor)
{
    if (!m_context.prompts.ask(
            this, tr("Warning"), tr("Remove sensor %1 from the session?").arg(sensor),
            {tr("Its recording ends. What was recorded stays on disk in the session's folder."), QString()}))
        return;
    if (arcSensor *connection = m_context.recorder.connectionOf(sensor)) {
        if (dataObjectWidget *known = card(sensor))
            known->disconnectSensor(); // it stays when the last samples cannot be saved
        m_context.recorder.removeConnection(connection);
    }
    bool saved = true;
    if (!m_context.session.removeSensor(sensor, &saved))
        m_context.prompts.warn(this, tr("Warning"), tr("Sensor %1 could not be removed").arg(sensor),
                               {tr("Its last samples cannot be saved, so it stays in the session. Its recording has "
                                   "ended; is the disk full?"),
                                QString()});
    else if (!saved)
        m_context.prompts.warn(this, tr("Warning"),
                               tr("Sensor %1 is removed, but the session cannot be saved").arg(sensor),
                               {tr("The sensor comes back when the session is opened again unless a save succeeds "
                                   "by then; is the disk full?"),
                                QString()});
}

void SessionForm::removeSensorWidget(const QString &sensor)
{
    dataObjectWidget *gone = card(sensor);
    if (!gone)
        return;
    m_cards.removeAll(gone);
    m_displayed.removeAll(gone);
    m_plot->removeSensor(sensor);
    m_numbers->removeSensor(sensor);
    gone->hide();
    gone->deleteLater(); // its own menu may be open
    announceSensors();
}

void SessionForm::showEmptyState()
{
    if (m_cards.isEmpty())
        m_plot->setEmptyState(tr("No sensor yet.\nConnect one to see its voltage, current and arcs here.\n"
                                 "Without a sensor at hand: Help, Try the Simulated Sensor."),
                              tr("Connect To Sensor"));
    else
        m_plot->setEmptyState(QString());
}

void SessionForm::fillEmptyPlot()
{
    if (m_cards.isEmpty()) {
        addSensor();
        return;
    }
    for (dataObjectWidget *card : qAsConst(m_cards)) {
        if (!card->isDisplayOn())
            card->displayToggled();
    }
}

// --- refreshing

void SessionForm::setUpdateTimer(bool running)
{
    // Sensors say this with every page: starting a running timer again would put it off for ever.
    if (running && !m_refreshTimer.isActive())
        m_refreshTimer.start(refreshPeriodMs);
}

void SessionForm::refreshDisplays(quint64)
{
    m_dirty = true;
}

void SessionForm::tick()
{
    m_numbers->refresh();
    if (!m_dirty)
        return;
    m_dirty = false;
    m_plot->markDirty();
    m_views->refresh();
}

void SessionForm::setCurrentFilter(QVector<eventType>)
{
    m_views->filterChanged();
    refreshDisplays(0);
}

void SessionForm::typeDictionaryUpdated()
{
    setCurrentFilter(m_context.filter.enabledTypes());
}

void SessionForm::switchSavedDataViewMode(const QString &file)
{
    auto *card = qobject_cast<dataObjectWidget *>(sender());
    if (!card)
        return;
    SensorCare care(this, m_context.prompts, card->store(), m_context.session.path());
    if (file.isEmpty())
        care.showOriginal();
    else if (!care.showReanalysis())
        card->disconnectReanalysisFile(); // there is nothing to show: back to what is recorded
    m_views->records().readAgain();
}

void SessionForm::setSessionPath(const QString &folder)
{
    for (dataObjectWidget *card : qAsConst(m_cards))
        card->setSessionPath(folder);
}

void SessionForm::plotWindowSelected(quint64 from, quint64 to)
{
    m_views->choosePeriod({from, to});
}

void SessionForm::yieldPlotView()
{
    m_views->request(SessionViews::Events);
}

void SessionForm::returnToNormalView()
{
    m_views->request(SessionViews::Live);
    m_plot->jumpToLive();
}

// --- commands

bool SessionForm::warnWithoutDisplay()
{
    if (displayedSensor())
        return false;
    m_context.prompts.warn(this, tr("Warning"), tr("No sensor is currently being displayed"),
                           {tr("Switch on \"Data display on/off\" on a sensor's card."), QString()});
    return true;
}

void SessionForm::triggerSnapshotEvent()
{
    if (warnWithoutDisplay())
        return;
    arcSensor *sensor = displayedSensor()->sensor();
    if (!sensor || sensor->triggerSnapshot() != PostOutcome::Sent)
        m_context.prompts.warn(
            this, tr("Warning"),
            tr("Sensor %1 is not connected. No snapshot was taken.").arg(displayedSensor()->serial()));
    else
        emit notice(tr("Sensor %1 was asked for a snapshot; it appears among the events as SNAP.")
                        .arg(displayedSensor()->shownName()));
}

// --- views

void SessionForm::viewSummaryButtonPressed()
{
    if (!warnWithoutDisplay())
        m_views->showSummary();
}

void SessionForm::addVisibleRunsToOverlayTable()
{
    if (!warnWithoutDisplay())
        m_views->addToOverlay(true);
}

void SessionForm::addVisibleEventsToOverlayTable()
{
    if (!warnWithoutDisplay())
        m_views->addToOverlay(false);
}

void SessionForm::onDisplayedCard(void (dataObjectWidget::*command)())
{
    if (!warnWithoutDisplay())
        (displayedSensor()->*command)();
}
