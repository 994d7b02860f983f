#include "compare.h"
#include "export/csvformat.h"

#include <QDateTime>
#include <QLocale>
#include <QTextStream>

#include <cmath>
#include <cstdio>

namespace {

constexpr int lineCount = 10000;

QVector<SamplePoint> makeSamples(int count)
{
    QVector<SamplePoint> samples(count);
    for (int i = 0; i < count; ++i) {
        samples[i].time = 1707140710000000ULL + 2000ULL * static_cast<quint64>(i) + static_cast<quint64>(i % 7);
        samples[i].voltage = 180.0 + 25.0 * std::sin(i * 0.01) + 0.001 * (i % 113);
        samples[i].currentReal = 3.0 + 0.5 * std::cos(i * 0.013);
        samples[i].currentImaginary = -0.25 * std::sin(i * 0.017);
    }
    return samples;
}

QByteArray oursOf(const QVector<SamplePoint> &samples)
{
    csv::TimeCell time;
    QByteArray out;
    for (const SamplePoint &sample : samples)
        csv::appendViLine(out, sample, time, ";");
    return out;
}

QByteArray streamed(const QVector<SamplePoint> &samples)
{
    static const QStringList days{QStringLiteral("Mon"), QStringLiteral("Tue"), QStringLiteral("Wed"),
                                  QStringLiteral("Thu"), QStringLiteral("Fri"), QStringLiteral("Sat"),
                                  QStringLiteral("Sun")};
    QByteArray out;
    QTextStream stream(&out);
    stream.setCodec("UTF-8");
    for (const SamplePoint &sample : samples) {
        const QDateTime at = QDateTime::fromMSecsSinceEpoch(qint64(sample.time / 1000), Qt::UTC);
        stream << days.at(at.date().dayOfWeek() - 1) << '-'
               << QLocale::c().toString(at, QStringLiteral("dd-MMM-yyyy HH:mm:ss.zzz")) << sample.time % 1000 << ';'
               << sample.voltage << ';' << csv::exportedCurrent(sample) << ';' << '\n';
    }
    stream.flush();
    return out;
}

} // namespace

int main(int argc, char **argv)
{
    const QVector<SamplePoint> samples = makeSamples(lineCount);
    if (oursOf(samples) != streamed(samples)) {
        std::fprintf(stderr, "the two ways do not write the same bytes\n");
        return 1;
    }
    bench::compare(
        "write 10,000 V/I lines", 12, "text stream",
        [&](benchmark::State &state) {
            for (auto _ : state)
                benchmark::DoNotOptimize(oursOf(samples));
        },
        [&](benchmark::State &state) {
            for (auto _ : state)
                benchmark::DoNotOptimize(streamed(samples));
        });
    bench::growth("write V/I lines", 1000, [](benchmark::State &state) {
        const QVector<SamplePoint> some = makeSamples(int(state.range(0)));
        for (auto _ : state)
            benchmark::DoNotOptimize(oursOf(some));
    });
    return bench::run(argc, argv);
}
