#include "app/mainwindow.h"

#include "app/aboutdialog.h"
#include "app/appstatusbar.h"
#include "app/demosensor.h"
#include "app/helppages.h"
#include "app/helpwindows.h"
#include "app/sessioncare.h"
#include "base/jobdialog.h"
#include "base/jobprogress.h"
#include "base/log.h"
#include "base/nestedloop.h"
#include "base/prompts.h"
#include "display/arcplotdisplay.h"
#include "display/flowlayout.h"
#include "display/sessionform.h"
#include "display/theme.h"
#include "recipe/recipeform.h"
#include "session/appsettings.h"
#include "session/session.h"

#include <QActionGroup>
#include <QApplication>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QUrl>

namespace {

const QString activeView = QStringLiteral("background-color: #CCFFCC; color: black;");
const QString otherView = QStringLiteral("background-color: #D4D4D4; color: black;");
const QString recipeWindowKey = QStringLiteral("recipe/window");
constexpr int statusPeriodMs = 1000;
constexpr int endRetryMs = 20;
constexpr int noticeMs = 8000;
constexpr double bytesPerSample = 196;

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

} // namespace

MainWindow::MainWindow(const Parts &parts, QWidget *parent) : QMainWindow(parent), m_parts(parts)
{
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(QStringLiteral("Norvex - RF Event Detector"));
    setWindowIcon(QIcon(QStringLiteral(":/images/Images/norvex.svg")));
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
    m_view = qMax(0, view); // summary and chart have no button in the row
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

// --- opening and closing

bool MainWindow::openSession(const QString &path)
{
    if (NestedLoop::isAnyRunning())
        return false;
    const QString folder = Session::folderOf(path);
    if (m_session && QFileInfo(folder).canonicalFilePath() == QFileInfo(m_path).canonicalFilePath()) {
        m_status->showMessage(tr("This session is open already."), noticeMs);
        return true;
    }
    SessionError error;
    QString recovered;
    std::unique_ptr<Session> loaded = loadAside(folder, FailedRestore::Stop, &error);
    if (error.kind == SessionError::RestoreFailed) {
        recovered = SessionCare(this, m_parts.prompts).recoverDeeper(folder, error.text);
        error = {};
        loaded = loadAside(folder, FailedRestore::GoOn, &error);
    }
    if (!loaded) {
        if (error.kind == SessionError::Cancelled)
            return false;
        const QString text =
            error.kind == SessionError::MissingFile
                ? tr("Could not locate file at directory:%1\n%2").arg(folder, tr("FAILED TO LOAD SESSION"))
                : tr("FAILED TO LOAD SESSION");
        m_parts.prompts.warn(this, tr("FAILED TO LOAD SESSION"), text,
                             {error.text + tr("\nThe session that was open is still open.") +
                                  (error.kind == SessionError::Unreadable
                                       ? tr("\n\"Recover Session\" makes a session of what can be read.")
                                       : QString()),
                              QString()});
        return false;
    }
    adopt(std::move(loaded));
    if (!recovered.isEmpty())
        m_status->addProblem(recovered);
    return true;
}

// On a thread of its own: the open session goes on recording meanwhile.
std::unique_ptr<Session> MainWindow::loadAside(const QString &folder, FailedRestore failedRestore, SessionError *error)
{
    std::unique_ptr<Session> loaded;
    runJob(this, tr("Loading %1").arg(QDir(folder).dirName()), [&](JobProgress &job) {
        job.begin(tr("Loading the session"), 0);
        const auto progress = [&job](int done, int total, const QString &name) {
            if (job.total() != total)
                job.begin(tr("Loading the session"), total);
            job.advance(done - job.done());
            job.setName(name);
            return !job.isCancelled();
        };
        loaded = Session::load(folder, error, progress, systemClock(), failedRestore);
        if (loaded)
            loaded->moveToThread(QCoreApplication::instance()->thread());
    });
    return loaded;
}

bool MainWindow::openOrCreate(const QString &path)
{
    const QString folder = Session::folderOf(path);
    if (Session::holdsSession(folder))
        return openSession(folder);
    SessionError error;
    std::unique_ptr<Session> session = Session::create(folder, &error);
    if (!session) {
        m_parts.prompts.warn(this, tr("FAILED TO LOAD SESSION"), tr("FAILED TO LOAD SESSION"), {error.text, QString()});
        return false;
    }
    adopt(std::move(session));
    return true;
}

void MainWindow::openLastSession()
{
    const QString last = m_parts.settings.currentSessionPath();
    if (!last.isEmpty() && QFileInfo::exists(last + QLatin1Char('/') + Session::fileName()) && openSession(last))
        return;
    startEmptySession();
}

bool MainWindow::startEmptySession()
{
    QString parent = m_parts.newSessionFolder;
    if (parent.isEmpty())
        parent =
            QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) + QStringLiteral("/Norvex Sessions");
    const QString name = QDateTime::currentDateTime().toString(QStringLiteral("'Session_'yyyy_MM_dd_HHmmss"));
    SessionError error;
    std::unique_ptr<Session> session = Session::create(parent + QLatin1Char('/') + name, &error);
    if (!session) {
        m_parts.prompts.warn(this, tr("Warning"), tr("Unable to start a new session"), {error.text, QString()});
        return false;
    }
    adopt(std::move(session));
    return true;
}

