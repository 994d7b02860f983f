#include "scene.h"

#include <QThread>

#include <algorithm>

using filecalls::Action;

// The recorder is killed, again and again, at any moment and at chosen file calls; recovery from that too. After each
// kill the session must open and hold everything that the sensor was told to forget, once.

namespace {

constexpr int preloaded = 160;
constexpr int drainMs = 20000;

const QStringList busySensor{
    QStringLiteral("--rate"),       QStringLiteral("400"),   QStringLiteral("--arcs"),         QStringLiteral("1500"),
    QStringLiteral("--run-length"), QStringLiteral("0.7"),   QStringLiteral("--pause-length"), QStringLiteral("0.3"),
    QStringLiteral("--preload"),    QStringLiteral("400,12")};
const QStringList quietSensor{QStringLiteral("--rate"), QStringLiteral("20"), QStringLiteral("--preload"),
                              QStringLiteral("%1,5").arg(preloaded)};

QString nameOf(Action action)
{
    return action == Action::KillBefore  ? QStringLiteral("before")
           : action == Action::KillAfter ? QStringLiteral("after")
                                         : QStringLiteral("in the middle of");
}

class KillRun
{
public:
    explicit KillRun(const Options &options) : m_options(options), m_score(options) {}
    int run();

private:
    bool atAnyMoment(int number, Chance &chance);
    bool atFileCalls(int number, Chance &chance);
    bool everyCall();
    bool atCall(Scene &scene, FileCalls &calls, Action action, quint64 call);
    QString recovers(Scene &scene, const FileCalls *calls);
    int report() const;

