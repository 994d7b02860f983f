#include "bay.h"
#include "scene.h"
#include "simulator/fault.h"

#include <QThread>

#include <algorithm>

// Every fault of the link on every page of a sensor, many sensors at once, beside sensors whose link is good. The
// recording of a sensor must go on soon after its fault has ended, the good ones must never notice, and memory must not
// grow. In the last recording all of them are off and back together.

namespace {

constexpr int healthy = 4;
constexpr int faulty = 20;
constexpr int faultMs = 1500;
constexpr int quietMs = 1000;
constexpr int shortGapMs = 1000; // that a sensor whose link is good may wait, if it does not without any fault
constexpr int longestGapMs = 10000;
constexpr int returnMs = 25000; // as long as the good ones are read; a busy computer has less time for all
constexpr int uploadMs = 400;
constexpr int stepMs = 1000;
constexpr int rate = 50; // samples a second
constexpr qint64 allowedGrowth = 32 << 20;

struct LinkCase
{
    QString plan;
    Compared compared;
    bool changesSamples = false; // their times too, and nothing tells it
    bool changesEvents = false;
};

/// Values that were changed cannot be compared, but their times when those are as they were. What was handed out with
/// other times may be there as something else or not at all, and whatever comes after it may stand on another base; but
/// all that came before and after it has to be there, and no more than the fault can have made up. After a wrong uptime
/// the times may stand on another base, too.
LinkCase caseOf(const QString &page, const QString &when, const QString &fault)
{
    const bool ofAll = page == QLatin1String("all");
    const bool ofEvents = ofAll || page == QLatin1String("events");
    const bool ofSamples = ofAll || page == QLatin1String("data");
    const bool isGarbled = fault == QLatin1String("garble");
    static const QStringList numbers{QStringLiteral("nan"), QStringLiteral("inf"), QStringLiteral("overflow")};
    LinkCase one;
    one.plan = page + QLatin1Char('@') + when + QLatin1Char('=') + fault;
    one.compared.sampleValues = !(ofSamples && numbers.contains(fault));
    one.compared.eventValues = !(ofEvents && numbers.contains(fault));
    one.changesSamples = ofSamples && (isGarbled || fault.startsWith(QLatin1String("times")));
    one.changesEvents = ofEvents && isGarbled;
    one.compared.times = !one.changesSamples && !one.changesEvents && !(isGarbled && page == QLatin1String("status"));
    return one;
}

LinkCase restartCase(const QString &plan)
{
    LinkCase one;
    one.plan = plan;
    one.compared.placed = true;
    return one;
}

QVector<LinkCase> allCases()
{
    QStringList faults{QStringLiteral("204"), QStringLiteral("302"), QStringLiteral("401"), QStringLiteral("404"),
                       QStringLiteral("500")};
    const QStringList help = faultHelp().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : help) {
        const QString name = line.simplified().section(QLatin1Char(' '), 0, 0).section(QLatin1Char('['), 0, 0);
        if (name != QLatin1String("NNN"))
            faults.append(name);
    }
    QVector<LinkCase> cases;
    for (const char *page :
         {"all", "info", "frame", "clear", "status", "data", "events", "config", "recipe", "trigger", "post"}) {
        for (const QString &fault : qAsConst(faults)) {
            for (const char *when : {"*", "30%"})
                cases.append(caseOf(QLatin1String(page), QLatin1String(when), fault));
        }
    }
    // A frame that is never cleared is stored already when the sensor hands it out again after its restart.
    for (const char *plan :
         {"reboot@0.2s", "reboot@0.2s=kept", "reboot@0.1s;reboot@0.7s;reboot@1.2s",
          "reboot@0.1s=kept;reboot@0.7s=kept;reboot@1.2s", "off@0.1s=1s", "off@0.1s=0.2s;off@0.6s=0.2s;off@1s=0.2s",
          "clear@*=reset;reboot@0.6s=kept", "clear@*=500;reboot@0.5s=kept;reboot@1.1s=kept",
          "clear@50%=hang;reboot@0.4s=kept;reboot@1s", "data@50%=delay:150;clear@*=close;reboot@0.7s=kept",
          "data@30%=cut;clear@70%=reset;reboot@0.6s;reboot@1.2s=kept"})
        cases.append(restartCase(QLatin1String(plan)));
    return cases;
}

/// Of the power of the whole bay, the good sensors too.
const LinkCase together = restartCase(QStringLiteral("off@0.1s=1s"));

/// How long the sensors whose link is good wait between one clear and the next.
class GoodSensors
{
public:
    explicit GoodSensors(Bay &bay) : m_bay(bay), m_cleared(healthy, -1), m_since(healthy, 0) { m_timer.start(); }
    void look();
    qint64 longestGapMs() const { return m_longestGapMs; }

private:
    Bay &m_bay;
    QElapsedTimer m_timer;
    QVector<qint64> m_cleared;
    QVector<qint64> m_since;
    qint64 m_longestGapMs = 0;
};

