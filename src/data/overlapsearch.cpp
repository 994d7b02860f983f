#include "data/overlapsearch.h"

#include "data/blockscan.h"
#include "data/samplepoint.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr qint64 maximumHeld = 8000000; // times in memory: 64 MB

bool isBefore(const OverlapSearch::File &a, const OverlapSearch::File &b)
{
    return a.rank != b.rank ? a.rank < b.rank : a.number < b.number;
}

QVector<quint64> common(const QVector<quint64> &a, const QVector<quint64> &b)
{
    QVector<quint64> both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(both));
    return both;
}

void unite(QVector<quint64> &into, const QVector<quint64> &more)
{
    QVector<quint64> all;
    std::set_union(into.begin(), into.end(), more.begin(), more.end(), std::back_inserter(all));
    into = all;
}

} // namespace

const QVector<quint64> &OverlapSearch::timesOf(Active &active)
{
    if (!active.read) {
        active.times = m_timesOf(active.file.number);
        active.read = true;
        m_held += active.times.size();
    }
    return active.times;
}

void OverlapSearch::compare(Active &a, Active &b)
{
    if (m_held > maximumHeld) {
        m_gaveUp = true;
        return;
    }
    const QVector<quint64> both = common(timesOf(a), timesOf(b));
    if (!both.isEmpty())
        unite(isBefore(a.file, b.file) ? b.doubled : a.doubled, both);
}

void OverlapSearch::retire(QVector<Active> &active, quint64 before, QVector<Doubled> &result)
{
    for (const Active &entry : qAsConst(active)) {
        if (entry.file.lastTime >= before)
            continue;
        m_held -= entry.times.size();
        if (!entry.doubled.isEmpty())
            result.append({entry.file.number, entry.doubled});
    }
    active.erase(std::remove_if(active.begin(), active.end(),
                                [before](const Active &entry) { return entry.file.lastTime < before; }),
                 active.end());
}

QVector<OverlapSearch::Doubled> OverlapSearch::run(QVector<File> files)
{
    QVector<Doubled> result;
    QVector<Active> active;
    std::sort(files.begin(), files.end(), [](const File &a, const File &b) { return a.firstTime < b.firstTime; });
    for (const File &file : qAsConst(files)) {
        retire(active, file.firstTime, result);
        Active entry;
        entry.file = file;
        for (Active &other : active)
            compare(other, entry);
        active.append(entry);
    }
    for (const Active &entry : qAsConst(active)) {
        if (!entry.doubled.isEmpty())
            result.append({entry.file.number, entry.doubled});
    }
    return result;
}

QVector<quint64> timesOfBlock(const QString &path)
{
    QVector<quint64> times;
    blockscan::Header header;
    const auto take = [&times](const uchar *records, int count, const blockscan::Header &head) {
        const int size = sampleRecordSize(head.version);
        for (int i = 0; i < count; ++i)
            times.append(blockscan::timeAt(records + i * size));
        return true;
    };
    blockscan::scan(path, header, take, nullptr);
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}
