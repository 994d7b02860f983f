#include "scene.h"

#include <QThread>

#include <algorithm>
#include <cerrno>

using filecalls::Action;

// A file call of the recorder fails, once or from then on. Nothing may be lost, nothing may be cleared that is not on
// disk, and when the fault has gone the recorder goes on by itself.

namespace {

constexpr int preloaded = 160;
constexpr int patienceMs = 25000;
constexpr int backMs = 5000; // a save begins every 40 ms, and a sensor is tried again after 100

struct Fault
{
    const char *name;
    Action action;
    int error;
    bool lasting;
};

const Fault faults[] = {
    {"no space, once", Action::Fail, ENOSPC, false},
    {"no space, lasting", Action::Fail, ENOSPC, true},
    {"no room for data, once", Action::Fail, EFBIG, false},
    {"no room for data, lasting", Action::Fail, EFBIG, true},
    {"input/output error, once", Action::Fail, EIO, false},
    {"input/output error, lasting", Action::Fail, EIO, true},
    {"not synced, once", Action::Fail, EDQUOT, false},
    {"not synced, lasting", Action::Fail, EDQUOT, true},
    {"read-only, once", Action::Fail, EROFS, false},
    {"read-only, lasting", Action::Fail, EROFS, true},
    {"no more open files, once", Action::Fail, EMFILE, false},
    {"no more open files, lasting", Action::Fail, EMFILE, true},
    {"short write, once", Action::ShortWrite, 0, false},
    {"short writes, lasting", Action::ShortWrite, 0, true},
    {"interrupted, once", Action::Fail, EINTR, false},
    {"interrupted, lasting", Action::Fail, EINTR, true},
};
constexpr int faultCount = int(sizeof faults / sizeof faults[0]);

class ErrorRun
{
public:
    explicit ErrorRun(const Options &options) : m_options(options), m_score(options) {}
    int run();

private:
    bool oneCase(int number);
    bool tryFault(int number, const Fault &fault, quint64 call, bool ofRecovery, bool *reached);
    static QString rowOf(const Fault &fault, bool ofRecovery);
    QString record(Scene &scene, FileCalls &calls, const Fault &fault, bool killMeanwhile);
    QString goesOn(Scene &scene, int ms);
    bool everyCall();
    /// Without a single fault a run by the clock has shown nothing.
    bool mayStillMeet() const { return m_faults == 0 && m_cases < 50 && m_options.count < 0; }

