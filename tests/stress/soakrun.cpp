#include "bay.h"
#include "scene.h"

#include <QThread>

#include <algorithm>

// Many sensors for hours of accelerated time, with faults now and then. What the recorder needs stays the same, no
// sensor waits long, and at the end everything is there.

namespace {

constexpr int sensors = 64;
constexpr double speed = 60; // an hour in a minute
constexpr qint64 longestGapMs = 25000;
constexpr double blocksHours = 2 * 10000 / 3600.0; // two blocks of every sensor, at a sample a second
constexpr qint64 momentMs = 2000;
constexpr int spareFiles = 80; // a connection comes and goes
const QString faults = QStringLiteral("all@0.1%=reset;all@0.05%=hang;data@0.2%=close-body;frame@0.2%=garbage;"
                                      "clear@0.2%=reset-after;clear@0.2%=close-after;status@0.1%=500;"
                                      "events@1%=reset;all@0.1%=delay:300");

class SoakRun
{
public:
    explicit SoakRun(const Options &options) : m_options(options), m_score(options), m_bay(options, setup()) {}
    int run();

private:
    static Bay::Setup setup();
    QString watch();
    QString look(Chance &chance);
    QString lookAtGaps();
    double shareOfTime();
    double hours() const { return double(m_timer.elapsed()) * speed / 3600000; }
    double meanBytes(double from, double to) const;
    QString memoryGrowth() const;
    QString memoryByHour() const;

