#include "display/sensors/dataobjectwidget.h"

#include "base/log.h"
#include "base/prompts.h"
#include "data/norvexdata.h"
#include "recipe/reconfiguresensordialog.h"
#include "sensor/arcsensor.h"
#include "sensor/webservice.h"
#include "session/appsettings.h"
#include "ui_dataobjectwidget.h"

#include <QAction>
#include <QFontMetrics>
#include <QMenu>
#include <QMouseEvent>
#include <QShortcut>
#include <QStyle>

namespace {

constexpr int blinkPeriodMs = 200;
constexpr int textPeriodMs = 500;

} // namespace

dataObjectWidget::dataObjectWidget(const std::shared_ptr<norvexData> &store, arcSensor *sensor, Prompts &prompts,
                                   AppSettings &settings, const QString &sessionPath, bool reanalysed, QWidget *parent,
                                   const Clock &clock)
    : QWidget(parent), ui(std::make_unique<Ui::dataObjectWidget>()), m_store(store), m_prompts(prompts),
      m_settings(settings), m_clock(clock),
      m_sessionPath(sessionPath.isEmpty() ? settings.currentSessionPath() : sessionPath)
{
    ui->setupUi(this);
    setAttribute(Qt::WA_StyledBackground);
    // The card is white in every theme, so what stands on it is light as well.
    const auto children = findChildren<QWidget *>();
    for (QWidget *child : children)
        child->setPalette(style()->standardPalette());
    const int light = fontMetrics().height() * 3 / 2;
    ui->status->setFixedSize(light, light);
    ui->progressBar->setFixedHeight(fontMetrics().height() / 2);
    ui->sensorId->setMinimumHeight(fontMetrics().height() * 7 / 4);
    QFont bold = font();
    bold.setBold(true);
    ui->lb_state->setFont(bold);
    ui->sensorId->setText(m_store->sensorSerial());
    ui->chamberId->setText(m_store->chamberSerial());

    buildMenu();
    showDataDisplayMode(reanalysed);

    m_blinkTimer.setInterval(blinkPeriodMs);
    connect(&m_blinkTimer, &QTimer::timeout, this, &dataObjectWidget::toggleConnectionIndicator);
    connect(&m_textTimer, &QTimer::timeout, this, &dataObjectWidget::refreshTexts);
    connect(this, &QWidget::customContextMenuRequested, this, &dataObjectWidget::contextMenu);
    connect(ui->enableDisplay, &QPushButton::clicked, this, &dataObjectWidget::displayToggled);
    connect(ui->b_menu, &QToolButton::clicked, this, [this] { contextMenu(ui->b_menu->geometry().bottomLeft()); });

    auto *shortcut = new QShortcut(QKeySequence(Qt::Key_I, Qt::Key_T), this);
    shortcut->setContext(Qt::ApplicationShortcut);
    // Every card has the same two keys, so with two cards the toolkit only reports the ambiguity, and to one of them.
    const auto showEverywhere = [this] {
        const QList<dataObjectWidget *> cards = window()->findChildren<dataObjectWidget *>();
        for (dataObjectWidget *card : cards)
            card->makeImportExtDataVisible();
        makeImportExtDataVisible();
    };
    connect(shortcut, &QShortcut::activated, this, showEverywhere);
    connect(shortcut, &QShortcut::activatedAmbiguously, this, showEverywhere);

    setColor(QColor(QStringLiteral("#2255ee")));
    m_displayOn = false;
    showDisplayStyle();
    setSensor(sensor);
    updateRecipe();
    m_textTimer.start(textPeriodMs);
    refreshTexts();
}

dataObjectWidget::~dataObjectWidget() = default;

void dataObjectWidget::setSensor(arcSensor *sensor)
{
    if (sensor == m_sensor)
        return;
    if (m_sensor)
        m_sensor->disconnect(this);
    m_sensor = sensor;
    if (m_sensor) {
        connect(m_sensor, &arcSensor::stateChange, this, &dataObjectWidget::setConnectionState);
        connect(m_sensor, &arcSensor::downloadStatus, this, &dataObjectWidget::updateProgressBar);
        connect(m_sensor, &arcSensor::dataUpdated, this, &dataObjectWidget::updateDisplay);
        connect(m_sensor, &arcSensor::configUpdated, this, &dataObjectWidget::updateConfig);
        connect(m_sensor, &arcSensor::recipeUpdated, this, &dataObjectWidget::updateRecipe);
        connect(m_sensor, &arcSensor::statusUpdate, this, &dataObjectWidget::sensorStatus);
        connect(m_sensor, &arcSensor::uploadFinished, this, &dataObjectWidget::uploadFinished);
        connect(m_sensor, &arcSensor::wrongSerial, this, [this](const QString &found) {
            m_lastProblem = tr("Another sensor answers at its address: %1").arg(found);
        });
        if (m_sensor->state() > 0)
            setConnectionState(m_sensor->state());
    }
    updateActions();
    refreshTexts();
}

