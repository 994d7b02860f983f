#pragma once

#include <QCoreApplication>
#include <QString>

class Prompts;
class QWidget;
class Session;

/// The session commands that take long, as the user goes through them: folder, names, progress with Cancel, boxes. The
/// work is done by the session floor on threads of its own while sensors go on being recorded. GUI thread.
class SessionCare
{
    Q_DECLARE_TR_FUNCTIONS(SessionCare)

public:
    SessionCare(QWidget *window, Prompts &prompts) : m_window(window), m_prompts(prompts) {}

    /// Asks for a folder with sensor data and makes a session of it. The folder to open; empty when there is none.
    /// `openFolder`, that of the open session, is refused.
    QString recover(const QString &openFolder);
    /// Before the session of `folder` is loaded, whose last save was interrupted and cannot be undone: a box with
    /// `text`, then a repair. What came of it, in words.
    QString recoverDeeper(const QString &folder, const QString &text);
    /// Copies sensor folders of another session, or of the old format, into this one.
    void import(Session &session, bool oldFormat);
    /// Copies the session to another folder and goes on there. False when it stays where it is.
    bool saveAs(Session &session);

private:
    struct ImportReport;
    /// False when no other folder should follow.
    bool importFolder(Session &session, const QString &source, const QString &sensor, const QString &chamber,
                      ImportReport &report);

    QWidget *m_window;
    Prompts &m_prompts;
};