void GoodSensors::look()
{
    for (int i = 0; i < healthy; ++i) {
        m_bay.watch(i).update();
        m_longestGapMs = std::max(m_longestGapMs, m_timer.elapsed() - m_since[i]);
        if (m_bay.watch(i).clearedSamples() != m_cleared[i])
            m_since[i] = m_timer.elapsed();
        m_cleared[i] = m_bay.watch(i).clearedSamples();
    }
}

class LinkRun
{
public:
    explicit LinkRun(const Options &options) : m_options(options), m_score(options) {}
    int run();

private:
    bool batch(int number, QVector<LinkCase> cases, bool ofAll);
    QString faults(Bay &bay, QVector<LinkCase> &cases, bool ofAll);
    QString watchGood(Bay &bay, GoodSensors &good, int ms);
    QString waitForReturn(Bay &bay, GoodSensors &good, const QVector<LinkCase> &cases);
    double countedMs(Bay &bay, qint64 ms);

    const Options &m_options;
    Score m_score;
    int m_batches = 0;
    int m_cases = 0;
    qint64 m_goodCleared = 0;
    qint64 m_allowedGapMs = longestGapMs;
    qint64 m_longestGapMs = 0;
    qint64 m_longestReturnMs = 0;
    qint64 m_mostGrowth = 0;
    qint64 m_highestPeak = 0;
};

int LinkRun::run()
{
    QVector<LinkCase> cases;
    for (const LinkCase &one : allCases()) {
        if (one.plan.contains(m_options.only))
            cases.append(one);
    }
    Chance shuffling(m_options.seed, 0);
    for (int i = cases.size() - 1; i > 0; --i)
        std::swap(cases[i], cases[shuffling.below(i + 1)]);
    const bool endsTogether = together.plan.contains(m_options.only);
    const int single = (cases.size() + faulty - 1) / faulty;
    const int batches = single + (endsTogether ? 1 : 0);
    bool goesOn = true;
    for (int number = m_options.first; goesOn && !m_options.isOver(m_batches); ++number, ++m_batches) {
        if (batches == 0 || (number >= batches && m_options.count >= 0))
            break; // without a count it goes round until the time is up
        const int at = number % batches;
        goesOn = at < single ? batch(number, cases.mid(at * faulty, faulty), false)
                             : batch(number, QVector<LinkCase>(faulty, together), true);
    }
    say(QStringLiteral(
            "link: %1 of %2 faults in %3 recordings, back after %4 ms at most, longest gap of the others %5 ms, "
            "memory grew by %6 KiB at most and by %7 KiB for a moment, %8 failures")
            .arg(m_cases)
            .arg(cases.size() + (endsTogether ? faulty : 0))
            .arg(m_batches)
            .arg(m_longestReturnMs)
            .arg(m_longestGapMs)
            .arg(m_mostGrowth / 1024)
            .arg(m_highestPeak / 1024)
            .arg(m_score.failures()));
    return m_score.failures() > 0 || m_cases == 0 ? 1 : 0;
}

bool LinkRun::batch(int number, QVector<LinkCase> cases, bool ofAll)
{
    Bay::Setup setup;
    setup.sensors = healthy + cases.size();
    setup.rate = rate;
    setup.arcs = 240;
    setup.uploadMs = uploadMs;
    Bay bay(m_options, setup);
    if (!bay.startSensors() || !bay.startRecorder())
        return m_score.failed(number, QStringLiteral("the processes do not start"));
    const bool begun = waitFor(20000, [&] {
        bay.updateWatches();
        for (int i = 0; i < bay.size(); ++i) {
            if (bay.watch(i).clearedSamples() < 50)
                return false;
        }
        return true;
    });
    QString problem = begun ? faults(bay, cases, ofAll) : QStringLiteral("the recording does not begin");
    if (problem.isEmpty() && !bay.endRecorder())
        problem = QStringLiteral("the last save fails");
    if (problem.isEmpty()) {
        QVector<QPair<int, Compared>> all;
        for (int i = 0; i < bay.size(); ++i)
            all.append({i, i >= healthy ? cases.at(i - healthy).compared : ofAll ? together.compared : Compared()});
        problem = bay.judge(all);
        const int sensor = problem.section(QLatin1Char(' '), 1, 1).section(QLatin1Char(':'), 0, 0).toInt();
        if (!problem.isEmpty() && sensor >= healthy)
            problem += QStringLiteral(" with %1").arg(cases.at(sensor - healthy).plan);
    }
    m_cases += cases.size();
    return problem.isEmpty() || m_score.failed(number, problem);
}