QString dataObjectWidget::serial() const
{
    return m_store->sensorSerial();
}

QString dataObjectWidget::chamber() const
{
    return m_store->chamberSerial();
}

QString dataObjectWidget::shownName() const
{
    constexpr int longest = 20;
    const auto cut = [](const QString &text) {
        return text.size() > longest ? text.left(longest - 1) + QStringLiteral("…") : text;
    };
    return QStringLiteral("%1 %2").arg(cut(serial()), cut(chamber()));
}

// --- menu

void dataObjectWidget::buildMenu()
{
    m_menu = new QMenu(this);
    m_menu->setToolTipsVisible(true);
    const auto add = [this](const QString &text, void (dataObjectWidget::*slot)(), const QString &name) {
        QAction *action = m_menu->addAction(text);
        action->setObjectName(name);
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    m_reconnectAction =
        add(tr("Reconnect Sensor..."), &dataObjectWidget::reconnectSensor, QStringLiteral("reconnectSensor"));
    m_configureAction = add(tr("Configure..."), &dataObjectWidget::configureSensor, QStringLiteral("configureSensor"));
    m_disconnectAction =
        add(tr("Disconnect from sensor"), &dataObjectWidget::disconnectSensor, QStringLiteral("disconnectSensor"));
    m_importAction =
        add(tr("Import Ext Data..."), &dataObjectWidget::importExtDataRequested, QStringLiteral("importExtData"));
    m_importAction->setVisible(false);
    m_menu->addSeparator();
    m_reanalyseAction =
        add(tr("Reanalyse Event Data"), &dataObjectWidget::reanalyseData, QStringLiteral("reanalyseData"));
    m_reanalysisDisplayAction = add(tr("Reanalysis Display"), &dataObjectWidget::connectReanalysisFile,
                                    QStringLiteral("connectReanalysisFile"));
    m_originalDisplayAction = add(tr("Original Data Display"), &dataObjectWidget::disconnectReanalysisFile,
                                  QStringLiteral("disconnectReanalysisFile"));
    m_reanalysisDisplayAction->setCheckable(true);
    m_originalDisplayAction->setCheckable(true);
    m_menu->addSeparator();
    m_loadAction = add(tr("Load"), &dataObjectWidget::loadRecipe, QStringLiteral("loadRecipe"));
    m_recipeMenu = m_menu->addMenu(tr("Select Active Recipe"));
    connect(m_recipeMenu, &QMenu::aboutToShow, this, &dataObjectWidget::fillRecipeMenu);
    m_menu->addSeparator();
    m_clearAction = add(tr("Clear Sensor Data"), &dataObjectWidget::triggerSensorDataClear,
                        QStringLiteral("triggerSensorDataClear"));
    m_removeAction = add(tr("Remove sensor"), &dataObjectWidget::removeSensor, QStringLiteral("removeSensor"));
}

void dataObjectWidget::updateActions()
{
    const bool connected = m_sensor && m_sensor->state() > 0;
    const auto allow = [](QAction *action, bool allowed, const QString &reason) {
        action->setEnabled(allowed);
        action->setToolTip(allowed ? QString() : reason);
    };
    const QString offline = tr("The sensor is not connected.");
    allow(m_configureAction, connected, offline);
    allow(m_disconnectAction, m_sensor != nullptr, offline);
    allow(m_loadAction, connected, offline);
    if (connected)
        m_loadAction->setToolTip(tr("Load a recipe and send it to the sensor"));
    allow(m_clearAction, connected, offline);
    allow(m_recipeMenu->menuAction(), connected, offline);
}

void dataObjectWidget::contextMenu(QPoint position)
{
    updateActions();
    emit checkDataDisplayMode();
    m_menu->popup(mapToGlobal(position)); // does not wait: the card may be deleted by its own menu
}

// --- connection

void dataObjectWidget::setConnectionState(int state)
{
    const SensorCardPresenter::Change change = m_presenter.setConnectionState(state);
    if (!change.acted)
        return;
    m_blinkTimer.stop();
    if (change.startBlinking)
        m_blinkTimer.start();
    if (change.clearProgress)
        showProgress(0);
    if (!change.light.isEmpty())
        showLight(change.light);
    if (change.markConnection) {
        m_store->setConnected(change.connected);
        emit connectionChanged(change.connected);
    }
    emit doingUpdate(state == 1 || state == 2);
    if (change.markConnection && !change.connected)
        recipesLost();
    if (change.disconnectActively)
        disconnectSensor();
    updateActions();
    refreshTexts();
}

void dataObjectWidget::toggleConnectionIndicator()
{
    showLight(m_presenter.toggleBlink());
}

void dataObjectWidget::showLight(const QString &image)
{
    if (image == m_shownLight)
        return;
    m_shownLight = image;
    ui->status->setStyleSheet(SensorCardPresenter::lightStyle(image));
}

void dataObjectWidget::disconnectSensor()
{
    logDebug(QStringLiteral("ACTIVELY DISCONNECTING SENSOR"));
    m_store->setConnected(false);
    emit connectionChanged(false);
    recipesLost();
    showProgress(0);
    m_presenter.activelyDisconnected();
    if (m_sensor) {
        m_sensor->stop();
        m_blinkTimer.stop();
        showLight(SensorCardPresenter::lightOff());
    }
    emit doingUpdate(false);
    refreshTexts();
}

void dataObjectWidget::reconnectSensor()
{
    emit sensorReconnectionRequest(serial());
}

void dataObjectWidget::removeSensor()
{
    emit sensorRemoveRequest(serial());
}

void dataObjectWidget::sensorStatus(const QString &message)
{
    if (message == QLatin1String("Connected")) {
        m_lastProblem.clear();
    } else if (message == QLatin1String("Connecting")) {
        m_presenter.connecting();
        recipesLost();
        refreshTexts();
    } else if (message == QLatin1String("Disconnected") || message == QLatin1String("Connection timed out")) {
        m_lastProblem = message == QLatin1String("Disconnected") ? tr("The sensor refused or broke the connection.")
                                                                 : tr("The sensor did not answer in time.");
        emit problem(tr("Sensor %1: %2 Stored data are safe; trying again.").arg(serial(), m_lastProblem));
    }
}

void dataObjectWidget::updateProgressBar(int samplesDone, int samplesTotal, int eventsDone, int eventsTotal)
{
    ui->progressBar->setToolTip(SensorCardPresenter::progressTip(samplesDone, samplesTotal, eventsDone, eventsTotal));
    showProgress(SensorCardPresenter::progressValue(samplesDone, samplesTotal));
}

/// A progress bar paints itself at once; many sensors at work would keep the window busy with nothing else.
void dataObjectWidget::showProgress(int value)
{
    if (value == ui->progressBar->value())
        return;
    ui->progressBar->setUpdatesEnabled(false);
    ui->progressBar->setValue(value);
    ui->progressBar->setUpdatesEnabled(true); // painted with everything else
}

void dataObjectWidget::refreshTexts()
{
    const qint64 now = m_clock.utcMs();
    const auto last = static_cast<qint64>(m_store->lastTime() / 1000);
    const qint64 age = last == 0 ? -1 : qMax<qint64>(0, now - last);
    const bool connected = m_sensor && m_sensor->state() > 0;
    const SensorCardPresenter::Word word =
        m_presenter.word(m_sensor != nullptr, m_sensor ? m_sensor->retryRemainingMs() : -1, age, m_lastProblem);
    ui->lb_state->setText(word.text);
    const QString tone = SensorCardPresenter::toneSheet(ui->lb_state->objectName(), word.level);
    if (ui->lb_state->styleSheet() != tone) // costs more than all the rest
        ui->lb_state->setStyleSheet(tone);
    QString tip = word.reason;
    if (m_sensor && m_sensor->usesOldDataPage())
        tip += tr("\nOld data page in use: slot 2 and event counts are not sent.");
    ui->lb_state->setToolTip(tip);
    ui->status->setToolTip(tip);
    const SensorCardPresenter::Age shown = SensorCardPresenter::age(age, connected);
    ui->lb_lastSample->setText(shown.text);
    ui->lb_lastSample->setEnabled(shown.live);
    if (m_sensor)
        updateUiFreq(m_sensor->operatingFrequency());
    m_recipeTold = m_recipeTold && connected;
    showRecipe();
}

// --- configuration

void dataObjectWidget::updateConfig()
{
    refreshTexts();
}

void dataObjectWidget::updateUiFreq(qint32 freq_hz)
{
    const QString text = SensorCardPresenter::frequencyText(freq_hz);
    if (ui->opFreqLbl->text() != text)
        ui->opFreqLbl->setText(text);
}

void dataObjectWidget::configureSensor()
{
    if (!m_sensor)
        return;
    auto *dialog = new reconfigureSensordialog(tr("Configure Sensor"), m_store->configuration(), m_prompts, this);
    dialog->setSubject(tr("Sensor %1, chamber %2").arg(serial(), chamber()));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::ApplicationModal);
    connect(dialog, &reconfigureSensordialog::configUpdated, this, &dataObjectWidget::sensorConfigUpdated);
    dialog->show();
}