void MainWindow::adopt(std::unique_ptr<Session> session)
{
    closeSession();
    m_session = std::move(session);
    m_path = m_session->path();
    rememberSession(); // before the form: its cards read where they live from the settings
    m_recorder = std::make_unique<Recorder>(m_session.get(), m_parts.recorder);
    m_form = new SessionForm({*m_session, *m_recorder, m_parts.prompts, m_parts.settings, m_parts.theme, m_parts.filter,
                              m_parts.dictionary});
    connect(m_form, &SessionForm::overlayTableUpdated, this, &MainWindow::updateOverlayButtons);
    connect(m_form, &SessionForm::viewRequested, this, &MainWindow::changeView);
    connect(m_form, &SessionForm::problem, m_status, &AppStatusBar::addProblem);
    connect(m_form, &SessionForm::notice, m_status,
            [this](const QString &text) { m_status->showMessage(text, noticeMs); });
    connect(m_session.get(), &Session::moved, this, &MainWindow::sessionMoved);
    setCentralWidget(m_form);
    const QStringList problems = m_session->loadProblems();
    for (const QString &problem : problems)
        m_status->addProblem(problem);
    updateOverlayButtons(0, 0);
    m_recorder->connectAll();
    m_form->attachConnections();
    m_form->showView(m_view);
    refreshStatus();
}

// The order matters: connections stop before the last save, the form goes before what it shows, the session goes last.
void MainWindow::closeSession()
{
    if (!m_session)
        return;
    m_status->showMessage(tr("Saving session..."));
    m_status->repaint();
    m_form->keepState();
    m_recorder->stopConnections();
    delete m_form;
    m_form = nullptr;
    if (!m_recorder->stop())
        m_status->addProblem(tr("The last save of %1 was not complete. What the sensors still hold is downloaded again "
                                "when the session is opened.")
                                 .arg(m_path));
    m_recorder.reset();
    m_session.reset();
    m_status->clearMessage();
}

bool MainWindow::mayStopDownloads(const QString &question)
{
    return !m_form || m_form->connectedSensors() == 0 || m_parts.prompts.ask(this, tr("Warning"), question);
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
    closeSession();
    writeSettings();
    event->accept();
}

// --- session commands

void MainWindow::loadSession()
{
    const QString file = m_parts.prompts.openFile(this, tr("Load a session file"), QFileInfo(m_path).path(),
                                                  tr("Norvex Session file (*.norvex_session *.dat)"));
    if (!file.isEmpty())
        openSession(QFileInfo(file).absolutePath());
}

void MainWindow::createSession()
{
    const QString folder = m_parts.prompts.chooseFolder(this, tr("Create Session"), QFileInfo(m_path).path());
    if (folder.isEmpty())
        return;
    if (QFileInfo::exists(folder + QLatin1Char('/') + Session::fileName())) {
        m_parts.prompts.warn(this, tr("Warning"), tr("There is a session in this folder already:") + folder,
                             {tr("Choose another folder, or open that session with \"Load Session ...\"."), QString()});
        return;
    }
    SessionError error;
    std::unique_ptr<Session> session = Session::create(folder, &error);
    if (!session || !session->save()) {
        m_parts.prompts.warn(this, tr("Warning"), tr("Unable to create a session in the folder:") + folder,
                             {error.text + tr("\nThe session that was open is still open."), QString()});
        return;
    }
    adopt(std::move(session));
}

void MainWindow::startNewEmptySession()
{
    if (mayStopDownloads(tr("Stop the running downloads and start a new session?")))
        startEmptySession();
}

void MainWindow::reloadSession(QAction *action)
{
    const QString folder = action->data().toString();
    if (!folder.isEmpty())
        openSession(folder);
}

void MainWindow::importData()
{
    if (m_session)
        SessionCare(this, m_parts.prompts).import(*m_session, false);
}

void MainWindow::importOldData()
{
    if (m_session)
        SessionCare(this, m_parts.prompts).import(*m_session, true);
}

void MainWindow::saveSessionAs()
{
    if (m_session)
        SessionCare(this, m_parts.prompts).saveAs(*m_session); // sessionMoved() follows
}

void MainWindow::sessionMoved(const QString &folder)
{
    m_path = folder;
    rememberSession();
    m_form->setSessionPath(folder);
    refreshStatus();
}

void MainWindow::recoverSession()
{
    const QString folder = SessionCare(this, m_parts.prompts).recover(m_path);
    if (!folder.isEmpty() && mayStopDownloads(tr("Stop the running downloads and open the recovered session?")))
        openSession(folder);
}

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
        m_status->addProblem(tr("The simulated sensor did not start: %1").arg(reason));
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
    restoreGeometry(m_parts.settings.value(QStringLiteral("window/geometry")).toByteArray());
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
    double samplesPerHour = 0;
    const QVector<SensorEntry> sensors = m_session->sensors();
    for (const SensorEntry &entry : sensors) {
        const quint64 first = entry.data->firstTime();
        const quint64 last = entry.data->lastTime();
        if (entry.data->isConnected() && last > first + 1000000)
            samplesPerHour +=
                static_cast<double>(entry.data->sampleCount()) * 3.6e9 / static_cast<double>(last - first);
    }
    m_status->setDisk(QStorageInfo(m_path).bytesAvailable(), samplesPerHour * bytesPerSample);
    m_status->setSensors(m_form->connectedSensors(), sensors.size());
    m_status->setTimeMode(timeModeText(m_form->plot()->timeMode()));
}