    const Options &m_options;
    Score m_score;
    int m_cases = 0;
    int m_faults = 0;           // that a call met
    qint64 m_longestBackMs = 0; // from the end of a fault until the sensor is told to drop more
};

int ErrorRun::run()
{
    if (m_options.every) {
        everyCall();
    } else {
        bool goesOn = true;
        for (int number = m_options.first; goesOn && (!m_options.isOver(m_cases) || mayStillMeet()); ++number)
            goesOn = oneCase(number);
    }
    say(QStringLiteral("error: %1 cases, %2 faults met, %3 failures; back after %4 ms at most")
            .arg(m_cases)
            .arg(m_faults)
            .arg(m_score.failures())
            .arg(m_longestBackMs));
    return m_score.failures() > 0 || m_faults == 0 ? 1 : 0;
}

bool ErrorRun::oneCase(int number)
{
    Chance chance(m_options.seed, quint64(number));
    const bool ofRecovery = chance.oneIn(3);
    const quint64 call = 1 + quint64(chance.below(chance.oneIn(2) ? 25 : 120));
    return tryFault(number, faults[chance.below(faultCount)], call, ofRecovery, nullptr);
}

QString ErrorRun::rowOf(const Fault &fault, bool ofRecovery)
{
    return QLatin1String(ofRecovery ? "recovery, " : "recording, ") + QLatin1String(fault.name);
}

/// Every fault at every call of a recording and of a recovery.
bool ErrorRun::everyCall()
{
    for (const bool ofRecovery : {false, true}) {
        for (const Fault &fault : faults) {
            if (!rowOf(fault, ofRecovery).contains(m_options.only))
                continue;
            int missed = 0; // in a row: from one recording to the next the calls differ a little
            for (int call = std::max(1, m_options.first); missed < 3 && !m_options.isOver(m_cases); ++call) {
                bool reached = false;
                if (!tryFault(call, fault, quint64(call), ofRecovery, &reached))
                    return false;
                missed = reached ? 0 : missed + 1;
            }
            say(QStringLiteral("every call of a %1: %2 faults met so far").arg(rowOf(fault, ofRecovery)).arg(m_faults));
        }
    }
    return true;
}

bool ErrorRun::tryFault(int number, const Fault &fault, quint64 call, bool ofRecovery, bool *reached)
{
    ++m_cases;
    Scene scene(m_options);
    // It has been up for 8 s: of one that started in the last few a busy computer cannot tell whether it did so again.
    if (!scene.startSensor({QStringLiteral("--rate"), QStringLiteral("20"), QStringLiteral("--preload"),
                            QStringLiteral("%1,5").arg(preloaded)}))
        return m_score.failed(number, QStringLiteral("the sensor does not start"));
    FileCalls calls(scene.path(QStringLiteral("control")), scene.disk());
    if (ofRecovery) {
        calls.plan(Action::KillAfter, 60);
        scene.startRecorder(&calls);
        if (!scene.waitForDeath(2000))
            scene.killRecorder();
    }
    calls.plan(fault.action, call, fault.error, fault.lasting);
    QString problem = record(scene, calls, fault, call % 2 == 0);
    const bool met = calls.hasActed();
    m_faults += met ? 1 : 0;
    if (reached)
        *reached = met;
    const QString what = calls.what();
    calls.plan(Action::None, 0);
    if (problem.isEmpty()) {
        scene.startRecorder(&calls);
        problem = goesOn(scene, patienceMs);
        if (problem.isEmpty() && !scene.endRecorder())
            problem = QStringLiteral("the last save fails");
        if (problem.isEmpty())
            problem = scene.judge().text;
        if (!problem.isEmpty())
            problem.prepend(QStringLiteral("afterwards, "));
    }
    return problem.isEmpty() ||
           m_score.failed(number,
                          QStringLiteral("%1 at call %2 (%3)%4: %5")
                                  .arg(QLatin1String(fault.name))
                                  .arg(call)
                                  .arg(what, ofRecovery ? QStringLiteral(" of a recovery") : QString(), problem) +
                              scene.said(),
                          m_options.every ? rowOf(fault, ofRecovery) : QString());
}

/// Empty when the sensor is told to drop what it has now and a little more.
QString ErrorRun::goesOn(Scene &scene, int ms)
{
    scene.watch().update();
    const qint64 wanted = std::max<qint64>(preloaded, scene.watch().generated() + 1);
    if (scene.waitForCleared(wanted, ms))
        return {};
    const QProcess &recorder = scene.recorder();
    return recorder.state() == QProcess::NotRunning
               ? QStringLiteral("the recorder has ended, exit code %1").arg(recorder.exitCode())
               : QStringLiteral("the recording does not go on");
}

/// A recording in which the fault comes. A recorder may refuse to open a session that it cannot read or write.
QString ErrorRun::record(Scene &scene, FileCalls &calls, const Fault &fault, bool killMeanwhile)
{
    scene.startRecorder(&calls);
    const auto ended = [&] { return scene.recorder().state() == QProcess::NotRunning; };
    const auto refused = [&] {
        return ended() && scene.recorder().exitStatus() == QProcess::NormalExit && scene.recorder().exitCode() == 3;
    };
    // The calls of the start, of the first frame and of a few saves.
    const auto isBeyond = [&] {
        scene.watch().update();
        return scene.watch().clearedSamples() >= preloaded;
    };
    waitFor(patienceMs, [&] { return calls.hasActed() || ended() || isBeyond(); });
    waitFor(60, [&] { return calls.hasActed() || ended(); });
    if (fault.lasting && calls.hasActed())
        scene.recorder().waitForFinished(250); // time to do something wrong
    const QString meanwhile = scene.judgeMeanwhile().text;
    if (!meanwhile.isEmpty())
        return QStringLiteral("meanwhile, ") + meanwhile;
    if (!ended() && killMeanwhile) {
        scene.killRecorder();
        return scene.judge().text;
    }
    calls.endFault();
    QElapsedTimer back;
    back.start();
    const QString problem = goesOn(scene, backMs);
    if (!problem.isEmpty())
        return refused() ? scene.judge().text : problem;
    m_longestBackMs = std::max(m_longestBackMs, back.elapsed());
    if (!scene.endRecorder())
        return QStringLiteral("the last save fails, exit code %1").arg(scene.recorder().exitCode());
    return scene.judge().text;
}

} // namespace

int runError(const Options &options)
{
    return ErrorRun(options).run();
}