void dataObjectWidget::sensorConfigUpdated()
{
    const auto *dialog = qobject_cast<reconfigureSensordialog *>(sender());
    if (!dialog || !m_sensor)
        return;
    if (m_sensor->postConfiguration(dialog->configuration()) == PostOutcome::NotConnected)
        m_prompts.warn(this, tr("Warning"), tr("The sensor is not connected. The configuration was not sent."),
                       {tr("Wait until the light is green and send it again; nothing was changed."), QString()});
}

// --- display

void dataObjectWidget::setColor(QColor colour)
{
    m_colour = colour;
    m_displayOn = true;
    showDisplayStyle();
}

void dataObjectWidget::displayToggled()
{
    m_displayOn = !m_displayOn;
    showDisplayStyle();
    emit enableDisplay(m_displayOn);
}

void dataObjectWidget::showDisplayStyle()
{
    const QString rest = QStringLiteral("border-style: outset; border-width: 2px; border-color: grey;");
    ui->sensorId->setStyleSheet(m_displayOn
                                    ? QStringLiteral("color: white; background-color: %1; ").arg(m_colour.name()) + rest
                                    : QStringLiteral("color: black; background-color: white; ") + rest);
}

void dataObjectWidget::getFilter(QVector<eventType> filter)
{
    m_filter = std::move(filter);
}