    const Options &m_options;
    Score m_score;
    int m_cases = 0;
    int m_kills = 0; // of a recorder that was running
    int m_callKills = 0;
};

int KillRun::run()
{
    if (m_options.every) {
        everyCall();
        return report();
    }
    bool goesOn = true;
    for (int number = m_options.first; goesOn && !m_options.isOver(m_cases); ++number) {
        Chance chance(m_options.seed, quint64(number));
        goesOn = number % 2 == 0 || m_options.real ? atAnyMoment(number, chance) : atFileCalls(number, chance);
        ++m_cases;
    }
    return report();
}

int KillRun::report() const
{
    say(QStringLiteral("kill: %1 cases, %2 kills of a running recorder, %3 of them at a file call, %4 failures")
            .arg(m_cases)
            .arg(m_kills)
            .arg(m_callKills)
            .arg(m_score.failures()));
    return m_score.failures() > 0 || m_kills == 0 ? 1 : 0;
}

/// Empty when a new recorder goes on with the session, empties the sensor and ends with a complete save.
QString KillRun::recovers(Scene &scene, const FileCalls *calls)
{
    scene.startRecorder(calls);
    scene.watch().update();
    if (!scene.waitForCleared(std::max<qint64>(preloaded, scene.watch().clearedSamples() + 1), drainMs))
        return scene.recorder().state() == QProcess::Running
                   ? QStringLiteral("the recording does not go on")
                   : QStringLiteral("the recorder has ended, exit code %1").arg(scene.recorder().exitCode());
    if (!scene.endRecorder())
        return QStringLiteral("the last save fails");
    return scene.judge().text;
}

/// Ten kills of the recorder of one busy sensor.
bool KillRun::atAnyMoment(int number, Chance &chance)
{
    Scene scene(m_options);
    if (!scene.startSensor(busySensor))
        return m_score.failed(number, QStringLiteral("the sensor does not start"));
    const int longest = m_options.real ? 12000 : 400;
    for (int i = 0; i < 10 && !m_options.isOver(m_cases); ++i) {
        scene.startRecorder();
        QThread::msleep(ulong(chance.oneIn(3) ? chance.below(60) : chance.below(longest)));
        m_kills += scene.killRecorder() ? 1 : 0;
        const Verdict verdict = scene.judge();
        if (!verdict.ok())
            return m_score.failed(number,
                                  QStringLiteral("after kill %1: %2").arg(i + 1).arg(verdict.text) + scene.said());
    }
    const QString problem = recovers(scene, nullptr);
    return problem.isEmpty() || m_score.failed(number, problem + scene.said());
}

/// Kills a recorder at one file call. False when it ended or idled before it came to that.
bool KillRun::atCall(Scene &scene, FileCalls &calls, Action action, quint64 call)
{
    calls.plan(action, call);
    scene.startRecorder(&calls);
    scene.watch().update();
    // The calls of a save or two and, when it was not killed until then, of its end.
    if (scene.waitForCleared(std::max<qint64>(preloaded, scene.watch().clearedSamples() + 1), drainMs) &&
        !scene.recorder().waitForFinished(60))
        scene.endRecorder();
    const bool killed = calls.hasActed() && scene.recorder().exitStatus() == QProcess::CrashExit;
    m_kills += killed ? 1 : 0;
    m_callKills += killed ? 1 : 0;
    return killed;
}

Action someKill(Chance &chance)
{
    const Action kills[] = {Action::KillBefore, Action::KillMiddle, Action::KillAfter};
    return kills[chance.below(3)];
}

/// A kill at some file call of a recording, then one at some file call of the recovery, then nothing more.
bool KillRun::atFileCalls(int number, Chance &chance)
{
    Scene scene(m_options);
    if (!scene.startSensor(quietSensor))
        return m_score.failed(number, QStringLiteral("the sensor does not start"));
    FileCalls calls(scene.path(QStringLiteral("control")), scene.disk());
    QString story;
    for (int round = 0; round < 2; ++round) {
        const Action action = someKill(chance);
        const int writes = action == Action::KillMiddle ? 4 : 1; // every so many calls
        const bool killed = atCall(scene, calls, action, 1 + quint64(chance.below((round == 0 ? 220 : 120) / writes)));
        if (killed)
            story += QStringLiteral("killed %1 %2; ").arg(nameOf(action), calls.what());
        const Verdict verdict = scene.judge();
        if (!verdict.ok())
            return m_score.failed(number, story + verdict.text + scene.said());
    }
    calls.plan(Action::None, 0);
    const QString problem = recovers(scene, &calls);
    return problem.isEmpty() || m_score.failed(number, story + problem + scene.said());
}

/// Every call of a recording, then every call of a recovery, before, in the middle of and after it.
bool KillRun::everyCall()
{
    for (const bool ofRecovery : {false, true}) {
        for (const Action action : {Action::KillBefore, Action::KillMiddle, Action::KillAfter}) {
            const QString row = QLatin1String(ofRecovery ? "recovery, " : "recording, ") + nameOf(action);
            if (!row.contains(m_options.only))
                continue;
            int missed = 0; // in a row: from one recording to the next the calls differ a little
            for (int call = std::max(1, m_options.first); missed < 3 && !m_options.isOver(m_cases); ++call, ++m_cases) {
                Scene scene(m_options);
                FileCalls calls(scene.path(QStringLiteral("control")), scene.disk());
                if (!scene.startSensor(quietSensor))
                    return m_score.failed(call, QStringLiteral("the sensor does not start"), row);
                Chance chance(m_options.seed, quint64(call));
                if (ofRecovery)
                    atCall(scene, calls, Action::KillAfter, 30 + quint64(chance.below(90)));
                missed = atCall(scene, calls, action, quint64(call)) ? 0 : missed + 1;
                const QString what =
                    QStringLiteral("killed %1 call %2, %3: ").arg(nameOf(action)).arg(call).arg(calls.what());
                QString problem = scene.judge().text;
                calls.plan(Action::None, 0);
                if (problem.isEmpty())
                    problem = recovers(scene, &calls);
                if (!problem.isEmpty() && !m_score.failed(call, what + problem + scene.said(), row))
                    return false;
            }
            say(QStringLiteral("every call of a %1: %2 kills at file calls so far").arg(row).arg(m_callKills));
        }
    }
    return true;
}

} // namespace

int runKill(const Options &options)
{
    return KillRun(options).run();
}
