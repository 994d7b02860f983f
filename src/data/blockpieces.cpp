#include "data/blockpieces.h"

#include "base/safefile.h"
#include "data/blockfile.h"
#include "data/blockscan.h"
#include "data/filenumbers.h"

#include <QSet>

#include <algorithm>

namespace {

constexpr int samplesPerBlock = 10000;

} // namespace

bool BlockPieces::flush()
{
    if (!m_reason.isEmpty())
        return false;
    if (m_samples.isEmpty())
        return true;
    const auto range = std::minmax_element(m_samples.constBegin(), m_samples.constEnd(),
                                           [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
    const QString name = m_numbers.nextBlock();
    if (!writeFileSafely(m_folder + QLatin1Char('/') + name, blockfile::encodeBlock(m_samples), &m_reason))
        return false;
    m_written.append({name, range.first->time, range.second->time, m_samples.size()});
    m_samples.clear();
    return true;
}

bool BlockPieces::add(const SamplePoint *samples, int count)
{
    for (int i = 0; i < count; ++i) {
        m_samples.append(samples[i]);
        if (m_samples.size() >= samplesPerBlock && !flush())
            return false;
    }
    return m_reason.isEmpty();
}

bool BlockPieces::finish()
{
    return flush();
}

bool BlockPieces::copy(const QString &path, const QVector<quint64> &without)
{
    QSet<quint64> seen;
    QVector<SamplePoint> piece;
    blockscan::Header header;
    QString reason;
    bool ok = true;
    const auto take = [&](const uchar *records, int count, const blockscan::Header &head) {
        piece.resize(count);
        decodeSamples(records, count, head.version, piece.data());
        const auto unwanted = [&](const SamplePoint &sample) {
            if (seen.contains(sample.time) || std::binary_search(without.begin(), without.end(), sample.time))
                return true;
            seen.insert(sample.time);
            return false;
        };
        piece.erase(std::remove_if(piece.begin(), piece.end(), unwanted), piece.end());
        ok = add(piece.constData(), piece.size());
        return ok;
    };
    // A file that cannot be read to its end gives what it has given.
    blockscan::scan(path, header, take, &reason);
    return ok && finish();
}

QStringList BlockPieces::fileNames() const
{
    QStringList names;
    for (const BlockPiece &piece : m_written)
        names.append(piece.name);
    return names;
}

qint64 BlockPieces::sampleCount() const
{
    qint64 count = 0;
    for (const BlockPiece &piece : m_written)
        count += piece.count;
    return count;
}
