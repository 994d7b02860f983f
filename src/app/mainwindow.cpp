#include "app/mainwindow.h"

#include "app/aboutdialog.h"
#include "app/appstatusbar.h"
#include "app/demosensor.h"
#include "app/helppages.h"
#include "app/helpwindows.h"
#include "base/log.h"
#include "base/nestedloop.h"
#include "base/prompts.h"
#include "display/look/flowlayout.h"
#include "display/look/theme.h"
#include "display/plot/arcplotdisplay.h"
#include "display/records/sessionview.h"
#include "display/sensors/sessionform.h"
#include "display/views/sessionviews.h"
#include "recipe/recipeform.h"
#include "session/appsettings.h"
#include "session/session.h"

#include <QActionGroup>
#include <QApplication>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QDateTime>
#include <QFileInfo>
#include <QMenuBar>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QScreen>
#include <QShortcut>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QStyle>
#include <QThreadPool>
#include <QUrl>

namespace {

const QString activeView = QStringLiteral("background-color: #CCFFCC; color: black;");
const QString otherView = QStringLiteral("background-color: #D4D4D4; color: black;");
const QString displayOnlyKey = QStringLiteral("window/displayOnly");
const QString recipeWindowKey = QStringLiteral("recipe/window");
constexpr int statusPeriodMs = 1000;
constexpr int endRetryMs = 20;
constexpr double bytesPerSample = 196;
constexpr QSize smallScreen(1000, 600);

/// A window that was left on a larger desktop hangs over the edge of a smaller one otherwise.
QRect insideOf(const QRect &desktop, QRect window)
{
    window.setSize(window.size().boundedTo(desktop.size()));
    window.moveRight(qMin(window.right(), desktop.right()));
    window.moveBottom(qMin(window.bottom(), desktop.bottom()));
    window.moveTopLeft(QPoint(qMax(window.left(), desktop.left()), qMax(window.top(), desktop.top())));
    return window;
}

QString timeModeText(TimeMode mode)
{
    switch (mode) {
    case TimeMode::Utc:
        return QCoreApplication::translate("mainwindow", "Times in UTC");
    case TimeMode::Local:
        return QCoreApplication::translate("mainwindow", "Local times");
    case TimeMode::Elapsed:
        break;
    }
    return QCoreApplication::translate("mainwindow", "Elapsed times");
}

/// On the disk of a folder that may not be there yet.
qint64 bytesAvailable(QString folder)
{
    while (!QFileInfo::exists(folder) && QFileInfo(folder).path() != folder)
        folder = QFileInfo(folder).path();
    return QStorageInfo(folder).bytesAvailable();
}

} // namespace

MainWindow::MainWindow(const Parts &parts, QWidget *parent) : QMainWindow(parent), m_parts(parts)
{
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(QStringLiteral("Norvex - RF Event Detector"));
    m_recent = m_parts.settings.recentSessions();
    buildMenus();
    setMenuWidget(buildViewRow());
    m_status = new AppStatusBar;
    setStatusBar(m_status);
    restoreWindow();
    connect(&m_statusTimer, &QTimer::timeout, this, &MainWindow::refreshStatus);
    m_statusTimer.start(statusPeriodMs);
    updateOverlayButtons(0, 0);
    changeView(m_parts.settings.value(QStringLiteral("window/view"), 0).toInt());
}

MainWindow::~MainWindow()
{
    closeSession();
}

// --- menus and rows

QAction *MainWindow::command(QMenu *menu, const QString &text, void (MainWindow::*slot)(), const QString &objectName,
                             const QKeySequence &key)
{
    QAction *action = menu->addAction(text);
    action->setObjectName(objectName);
    action->setShortcut(key);
    connect(action, &QAction::triggered, this, slot);
    return action;
}