void dataObjectWidget::setRFONThreshold()
{
    const auto value = m_prompts.askNumber(this, tr("Set Rfon Threshold value"), tr("Input rfon Threshold value"),
                                           {m_rfOnThreshold, -100000, 100000, 1});
    if (!value)
        return;
    m_rfOnThreshold = *value;
    emit rfOnThresholdChanged(m_rfOnThreshold);
    emit updateDisplay(0);
}

void dataObjectWidget::makeImportExtDataVisible()
{
    m_importAction->setVisible(true);
}

void dataObjectWidget::reanalyseData()
{
    emit reanalysisRequested();
}

void dataObjectWidget::showDataDisplayMode(bool reanalysed)
{
    m_reanalysisDisplayAction->setChecked(reanalysed);
    m_originalDisplayAction->setChecked(!reanalysed);
}

void dataObjectWidget::connectReanalysisFile()
{
    showDataDisplayMode(true);
    emit setReanalysisFile(QStringLiteral("%1/%2/reanalysis.dat").arg(m_sessionPath, m_store->folderName()));
    emit switchToRFON();
}

void dataObjectWidget::disconnectReanalysisFile()
{
    showDataDisplayMode(false);
    emit setReanalysisFile(QString());
    emit switchToRFON();
}

void dataObjectWidget::triggerSensorDataClear()
{
    if (!m_sensor)
        return;
    const QPointer<arcSensor> sensor = m_sensor;
    const bool yes =
        m_prompts.ask(this, tr("Warning"), tr("Clear the data that sensor %1 still holds?").arg(serial()),
                      {tr("What was not downloaded yet is lost. Nothing is deleted on this computer."), QString()});
    if (yes && sensor)
        sensor->clearData();
}

void dataObjectWidget::unloadData()
{
    m_store->unloadIdleBlocks(true);
}

void dataObjectWidget::exportData()
{
    emit exportRequested();
}

void dataObjectWidget::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        displayToggled();
}
