#include "data/datanames.h"
#include "data/indexfile.h"
#include "data/storefiles.h"
#include "lostpower.h"
#include "scene.h"

#include <QDir>
#include <QThread>

#include <algorithm>

using filecalls::Action;

// A recording's file calls are written down and played back up to some moment, at which the computer loses power. What
// a disk may then hold must open as a session with everything that the sensor had been told to forget by then, once.

namespace {

constexpr int drainMs = 60000;
constexpr int lossesPerRecording = 400;

/// Of each sensor of a session folder that has one, the index or its backup can be read to its end.
bool hasWholeIndex(const QString &session)
{
    const QStringList folders = QDir(session).entryList({QStringLiteral("*-*")}, QDir::Dirs);
    return !folders.isEmpty() && std::all_of(folders.begin(), folders.end(), [&session](const QString &folder) {
        const QString index = session + QLatin1Char('/') + folder + QLatin1Char('/') + datanames::indexFile();
        const QStringList paths{index, storefiles::backupPath(index)};
        return std::any_of(paths.begin(), paths.end(), [](const QString &path) {
            QFile file(path);
            return file.open(QIODevice::ReadOnly) && indexfile::read(file.readAll()).complete;
        });
    });
}

class PowerRun
{
public:
    explicit PowerRun(const Options &options) : m_options(options), m_score(options) {}
    int run();

private:
    bool recording(int number);
    QString record(Scene &scene, FileCalls &calls, Chance &chance);
    QString playBack(Scene &scene, LostPower &disk, Chance &chance);
    QString lose(const LostPower &disk, const ClearHistory &history, const QString &target, LostPower::Fate fate,
                 Chance &chance);

    const Options &m_options;
    Score m_score;
    int m_recordings = 0;
    int m_losses = 0;
    bool m_indexKept = false; // in this recording, whatever was lost
};

int PowerRun::run()
{
    bool goesOn = true;
    for (int number = m_options.first; goesOn && !m_options.isOver(m_recordings); ++number, ++m_recordings)
        goesOn = recording(number);
    say(QStringLiteral("power: %1 recordings, %2 power losses, %3 failures")
            .arg(m_recordings)
            .arg(m_losses)
            .arg(m_score.failures()));
    return m_score.failures() > 0 || m_losses == 0 ? 1 : 0;
}

/// One recording and its power losses. Half of them go on with a session whose recorder was killed.
bool PowerRun::recording(int number)
{
    Chance chance(m_options.seed, quint64(number));
    Scene scene(m_options);
    const int preload = number % 8 == 7 ? 10300 : 100 + chance.below(400);
    const QString amount = QStringLiteral("%1,%2").arg(preload).arg(3 + chance.below(12));
    if (!scene.startSensor({QStringLiteral("--rate"), QStringLiteral("100"), QStringLiteral("--arcs"),
                            QStringLiteral("300"), QStringLiteral("--preload"), amount}))
        return m_score.failed(number, QStringLiteral("the sensor does not start"));
    if (chance.oneIn(2)) {
        FileCalls killing(scene.path(QStringLiteral("killing")), scene.disk());
        killing.plan(Action::KillAfter, 40 + quint64(chance.below(120)));
        scene.startRecorder(&killing);
        if (!scene.waitForDeath(3000))
            scene.killRecorder();
    }
    LostPower disk(scene.session());
    FileCalls calls(scene.path(QStringLiteral("control")), scene.disk(), scene.path(QStringLiteral("trace")));
    QString problem = record(scene, calls, chance);
    if (problem.isEmpty())
        problem = playBack(scene, disk, chance);
    return problem.isEmpty() || m_score.failed(number, problem + scene.said());
}

QString PowerRun::record(Scene &scene, FileCalls &calls, Chance &chance)
{
    calls.plan(Action::None, 0);
    scene.watch().update();
    const qint64 enough = scene.watch().generated() + 5;
    scene.startRecorder(&calls);
    if (!scene.waitForCleared(enough, drainMs))
        return QStringLiteral("the recording does not go on");
    QThread::msleep(ulong(50 + chance.below(200)));
    if (!scene.endRecorder())
        return QStringLiteral("the last save fails");
    scene.stopSensor();
    return scene.judge().text;
}

/// Plays the calls to random moments, in order, and loses power at each.
QString PowerRun::playBack(Scene &scene, LostPower &disk, Chance &chance)
{
    ClearHistory history;
    QString problem;
    if (!history.read(scene.ledger(), &problem))
        return problem;
    const QVector<TracedCall> trace = readTrace(scene.path(QStringLiteral("trace")));
    const int clearsBefore = history.clears() - int(std::count_if(trace.begin(), trace.end(), [](const TracedCall &c) {
                                 return c.op == filecalls::Op::Clear;
                             }));
    if (clearsBefore < 0)
        return QStringLiteral("the ledger knows fewer clears than were sent");
    history.forgetFirst(clearsBefore);
    m_indexKept = false;
    QVector<int> moments;
    for (int i = 0; i < lossesPerRecording; ++i)
        moments.append(chance.below(trace.size() + 1));
    std::sort(moments.begin(), moments.end());
    const QString target = scene.path(QStringLiteral("after"));
    int next = 0;
    for (const int moment : qAsConst(moments)) {
        while (next < moment)
            disk.apply(trace.at(next++));
        const int fate = chance.below(8);
        problem = lose(disk, history, target, fate < 3 ? LostPower::Fate(fate) : LostPower::Fate::Mixed, chance);
        if (!problem.isEmpty())
            return QStringLiteral("power lost after call %1 of %2, %3").arg(moment).arg(trace.size()).arg(problem);
        if (m_options.seconds >= 0 && m_options.started.elapsed() > qint64(m_options.seconds) * 1000)
            break;
    }
    return {};
}

/// Writes what the disk may hold, opens it as the program would, and compares; then opens it once more.
QString PowerRun::lose(const LostPower &disk, const ClearHistory &history, const QString &target, LostPower::Fate fate,
                       Chance &chance)
{
    QDir(target).removeRecursively();
    if (!disk.writeTo(target, fate, chance))
        return QStringLiteral("(cannot write %1)").arg(target);
    ++m_losses;
    // The files would make a new index, but without the order and the choices that only the old one knows.
    const bool wholeIndex = hasWholeIndex(target);
    m_indexKept = m_indexKept || (wholeIndex && fate == LostPower::Fate::NothingKept);
    if (m_indexKept && !wholeIndex)
        return QStringLiteral("neither an index nor its backup is whole, fate %1").arg(int(fate));
    const LedgerSnapshot ledger = history.after(disk.clears());
    if (!Session::holdsSession(target))
        return disk.clears() == 0 ? QString() : QStringLiteral("there is no session any more");
    for (const char *time : {"first", "second"}) {
        SessionError error;
        const std::unique_ptr<Session> session = Session::load(target, &error);
        if (!session)
            return QStringLiteral("the session does not open: %1").arg(error.text);
        const Verdict verdict = compare(*session, ledger);
        if (!verdict.ok())
            return QStringLiteral("%1 opening, fate %2: %3").arg(QLatin1String(time)).arg(int(fate)).arg(verdict.text);
    }
    return {};
}

} // namespace

int runPower(const Options &options)
{
    return PowerRun(options).run();
}
