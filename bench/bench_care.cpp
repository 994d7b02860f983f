#include "base/platform.h"
#include "compare.h"
#include "data/reanalysis.h"
#include "session/session.h"
#include "session/sessioncheck.h"
#include "session/sessioncopy.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <ctime>

namespace {

constexpr quint64 start = 1700000000000000ULL;
constexpr int blockCount = 40;
constexpr int eventCount = 100;
constexpr int eventsPerSecond = 10; // of a sensor at its limit
constexpr int timesRealTime = 50;   // what one core has to keep up with
constexpr qint64 pieceSize = 1 << 20;

QVector<SamplePoint> samplesAt(quint64 first, int count)
{
    QVector<SamplePoint> samples(count);
    for (int i = 0; i < count; ++i) {
        samples[i].time = first + 2000 * static_cast<quint64>(i);
        samples[i].voltage = 200 + i % 17;
    }
    return samples;
}

/// A session of one sensor: 78 MB of samples and 20 MB of events.
class Recorded
{
public:
    Recorded()
    {
        record();
        QDirIterator it(path(), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            files.append(it.next());
    }
    QString path() const { return m_folder.filePath(QStringLiteral("session")); }
    QStringList files;

private:
    void record() const
    {
        const auto session = Session::create(path(), nullptr);
        const auto store = session->addSensor(QStringLiteral("S1"), QStringLiteral("PM1"), QString(), 80);
        for (int i = 0; i < blockCount; ++i)
            store->addSamples(samplesAt(start + static_cast<quint64>(i) * 20000000, 10000));
        for (int i = 0; i < eventCount; ++i) {
            EventRecord event;
            event.samples = samplesAt(start + static_cast<quint64>(i) * 100000, 1000);
            for (int k = 500; k < 520; ++k)
                event.samples[k].voltage = 20;
            event.time = event.samples.constFirst().time;
            event.typeCode = i % 9;
            store->addEvent(event);
        }
        session->save();
    }

    QTemporaryDir m_folder;
};

const Recorded &recorded()
{
    static const Recorded session;
    return session;
}

void checkOurs(benchmark::State &state)
{
    for (auto _ : state) {
        if (checkSession(recorded().path()).isDamaged())
            state.SkipWithError("damaged");
    }
}

void readRaw(benchmark::State &state)
{
    QByteArray buffer(pieceSize, Qt::Uninitialized);
    for (auto _ : state) {
        for (const QString &path : recorded().files) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
                return state.SkipWithError("cannot read");
            while (file.read(buffer.data(), buffer.size()) > 0)
                benchmark::ClobberMemory();
        }
    }
}

void copyOurs(benchmark::State &state)
{
    for (auto _ : state) {
        const QTemporaryDir target;
        SessionCopy copy(recorded().path(), target.filePath(QStringLiteral("copy")));
        if (!copy.begin() || !copy.copy({QStringLiteral("S1-PM1")}, nullptr))
            state.SkipWithError("cannot copy");
    }
}

bool copyPlain(const QString &from, const QString &to, QByteArray &buffer)
{
    QFile source(from);
    QFile target(to);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ||
        !target.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    qint64 got = 0;
    while ((got = source.read(buffer.data(), buffer.size())) > 0) {
        if (target.write(buffer.constData(), got) != got)
            return false;
    }
    return platform::syncFile(target);
}

void copyFiles(benchmark::State &state)
{
    QByteArray buffer(pieceSize, Qt::Uninitialized);
    for (auto _ : state) {
        const QTemporaryDir target;
        for (const QString &path : recorded().files) {
            if (!copyPlain(path, target.filePath(path.section(QLatin1Char('/'), -1)), buffer))
                return state.SkipWithError("cannot copy");
        }
    }
}

/// Milliseconds of the processor for the events of one second.
double reanalyse(benchmark::State &state)
{
    const auto session = Session::loadReadOnly(recorded().path(), nullptr);
    const auto store = session->store(QStringLiteral("S1"));
    const std::clock_t before = std::clock();
    if (reanalysis::run(*store, session->path(), SensorConfiguration()).events != eventCount)
        state.SkipWithError("not all were looked at");
    return 1000.0 * double(std::clock() - before) / CLOCKS_PER_SEC * eventsPerSecond / eventCount;
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    recorded();
    bench::compare("check a session of 98 MB", 0.5, "reading its files", checkOurs, readRaw);
    bench::compare("copy a session and read it back", 0.7, "plain copy, synced", copyOurs, copyFiles);
    bench::atMost("reanalyse 10 events of 1,000 samples, 1 s of real time", 1000.0 / timesRealTime, "ms", reanalyse);
    return bench::run(argc, argv);
}
