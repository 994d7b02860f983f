#include "app/appstatusbar.h"
#include "app/mainwindow.h"
#include "app/sessioncare.h"
#include "base/jobdialog.h"
#include "base/jobprogress.h"
#include "base/log.h"
#include "base/nestedloop.h"
#include "base/prompts.h"
#include "display/sensors/sessionform.h"
#include "session/appsettings.h"
#include "session/session.h"

#include <QAction>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {
constexpr int noticeMs = 8000;
} // namespace

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
    if (NestedLoop::isAnyRunning())
        return false;
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
    m_rate = {};
    rememberSession(); // before the form: its cards read where they live from the settings
    m_recorder = std::make_unique<Recorder>(m_session.get(), m_parts.recorder);
    m_form = new SessionForm({*m_session, *m_recorder, m_parts.prompts, m_parts.settings, m_parts.theme, m_parts.filter,
                              m_parts.dictionary});
    m_form->setDisplayOnly(m_displayOnly->isChecked());
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
bool MainWindow::closeSession()
{
    if (!m_session)
        return true;
    m_status->showMessage(tr("Saving session..."));
    m_status->repaint();
    m_form->keepState();
    m_recorder->stopConnections();
    delete m_form;
    m_form = nullptr;
    const bool saved = m_recorder->stop();
    if (!saved)
        m_status->addProblem(tr("The last save of %1 was not complete. %2").arg(m_path, whereTheRestIs()));
    m_recorder.reset();
    m_session.reset();
    m_status->clearMessage();
    return saved;
}

QString MainWindow::whereTheRestIs()
{
    return tr("The session's journal keeps what it could still write of the rest, and the next opening of the session "
              "takes it from there. What the sensors still hold is downloaded again.");
}

bool MainWindow::mayStopDownloads(const QString &question)
{
    return !m_form || m_form->connectedSensors() == 0 ||
           m_parts.prompts.ask(this, tr("Warning"), question,
                               {tr("Everything received is saved. What the sensors measure meanwhile they keep as long "
                                   "as their memory holds it."),
                                QString()});
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
    if (NestedLoop::isAnyRunning())
        return;
    const QString folder = m_parts.prompts.chooseNewFolder(this, tr("Create Session"), QFileInfo(m_path).path());
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
    if (NestedLoop::isAnyRunning())
        return;
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
    if (NestedLoop::isAnyRunning())
        return;
    const QString folder = SessionCare(this, m_parts.prompts).recover(m_path);
    if (!folder.isEmpty() && mayStopDownloads(tr("Stop the running downloads and open the recovered session?")))
        openSession(folder);
}