void MainWindow::buildMenus()
{
    auto *bar = new QMenuBar;
    bar->setObjectName(QStringLiteral("menuBar"));
    setMenuBar(bar);
    QMenu *file = bar->addMenu(tr("&File"));
    command(file, tr("Load Session ..."), &MainWindow::loadSession, QStringLiteral("actionLoadSession"),
            QKeySequence::Open);
    command(file, tr("Create Session ..."), &MainWindow::createSession, QStringLiteral("actionCreateSession"),
            QKeySequence::New);
    command(file, tr("Start New Empty Session"), &MainWindow::startNewEmptySession,
            QStringLiteral("actionStartNewEmptySession"));
    m_recentMenu = file->addMenu(tr("Recent Sessions"));
    m_recentMenu->setObjectName(QStringLiteral("menuRecentSessions"));
    connect(m_recentMenu, &QMenu::triggered, this, &MainWindow::reloadSession);
    command(file, tr("Save Current Session As ..."), &MainWindow::saveSessionAs, QStringLiteral("actionSaveSessionAs"));
    command(file, tr("Recover Session"), &MainWindow::recoverSession, QStringLiteral("actionRecoverSession"));
    file->addSeparator();
    command(file, tr("Import Data"), &MainWindow::importData, QStringLiteral("actionImportData"));
    command(file, tr("Import Data Old Format..."), &MainWindow::importOldData, QStringLiteral("actionImportOldData"));
    command(file, tr("Export Data"), &MainWindow::exportData, QStringLiteral("actionExportData"));
    auto *choice = new QShortcut(QKeySequence(Qt::CTRL + Qt::Key_E), this); // as the button: CSV or picture
    connect(choice, &QShortcut::activated, this, [this] {
        if (m_form)
            m_form->exportData();
    });
    file->addSeparator();
    command(file, tr("Quit"), &MainWindow::quit, QStringLiteral("actionQuit"), QKeySequence::Quit);

    QMenu *recipe = bar->addMenu(tr("&Recipe"));
    command(recipe, tr("Open Recipe Configuration"), &MainWindow::openRecipeWindow, QStringLiteral("actionOpenRecipe"));

    QMenu *view = bar->addMenu(tr("&View"));
    auto *themes = new QActionGroup(view);
    const auto addTheme = [&](const QString &text, Theme::Kind kind) {
        QAction *action = view->addAction(text);
        action->setCheckable(true);
        action->setChecked(m_parts.theme.kind() == kind);
        themes->addAction(action);
        connect(action, &QAction::triggered, this, [this, kind] {
            m_parts.theme.setKind(kind);
            m_parts.settings.setValue(QStringLiteral("window/theme"), Theme::kindText(kind));
        });
    };
    addTheme(tr("Theme of the System"), Theme::Kind::System);
    addTheme(tr("Light Theme"), Theme::Kind::Light);
    addTheme(tr("Dark Theme"), Theme::Kind::Dark);
    view->addSeparator();
    m_displayOnly = view->addAction(tr("Display Only"));
    m_displayOnly->setObjectName(QStringLiteral("actionDisplayOnly"));
    m_displayOnly->setCheckable(true);
    m_displayOnly->setShortcut(Qt::Key_F11);
    m_displayOnly->setToolTip(tr("Give the display the room of the sensor column and of the command buttons"));
    m_displayOnly->setChecked(m_parts.settings.value(displayOnlyKey).toBool());
    connect(m_displayOnly, &QAction::toggled, this, [this](bool only) {
        m_parts.settings.setValue(displayOnlyKey, only);
        if (m_form)
            m_form->setDisplayOnly(only);
    });

    QMenu *help = bar->addMenu(tr("&Help"));
    command(help, tr("User Guide"), &MainWindow::displayUserGuide, QStringLiteral("actionUserGuide"));
    command(help, tr("Help for This Window"), &MainWindow::helpHere, QStringLiteral("actionHelpHere"),
            QKeySequence::HelpContents);
    command(help, tr("Try the Simulated Sensor"), &MainWindow::tryDemoSensor, QStringLiteral("actionTrySimulator"));
    command(help, tr("Keyboard Shortcuts"), &MainWindow::showShortcuts, QStringLiteral("actionShortcuts"));
    command(help, tr("Create Support File ..."), &MainWindow::createSupportFile, QStringLiteral("actionSupportFile"));
    help->addSeparator();
    command(help, tr("Licences"), &MainWindow::showLicences, QStringLiteral("actionLicences"));
    command(help, tr("About"), &MainWindow::about, QStringLiteral("actionAbout"));
    rebuildRecentMenu();
}

