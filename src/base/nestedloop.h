#pragma once

/// Marks a stretch of code that runs an event loop inside an event: a box, a dialog that is waited for, a job. Windows
/// below it are still needed when it returns, so whoever wants to delete them waits until none is left. GUI thread; a
/// local variable.
class NestedLoop
{
public:
    NestedLoop() { ++s_running; }
    ~NestedLoop() { --s_running; }
    NestedLoop(const NestedLoop &) = delete;
    NestedLoop &operator=(const NestedLoop &) = delete;

    static bool isAnyRunning() { return s_running > 0; }

private:
    static inline int s_running = 0;
};

/// dialog.exec(), marked.
template <typename Dialog>
int execNested(Dialog &dialog)
{
    const NestedLoop nested;
    return dialog.exec();
}