QString LinkRun::faults(Bay &bay, QVector<LinkCase> &cases, bool ofAll)
{
    GoodSensors undisturbed(bay); // a busy computer lets them wait, too
    m_allowedGapMs = longestGapMs;
    const QString early = watchGood(bay, undisturbed, quietMs);
    if (!early.isEmpty())
        return early;
    if (!ofAll)
        m_allowedGapMs = std::max<qint64>(shortGapMs, 5 * undisturbed.longestGapMs());
    bay.updateWatches();
    for (int i = 0; i < cases.size(); ++i) {
        cases[i].compared.doubtfulSamples.first = int(bay.watch(healthy + i).clearedSamples());
        cases[i].compared.doubtfulEvents.first = int(bay.watch(healthy + i).clearedEvents());
    }
    const qint64 memory = bay.usage().bytes;
    bay.forgetPeak();
    for (int i = 0; ofAll && i < healthy; ++i)
        bay.setPlan(i, together.plan);
    for (int i = 0; i < cases.size(); ++i)
        bay.setPlan(healthy + i, cases.at(i).plan);
    GoodSensors good(bay);
    const QString problem = watchGood(bay, good, faultMs);
    if (!problem.isEmpty())
        return problem;
    const qint64 peak = bay.usage().peak - memory;
    m_highestPeak = std::max(m_highestPeak, peak);
    if (peak > allowedGrowth)
        return QStringLiteral("memory was %1 KiB more for a moment").arg(peak / 1024);
    for (int i = 0; i < cases.size(); ++i)
        bay.setPlan(healthy + i, QString());
    bay.updateWatches();
    for (int i = 0; i < cases.size(); ++i) {
        Compared &compared = cases[i].compared;
        const LedgerWatch &watch = bay.watch(healthy + i);
        compared.doubtfulSamples.end = cases[i].changesSamples ? int(watch.handedOut()) : 0;
        compared.doubtfulEvents.end = cases[i].changesEvents ? int(watch.handedOutEvents()) : 0;
    }
    const QString late = waitForReturn(bay, good, cases);
    if (!late.isEmpty())
        return late;
    // Events stay in memory until a save has written them, which a busy computer may not have done yet.
    qint64 growth = 0;
    waitFor(returnMs, [&] {
        growth = bay.usage().bytes - memory;
        return growth <= allowedGrowth;
    });
    m_mostGrowth = std::max(m_mostGrowth, growth);
    return growth > allowedGrowth ? QStringLiteral("memory grew by %1 KiB").arg(growth / 1024) : QString();
}

/// Empty when each of the good sensors is told to drop something again and again.
QString LinkRun::watchGood(Bay &bay, GoodSensors &good, int ms)
{
    waitFor(ms, [&] {
        good.look();
        return good.longestGapMs() > m_allowedGapMs || !bay.isRecording();
    });
    m_longestGapMs = std::max(m_longestGapMs, good.longestGapMs());
    if (!bay.isRecording())
        return QStringLiteral("the recorder has ended");
    return good.longestGapMs() > m_allowedGapMs
               ? QStringLiteral("a good sensor was not read for %1 ms").arg(good.longestGapMs())
               : QString();
}

/// Of `ms` since the last call, how much counts: what the good sensors got of it.
double LinkRun::countedMs(Bay &bay, qint64 ms)
{
    qint64 cleared = 0;
    for (int i = 0; i < healthy; ++i)
        cleared += bay.watch(i).clearedSamples();
    const double measured = healthy * rate * double(ms) / 1000;
    const double share = std::min(1.0, double(cleared - m_goodCleared) / std::max(measured, 1.0));
    m_goodCleared = cleared;
    return double(ms) * share;
}

/// Empty when each of the bad sensors is told to drop something that it measured after its fault.
QString LinkRun::waitForReturn(Bay &bay, GoodSensors &good, const QVector<LinkCase> &cases)
{
    bay.updateWatches();
    QVector<qint64> wanted;
    for (int i = healthy; i < bay.size(); ++i)
        wanted.append(bay.watch(i).clearedSamples() + 1);
    for (int i = 0; i < cases.size(); ++i) {
        const Compared::Range &doubtful = cases.at(i).compared.doubtfulSamples;
        wanted[i] = std::max<qint64>(wanted[i], doubtful.end + 1); // beyond doubt
    }
    QElapsedTimer timer;
    timer.start();
    int missing = 0;
    double counted = 0;
    qint64 before = 0;
    countedMs(bay, 0);
    bool back = false;
    waitFor(10 * returnMs, [&] {
        bay.updateWatches();
        good.look();
        const qint64 now = timer.elapsed();
        if (now - before >= stepMs) {
            counted += countedMs(bay, now - before);
            before = now;
        }
        for (missing = 0; missing < wanted.size(); ++missing) {
            if (bay.watch(healthy + missing).clearedSamples() < wanted.at(missing))
                return counted > returnMs || good.longestGapMs() > m_allowedGapMs || !bay.isRecording();
        }
        return back = true;
    });
    m_longestReturnMs = std::max(m_longestReturnMs, timer.elapsed());
    const QString disturbed = watchGood(bay, good, 0);
    if (!disturbed.isEmpty())
        return disturbed;
    return back ? QString() : QStringLiteral("the recording does not go on after %1").arg(cases.at(missing).plan);
}

} // namespace

int runLink(const Options &options)
{
    return LinkRun(options).run();
}