QWidget *MainWindow::buildViewRow()
{
    auto *row = new QWidget;
    auto *outer = new QVBoxLayout(row);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    outer->addWidget(menuBar());
    auto *buttons = new FlowLayout(nullptr, 0);
    buttons->setContentsMargins(6, 6, 6, 6);
    m_viewButtons = new QButtonGroup(this);
    const QStringList names = {tr("Live View"), tr("Runs View"), tr("Events View"), tr("Runs Overlay (0000)"),
                               tr("Events Overlay (0000)")};
    for (int id = 0; id < names.size(); ++id) {
        auto *button = new QPushButton(names.at(id));
        button->setObjectName(QStringLiteral("b_view%1").arg(id));
        button->setMinimumWidth(fontMetrics().horizontalAdvance(names.at(id)) + fontMetrics().averageCharWidth() * 4);
        button->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_1 + id));
        button->setToolTip(tr("%1 (Ctrl+%2)").arg(names.at(id).section(QLatin1String(" ("), 0, 0)).arg(id + 1));
        m_viewButtons->addButton(button, id);
        buttons->addWidget(button);
    }
    outer->addLayout(buttons);
    connect(m_viewButtons, QOverload<int>::of(&QButtonGroup::idClicked), this, &MainWindow::changeView);
    return row;
}

void MainWindow::changeView(int view)
{
    m_view = view >= 0 && view <= SessionViews::EventChart ? view : 0; // summary and chart have no button in the row
    const QList<QAbstractButton *> buttons = m_viewButtons->buttons();
    for (QAbstractButton *button : buttons)
        button->setStyleSheet(m_viewButtons->id(button) == m_view ? activeView : otherView);
    if (m_form)
        m_form->showView(m_view);
}

void MainWindow::updateOverlayButtons(int runs, int events)
{
    m_viewButtons->button(3)->setText(tr("Runs Overlay (%1)").arg(runs, 4, 10, QLatin1Char('0')));
    m_viewButtons->button(4)->setText(tr("Events Overlay (%1)").arg(events, 4, 10, QLatin1Char('0')));
    m_viewButtons->button(3)->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_4)); // a new text drops the key
    m_viewButtons->button(4)->setShortcut(QKeySequence(Qt::CTRL + Qt::Key_5));
}

// --- closing

/// A key that nothing else takes is the view's, wherever the focus is: somebody who points at a plot expects that.
void MainWindow::keyPressEvent(QKeyEvent *event)
{
    SessionView *const view = m_form ? m_form->views().view(m_form->views().current()) : nullptr;
    QWidget *const receiver = view ? static_cast<QWidget *>(view) : m_form ? m_form->plot() : nullptr;
    if (!receiver || m_passingKey) { // it comes back when the view does not take it
        QMainWindow::keyPressEvent(event);
        return;
    }
    const QScopedValueRollback<bool> passing(m_passingKey, true);
    QCoreApplication::sendEvent(receiver, event);
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (NestedLoop::isAnyRunning()) { // what waits in it still needs its windows
        event->ignore();
        return;
    }
    if (!m_ending && !mayStopDownloads(tr("Sensors are being recorded. Close the program?"))) {
        event->ignore();
        return;
    }
    const bool saved = closeSession();
    writeSettings();
    event->accept();
    if (!saved && !m_ending) // the status bar goes with the window
        m_parts.prompts.warn(this, tr("Warning"), tr("The last save of %1 was not complete.").arg(m_path),
                             {tr("Is the disk full or write protected?\n%1").arg(whereTheRestIs()), QString()});
}

// --- commands

