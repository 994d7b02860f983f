#include "bay.h"
#include "scene.h"

#include <QThread>

#include <algorithm>

// Many sensors for hours of accelerated time, with faults now and then. What the recorder needs stays the same, no
// sensor waits long, and at the end everything is there.

namespace {

constexpr int sensors = 64;
constexpr double speed = 120;                            // an hour in 30 s
constexpr int warmUpMs = int(3.5 * 3600 * 1000 / speed); // until the first block of each is full
constexpr qint64 longestGapMs = 25000;
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

    const Options &m_options;
    Score m_score;
    Bay m_bay;
    QElapsedTimer m_timer;
    Bay::Usage m_first;
    Bay::Usage m_last;
    QVector<qint64> m_cleared = QVector<qint64>(sensors, -1);
    QVector<qint64> m_since = QVector<qint64>(sensors, 0);
    qint64 m_longestGapMs = 0;
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
    if (problem.isEmpty() && !m_bay.endRecorder())
        problem = QStringLiteral("the last save fails");
    QVector<QPair<int, Compared>> all;
    qint64 samples = 0;
    for (int i = 0; i < sensors; ++i) {
        all.append({i, Compared::WithoutTimes});
        samples += m_bay.watch(i).clearedSamples();
    }
    if (problem.isEmpty())
        problem = m_bay.judge(all);
    if (!problem.isEmpty())
        m_score.failed(0, problem);
    say(QStringLiteral("soak: %1 sensors for %2 hours of their time, %3 samples, %4 KiB and %5 threads at "
                       "first, %6 KiB and %7 threads at the end, longest gap %8 ms, %9 failures")
            .arg(sensors)
            .arg(double(m_timer.elapsed()) * speed / 3600000, 0, 'f', 1)
            .arg(samples)
            .arg(m_first.bytes / 1024)
            .arg(m_first.threads)
            .arg(m_last.bytes / 1024)
            .arg(m_last.threads)
            .arg(m_longestGapMs)
            .arg(m_score.failures()));
    return m_score.failures() > 0 || samples == 0 ? 1 : 0;
}

QString SoakRun::watch()
{
    Chance chance(m_options.seed, 0);
    for (int i = 0; i < sensors; ++i)
        m_bay.setPlan(i, faults);
    m_timer.start();
    const int seconds = m_options.seconds > 0 ? m_options.seconds : int(24 * 3600 / speed);
    while (m_timer.elapsed() < qint64(seconds) * 1000) {
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
    const bool grown = m_timer.elapsed() > 2 * qint64(warmUpMs) && m_last.bytes > m_first.bytes / 20 * 21;
    return grown ? QStringLiteral("memory grew from %1 to %2 KiB").arg(m_first.bytes / 1024).arg(m_last.bytes / 1024)
                 : QString();
}

QString SoakRun::look(Chance &chance)
{
    if (!m_bay.isRecording())
        return QStringLiteral("the recorder has ended");
    // Now and then one of them is switched off for a moment, or restarts with or without its memory.
    static const QStringList moments{QStringLiteral(";off@0s=150s"), QStringLiteral(";reboot@0s"),
                                     QStringLiteral(";reboot@0s=kept"), QStringLiteral(";reboot@0s;reboot@100s=kept")};
    if (chance.oneIn(10))
        m_bay.setPlan(chance.below(sensors), faults + moments.at(chance.below(moments.size())));
    m_last = m_bay.usage();
    if (m_timer.elapsed() < std::min(warmUpMs, m_options.seconds > 0 ? m_options.seconds * 500 : warmUpMs))
        m_first = m_last;
    m_bay.updateWatches();
    for (int i = 0; i < sensors; ++i) {
        const qint64 gap = m_timer.elapsed() - m_since[i];
        m_longestGapMs = std::max(m_longestGapMs, gap);
        if (gap > longestGapMs)
            return QStringLiteral("sensor %1 was not read for %2 ms").arg(i).arg(gap);
        if (m_bay.watch(i).clearedSamples() != m_cleared[i])
            m_since[i] = m_timer.elapsed();
        m_cleared[i] = m_bay.watch(i).clearedSamples();
    }
    return {};
}

} // namespace

int runSoak(const Options &options)
{
    return SoakRun(options).run();
}
