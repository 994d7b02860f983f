#pragma once

#include "session/exclusivelock.h"
#include "session/sessioncopy.h"

#include <memory>

class Session;

/// "Save as" of an open session, in two halves. copy() runs on a pool thread while recording goes on; finish() follows
/// in the session's thread and takes a moment: it brings what was saved meanwhile and makes the new folder the
/// session's. When either does not succeed, the session stays where it is and what was made is removed. The old folder
/// keeps its session as it was saved last.
class SaveAs
{
public:
    /// The session must outlive it. `folder` must be empty or new.
    SaveAs(Session &session, const QString &folder);
    ~SaveAs();

    CopyOutcome copy(JobProgress *progress = nullptr);
    CopyOutcome finish();

private:
    bool takeLock();
    bool moveSession();
    CopyOutcome giveUp();

    Session &m_session;
    const QString m_folder;
    std::unique_ptr<SessionCopy> m_copy;
    std::unique_ptr<QLockFile> m_lock;
    bool m_copied = false;
};
