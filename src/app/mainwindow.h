#pragma once

#include "app/recordingrate.h"
#include "display/look/displaycontext.h"
#include "recipe/recipeform.h"
#include "session/recorder.h"

#include <QMainWindow>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <memory>

class AppStatusBar;
class DemoSensor;
class Session;
struct SessionError;
class QAction;
class QButtonGroup;
class QMenu;
class QUrl;
class SessionForm;

/// The main window, "Norvex - RF Event Detector": owns the open session and the form that shows it, offers the session
/// commands, switches views, and remembers the current and recent sessions. A session is loaded completely aside before
/// it takes the place of the open one, which stays open when that fails. GUI thread.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// What the window is made of, made by main and outliving it.
    struct Parts
    {
        Prompts &prompts;
        AppSettings &settings;
        Theme &theme;
        ::eventFilter &filter; // not QObject::eventFilter()
        eventTypeNames &dictionary;
        Recorder::Options recorder;
        QString newSessionFolder; // where sessions started empty are made; empty: in the documents folder
        RecipeForm::Places recipes = RecipeForm::Places::ofUser();
    };

    explicit MainWindow(const Parts &parts, QWidget *parent = nullptr);
    ~MainWindow() override;

    /// Opens the session of a folder or session file. On failure the fixed box is shown and nothing changes.
    bool openSession(const QString &path);
    /// Opens the last session again, without a box when that is not possible, or starts an empty one.
    void openLastSession();
    /// The same for a folder given on the command line, which becomes a session when it is none yet.
    bool openOrCreate(const QString &path);
    bool startEmptySession();
    /// Adds a sensor to the open session and connects to it.
    void connectTo(const QString &address, quint16 port, const QString &chamber);

    /// Saves and closes without asking, for a system that wants the program to end.
    void endNow();

    SessionForm *form() const { return m_form; }
    const QString &sessionPath() const { return m_path; }

public slots:
    void loadSession();
    void createSession();
    void startNewEmptySession();
    void importData();
    void importOldData();
    void exportData();
    void saveSessionAs();
    void recoverSession();
    void reloadSession(QAction *action);
    void displayUserGuide();
    void helpHere();
    void showLicences();
    void showHelp(const QUrl &url);
    void openRecipeWindow();
    void tryDemoSensor();
    void showShortcuts();
    void createSupportFile();
    void about();
    void quit();
    void changeView(int view);
    void updateOverlayButtons(int runs, int events);

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void buildMenus();
    QWidget *buildViewRow();
    void restoreWindow();
    QAction *command(QMenu *menu, const QString &text, void (MainWindow::*slot)(), const QString &objectName,
                     const QKeySequence &key = {});

    std::unique_ptr<Session> loadAside(const QString &folder, FailedRestore failedRestore, SessionError *error);
    void adopt(std::unique_ptr<Session> session);
    /// False when its last save was not complete.
    bool closeSession();
    static QString whereTheRestIs();
    bool mayStopDownloads(const QString &question);
    void rememberSession();
    void writeSettings();
    void rebuildRecentMenu();
    void refreshStatus();
    void askFreeSpace();
    void sessionMoved(const QString &folder);

    const Parts m_parts;
    QString m_path;
    QStringList m_recent;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<Recorder> m_recorder;
    SessionForm *m_form = nullptr;

    QButtonGroup *m_viewButtons = nullptr;
    QWidget *m_plotTools = nullptr; // the tool bar of the plot in view
    QMenu *m_recentMenu = nullptr;
    QAction *m_displayOnly = nullptr;
    AppStatusBar *m_status = nullptr;
    QTimer m_statusTimer;
    RecordingRate m_rate;
    quint64 m_eventPoints = 0; // of all sensors; m_rate counts with them
    bool m_isAskingSpace = false;
    QPointer<RecipeForm> m_recipeForm;
    DemoSensor *m_demoSensor = nullptr;
    int m_view = 0;
    bool m_passingKey = false;
    bool m_ending = false;
};