    const Options &m_options;
    Score m_score;
    Bay m_bay;
    QElapsedTimer m_timer;
    double m_hours = 0;
    qint64 m_seconds = qint64(24 * 3600 / speed);
    Bay::Usage m_first;
    Bay::Usage m_last;
    QVector<QPair<double, qint64>> m_bytes; // hour, resident
    QVector<QString> m_moment = QVector<QString>(sensors);
    QVector<qint64> m_read = QVector<qint64>(sensors, -1);
    QVector<qint64> m_since = QVector<qint64>(sensors, 0);
    QVector<double> m_gapMs = QVector<double>(sensors, 0); // as the time counts
    qint64 m_nextMomentMs = 0;
    qint64 m_lookedMs = 0;
    qint64 m_anyReadMs = 0;
    qint64 m_allRead = 0;
    qint64 m_longestWaitMs = 0; // by the clock
    double m_longestGapMs = 0;
};

Bay::Setup SoakRun::setup()
{
    Bay::Setup setup;
    setup.sensors = sensors;
    setup.rate = 1;
    setup.arcs = 0; // at this speed even rare arcs would come by the hundred a second; runs are events enough
    setup.speed = speed;
    return setup;
}

int SoakRun::run()
{
    QString problem = m_bay.startSensors() && m_bay.startRecorder() ? watch() : QStringLiteral("nothing starts");
    m_hours = hours();
    if (!problem.isEmpty())
        m_score.failed(0, problem);
    problem = m_bay.endRecorder() ? QString() : QStringLiteral("the last save fails");
    Compared withoutTimes;
    withoutTimes.times = false;
    QVector<QPair<int, Compared>> all;
    qint64 samples = 0;
    for (int i = 0; i < sensors; ++i) {
        all.append({i, withoutTimes});
        samples += m_bay.watch(i).clearedSamples();
    }
    if (problem.isEmpty())
        problem = m_bay.judge(all);
    if (!problem.isEmpty())
        m_score.failed(0, problem);
    say(QStringLiteral("soak: MiB resident in each hour:") + memoryByHour());
    say(QStringLiteral("soak: %1 sensors for %2 hours of their time, %3 samples, %4 threads at first and %5 at the "
                       "end, longest gap %6 ms (%7 ms by the clock), %8 failures")
            .arg(sensors)
            .arg(m_hours, 0, 'f', 1)
            .arg(samples)
            .arg(m_first.threads)
            .arg(m_last.threads)
            .arg(qint64(m_longestGapMs))
            .arg(m_longestWaitMs)
            .arg(m_score.failures()));
    return m_score.failures() > 0 || samples == 0 ? 1 : 0;
}

QString SoakRun::watch()
{
    Chance chance(m_options.seed, 0);
    for (int i = 0; i < sensors; ++i)
        m_bay.setPlan(i, faults);
    m_timer.start();
    if (m_options.seconds > 0)
        m_seconds = m_options.seconds;
    while (m_timer.elapsed() < m_seconds * 1000) {
        QThread::msleep(200);
        const QString problem = look(chance);
        if (!problem.isEmpty())
            return problem;
    }
    if (m_last.threads > m_first.threads || m_last.files > m_first.files + spareFiles)
        return QStringLiteral("%1 threads and %2 files became %3 and %4")
            .arg(m_first.threads)
            .arg(m_first.files)
            .arg(m_last.threads)
            .arg(m_last.files);
    return memoryGrowth();
}

double SoakRun::meanBytes(double from, double to) const
{
    double sum = 0;
    int count = 0;
    for (const auto &[hour, bytes] : m_bytes) {
        sum += hour >= from && hour < to ? double(bytes) : 0;
        count += hour >= from && hour < to ? 1 : 0;
    }
    return count > 0 ? sum / count : 0;
}

/// Of every sensor the newest block is in memory, which grows until it is full; of some an earlier one that its restart
/// made the recorder look into. So what is compared are means over the time of whole blocks: after the first hour and
/// at the end.
QString SoakRun::memoryGrowth() const
{
    const double end = hours();
    if (end < 1 + 2 * blocksHours)
        return {};
    const double first = meanBytes(1, 1 + blocksHours);
    const double last = meanBytes(end - blocksHours, end);
    return last > first * 1.05
               ? QStringLiteral("memory grew from %1 to %2 KiB").arg(qint64(first) / 1024).arg(qint64(last) / 1024)
               : QString();
}

QString SoakRun::memoryByHour() const
{
    QString text;
    for (int hour = 0; hour < m_hours; ++hour)
        text += QStringLiteral(" %1").arg(meanBytes(hour, hour + 1) / 1048576, 0, 'f', 0);
    return text;
}

QString SoakRun::look(Chance &chance)
{
    if (!m_bay.isRecording())
        return QStringLiteral("the recorder has ended");
    // Now and then one of them is switched off for a moment, or restarts with or without its memory. Like a real one it
    // cannot be reached meanwhile: it is not back before a request that was under way reaches it.
    static const QString down = QStringLiteral(";off@0s=30s;reboot@29.5s");
    static const QStringList moments{QStringLiteral(";off@0s=150s"), down, down + QStringLiteral("=kept"),
                                     down + QStringLiteral(";off@100s=30s;reboot@129.5s=kept")};
    if (m_timer.elapsed() >= m_nextMomentMs) {
        m_nextMomentMs += momentMs; // by the time, so that a busy computer does not make the hours quieter
        const int sensor = chance.below(sensors);
        const QString &moment = moments.at(chance.below(moments.size()));
        m_bay.setPlan(sensor, faults + moment);
        m_moment[sensor] = QStringLiteral("%1 at %2 ms").arg(moment.mid(1)).arg(m_timer.elapsed());
    }
    m_last = m_bay.usage();
    // A busy computer takes longer until all of them are connected.
    const bool isStarting = std::any_of(m_read.begin(), m_read.end(), [](qint64 read) { return read <= 0; });
    if (isStarting || m_timer.elapsed() < m_seconds * 1000 / 4)
        m_first = m_last;
    m_bytes.append({hours(), m_last.bytes});
    return lookAtGaps();
}

/// How much of the time since the last look counts: a computer that is busy with other things gives the recorder and
/// the sensors less of it than the accelerated clocks want, and all of them are then read more slowly.
double SoakRun::shareOfTime()
{
    qint64 read = 0;
    m_bay.updateWatches();
    for (int i = 0; i < sensors; ++i)
        read += m_bay.watch(i).handedOut();
    const qint64 now = m_timer.elapsed();
    const double measured = sensors * speed * double(now - m_lookedMs) / 1000;
    const double share = measured > 0 ? std::min(1.0, double(read - m_allRead) / measured) : 0;
    if (read != m_allRead)
        m_anyReadMs = now;
    m_allRead = read;
    return share;
}

QString SoakRun::lookAtGaps()
{
    const double share = shareOfTime();
    const qint64 now = m_timer.elapsed();
    const double counted = double(now - m_lookedMs) * share;
    m_lookedMs = now;
    if (now - m_anyReadMs > longestGapMs)
        return QStringLiteral("no sensor was read for %1 ms until %2 ms").arg(now - m_anyReadMs).arg(now);
    for (int i = 0; i < sensors; ++i) {
        const qint64 read = m_bay.watch(i).pages() + m_bay.watch(i).clearedSamples();
        m_gapMs[i] += counted;
        m_longestGapMs = std::max(m_longestGapMs, m_gapMs[i]);
        m_longestWaitMs = std::max(m_longestWaitMs, now - m_since[i]);
        if (m_gapMs[i] > longestGapMs)
            return QStringLiteral("sensor %1 was not read for %2 ms until %3 ms, %4, after %5")
                .arg(i)
                .arg(qint64(m_gapMs[i]))
                .arg(now)
                .arg(m_bay.isListening(i) ? QStringLiteral("it listens") : QStringLiteral("it does not listen"),
                     m_moment.at(i));
        if (read == m_read[i])
            continue;
        m_read[i] = read;
        m_gapMs[i] = 0;
        m_since[i] = now;
    }
    return {};
}

} // namespace

int runSoak(const Options &options)
{
    return SoakRun(options).run();
}
