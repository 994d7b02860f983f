#pragma once

#include <QMutex>
#include <QThread>

class Session;

/// Saves a session every 10 s when a store holds unsaved data, and once more on its way out. Runs from construction to
/// destruction; the destructor releases the stop lock and waits for the last save without limit. Construct and destroy
/// it on the same thread and with no lock held.
class savingThread final : public QThread
{
    Q_OBJECT

public:
    explicit savingThread(Session *session, QObject *parent = nullptr, int periodMs = 10000);
    ~savingThread() override;

    /// One save check. May be called directly; two never overlap.
    void saveSession();

signals:
    void savingProgress(int percent); // reserved; the periodic check does not emit it

protected:
    void run() override;

private:
    Session *const m_session; // not owned; nullptr: nothing is ever saved
    QMutex m_saveLock;        // held for a whole save check
    QMutex m_stopLock;        // held by the owner until destruction; waiting for it is the period
    const int m_period;
};