void MainWindow::exportData()
{
    if (m_form)
        m_form->exportDisplayed();
}

void MainWindow::connectTo(const QString &address, quint16 port, const QString &chamber)
{
    QString holder;
    if (m_recorder && m_recorder->addSensor(address, port, chamber, &holder) == Recorder::AddOutcome::LockedByOther)
        m_status->addProblem(tr("%1:%2 is being recorded by another program (%3)").arg(address).arg(port).arg(holder));
}

// --- help and recipes

void MainWindow::displayUserGuide()
{
    const QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/NorvexGuide.pdf");
    if (QFileInfo::exists(path))
        m_parts.prompts.openUrl(QUrl::fromLocalFile(path));
    else
        m_parts.prompts.warn(this, tr("Open User Guide"), tr("Unable to find User Guide\nPlease check Install Folder."),
                             {path, QString()});
}

void MainWindow::helpHere()
{
    QWidget *const focus = QApplication::focusWidget();
    helppages::showFor(focus && focus->window() == this ? focus : this, m_parts.prompts);
}

void MainWindow::showLicences()
{
    helppages::showLicences(this, m_parts.prompts);
}

void MainWindow::showHelp(const QUrl &url)
{
    logDebug(QStringLiteral("URL passed to MainWindow::showHelp():") + url.toString());
    m_parts.prompts.openUrl(url);
}

void MainWindow::openRecipeWindow()
{
    if (m_recipeForm) {
        m_recipeForm->raise();
        m_recipeForm->activateWindow();
        return;
    }
    m_recipeForm = new RecipeForm(m_parts.prompts, m_parts.recipes, this);
    m_recipeForm->setAttribute(Qt::WA_DeleteOnClose);
    m_recipeForm->setWindowModality(Qt::ApplicationModal); // no session changes under it
    connect(m_recipeForm, &RecipeForm::recipeSaved, this,
            [this](const QString &path) { m_parts.settings.addRecentRecipe(path); });
    m_recipeForm->restoreWindow(m_parts.settings.value(recipeWindowKey).toByteArray());
    connect(m_recipeForm, &QDialog::finished, this,
            [this] { m_parts.settings.setValue(recipeWindowKey, m_recipeForm->windowState()); });
    m_recipeForm->show();
}

void MainWindow::tryDemoSensor()
{
    if (m_demoSensor && m_demoSensor->isRunning()) {
        m_parts.prompts.inform(this, tr("Try the Simulated Sensor"), tr("The simulated sensor is running already."));
        return;
    }
    delete m_demoSensor;
    m_demoSensor = new DemoSensor(this);
    connect(m_demoSensor, &DemoSensor::listening, this,
            [this](const QString &address, quint16 port) { connectTo(address, port, tr("Simulated")); });
    connect(m_demoSensor, &DemoSensor::failed, m_status, [this](const QString &reason) {
        const QString text = tr("The simulated sensor did not start: %1").arg(reason);
        m_status->addProblem(text);
        m_status->showMessage(text);
    });
    if (!m_demoSensor->start())
        m_parts.prompts.warn(this, tr("Try the Simulated Sensor"), tr("Unable to find ") + DemoSensor::programPath(),
                             {tr("Please check the installation."), QString()});
}

void MainWindow::showShortcuts()
{
    helpwindows::showShortcuts(this);
}

void MainWindow::createSupportFile()
{
    SupportFacts facts;
    facts.program = QStringLiteral("norvex ") + AboutDialog::versionText();
    facts.sessionFolder = m_path;
    facts.logFile =
        QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/norvex.log");
    facts.settings = &m_parts.settings.store();
    facts.problems = m_status->problems();
    helpwindows::createSupportFile(this, m_parts.prompts, facts);
}

void MainWindow::about()
{
    auto *dialog = new AboutDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::ApplicationModal);
    dialog->show();
}

void MainWindow::quit()
{
    close();
}

