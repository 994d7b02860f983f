#include "compare.h"
#include "sensor/samplepage.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <array>
#include <cmath>
#include <simdjson.h>

namespace {

const std::array<const char *, 30> keys{"Time_ms",  "Voltage",  "Current_Ir", "Current_Ii", "nPulses",  "P_Period",
                                        "P_1T_on",  "P_1V_max", "P_1V_min",   "P_1V_avg",   "P_1I_max", "P_1I_min",
                                        "P_1I_avg", "P_2T_on",  "P_2V_max",   "P_2V_min",   "P_2V_avg", "P_2I_max",
                                        "P_2I_min", "P_2I_avg", "E_11",       "E_12",       "E_13",     "E_21",
                                        "E_22",     "E_23",     "E_31",       "E_32",       "E_33",     "E_PE"};

/// A page of both pulse slots as a running process sends it.
QByteArray pageOf(int samples)
{
    QByteArray page = "{\r\n";
    for (std::size_t k = 0; k < keys.size(); ++k) {
        page += QByteArray("\"") + keys[k] + "\":[";
        for (int i = 0; i < samples; ++i) {
            page += i > 0 ? "," : "";
            const double wave = std::sin(double(k) + i * 0.37);
            if (k == 0)
                page += QByteArray::number(184'467'000 + i * 2);
            else if (k == 4 || k == 6 || k == 13)
                page += QByteArray::number(int(4850 + 20 * wave));
            else if (k >= 20)
                page += wave > 0.9 ? "1" : "0";
            else
                page += QByteArray::number(120 + 115 * wave, 'f', k < 10 ? 3 : 4);
        }
        page += k + 1 < keys.size() ? "],\r\n" : "]\r\n";
    }
    return page + "}\r\n";
}

const QByteArray &page()
{
    static const QByteArray twenty = pageOf(20);
    return twenty;
}

/// Moves a column of numbers into the records.
void assign(QVector<SamplePoint> &points, std::size_t column, const double *values, std::size_t n)
{
    using P = SamplePoint;
    static constexpr double SamplePoint::*fields[] = {
        nullptr,
        &SamplePoint::voltage,
        &SamplePoint::currentReal,
        &SamplePoint::currentImaginary,
        nullptr,
        &SamplePoint::pulsePeriod,
        nullptr,
        &SamplePoint::slot1VoltageMax,
        &SamplePoint::slot1VoltageMin,
        &SamplePoint::slot1VoltageAvg,
        &SamplePoint::slot1CurrentMax,
        &SamplePoint::slot1CurrentMin,
        &SamplePoint::slot1CurrentAvg,
        nullptr,
        &SamplePoint::slot2VoltageMax,
        &SamplePoint::slot2VoltageMin,
        &SamplePoint::slot2VoltageAvg,
        &SamplePoint::slot2CurrentMax,
        &SamplePoint::slot2CurrentMin,
        &SamplePoint::slot2CurrentAvg,
    };
    P *p = points.data();
    if (column == 0) {
        for (std::size_t i = 0; i < n; ++i)
            p[i].time = quint64(values[i]) * 1000;
    } else if (column >= 20) {
        for (std::size_t i = 0; i < n; ++i)
            p[i].eventCounts[column - 20] = qint32(values[i]);
    } else if (fields[column]) {
        for (std::size_t i = 0; i < n; ++i)
            p[i].*fields[column] = values[i];
    } else {
        qint32 P::*const field = column == 4 ? &P::numberOfPulses : column == 6 ? &P::slot1OnTime : &P::slot2OnTime;
        for (std::size_t i = 0; i < n; ++i)
            p[i].*field = qint32(values[i]);
    }
}

void ours(benchmark::State &state)
{
    const QByteArray &bytes = page();
    for (auto _ : state) {
        const SamplePage read = parseSamplePage(bytes.constData(), std::size_t(bytes.size()), 0);
        if (read.points.size() != 20)
            state.SkipWithError("not read");
        benchmark::DoNotOptimize(read.points.constData());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * bytes.size());
}

/// Each column found by its key and read as doubles into the same records.
void simdjsonOnDemand(benchmark::State &state)
{
    const simdjson::padded_string bytes(page().constData(), std::size_t(page().size()));
    simdjson::ondemand::parser parser;
    double values[20];
    for (auto _ : state) {
        QVector<SamplePoint> points(20);
        auto document = parser.iterate(bytes);
        auto object = document.get_object();
        for (std::size_t k = 0; k < keys.size(); ++k) {
            std::size_t n = 0;
            for (auto value : object[keys[k]].get_array())
                values[n++] = value.get_double();
            assign(points, k, values, n);
        }
        benchmark::DoNotOptimize(points.constData());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * page().size());
}

/// The plain way: strings split at line ends, colons and commas.
void stringSplit(benchmark::State &state)
{
    for (auto _ : state) {
        QVector<SamplePoint> points(20);
        const QStringList lines = QString::fromLatin1(page()).split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            const QStringList pieces = line.split(QLatin1Char(':'));
            if (pieces.size() < 2)
                continue;
            for (std::size_t k = 0; k < keys.size(); ++k) {
                if (!pieces.at(0).contains(QLatin1String(keys[k]), Qt::CaseInsensitive))
                    continue;
                QString value = pieces.at(1).trimmed();
                value.chop(1);
                value.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
                const QStringList entries = value.split(QLatin1Char(','));
                double values[20];
                for (int i = 0; i < 20; ++i)
                    values[i] = entries.at(i).toDouble();
                assign(points, k, values, 20);
                break;
            }
        }
        benchmark::DoNotOptimize(points.constData());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * page().size());
}

} // namespace

int main(int argc, char **argv)
{
    bench::compare("decode a 30-column, 20-sample page", 1.3, "simdjson on-demand", ours, simdjsonOnDemand);
    bench::compare("decode it, against strings", 13, "QString split", ours, stringSplit);
    bench::growth("decode a page", 20, [](benchmark::State &state) {
        const QByteArray bytes = pageOf(int(state.range(0)));
        for (auto _ : state)
            benchmark::DoNotOptimize(parseSamplePage(bytes.constData(), std::size_t(bytes.size()), 0).points.size());
    });
    return bench::run(argc, argv);
}