void MainWindow::endNow()
{
    m_ending = true;
    if (NestedLoop::isAnyRunning()) {
        if (QWidget *inFront = QApplication::activeModalWidget())
            inFront->close();
        QTimer::singleShot(endRetryMs, this, &MainWindow::endNow);
        return;
    }
    close();
}

// --- settings and status

void MainWindow::rememberSession()
{
    m_recent = AppSettings::withRecentSession(m_recent, m_path);
    m_parts.settings.setCurrentSessionPath(m_path);
    m_parts.settings.setRecentSessions(m_recent);
    rebuildRecentMenu();
    m_status->setSession(m_path);
}

void MainWindow::writeSettings()
{
    m_parts.settings.setCurrentSessionPath(m_path);
    m_parts.settings.setRecentSessions(m_recent);
    m_parts.settings.setValue(QStringLiteral("window/geometry"), saveGeometry());
    m_parts.settings.setValue(QStringLiteral("window/view"), m_view);
}

void MainWindow::restoreWindow()
{
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    resize(qMin(1400, screen.width() * 9 / 10), qMin(900, screen.height() * 9 / 10));
    if (screen.width() < smallScreen.width() || screen.height() < smallScreen.height())
        setWindowState(Qt::WindowMaximized); // every line counts
    // Where a first window goes the desktop knows best.
    if (!restoreGeometry(m_parts.settings.value(QStringLiteral("window/geometry")).toByteArray()))
        return;
    const int title = style()->pixelMetric(QStyle::PM_TitleBarHeight);
    const QRect desktop = QGuiApplication::primaryScreen()->availableVirtualGeometry().adjusted(0, title, 0, 0);
    if (!isMaximized() && !isFullScreen())
        setGeometry(insideOf(desktop, geometry()));
}

void MainWindow::rebuildRecentMenu()
{
    m_recentMenu->clear();
    for (const QString &folder : m_recent.mid(0, AppSettings::recentSessionsShown)) {
        const bool current = folder == m_path;
        const QString text = current ? tr("%1 (current session)").arg(folder) : folder;
        QAction *action = m_recentMenu->addAction(QString(text).replace(u'&', QStringLiteral("&&")));
        action->setData(folder);
        action->setEnabled(!current);
    }
    if (m_recent.isEmpty())
        m_recentMenu->addAction(tr("No session was opened yet"))->setEnabled(false);
}

void MainWindow::refreshStatus()
{
    if (!m_session)
        return;
    m_status->setSaved(m_session->hasUnsavedData(), m_session->lastSaveMs(), QDateTime::currentMSecsSinceEpoch());
    double bytes = 0;
    quint64 eventPoints = 0;
    const QVector<SensorEntry> sensors = m_session->sensors();
    for (const SensorEntry &entry : sensors) {
        const double waveforms = double(entry.data->eventCount()) * entry.data->configuration().eventPoints;
        bytes += (double(entry.data->sampleCount()) + waveforms) * bytesPerSample;
        eventPoints += entry.data->configuration().eventPoints;
    }
    if (eventPoints != m_eventPoints) // what was counted before was counted with others
        m_rate = {};
    m_eventPoints = eventPoints;
    m_rate.note(QDateTime::currentMSecsSinceEpoch(), bytes);
    askFreeSpace();
    m_status->setSensors(m_form->connectedSensors(), sensors.size());
    m_status->setTimeMode(timeModeText(m_form->plot()->timeMode()));
}

/// On a thread of the pool: a folder of a computer that does not answer must not hold up the window.
void MainWindow::askFreeSpace()
{
    if (m_isAskingSpace)
        return;
    m_isAskingSpace = true;
    QThreadPool::globalInstance()->start([window = QPointer<MainWindow>(this), folder = m_path, application = qApp] {
        const qint64 bytes = bytesAvailable(folder);
        const auto show = [window, folder, bytes] {
            if (window) {
                window->m_isAskingSpace = false;
                if (folder == window->m_path)
                    window->m_status->setDisk(bytes, window->m_rate.bytesPerHour());
            }
        };
        QMetaObject::invokeMethod(application, show, Qt::QueuedConnection);
    });
}
