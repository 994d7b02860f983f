#include "data/blockfile.h"

#include "base/coretext.h"
#include "base/safefile.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

namespace blockfile {

namespace {

constexpr int chunkBytes = 120 * 1024; // stays in the processor's cache between system call and conversion

const uchar *asBytes(const char *bytes)
{
    return reinterpret_cast<const uchar *>(bytes);
}

void encodeHeader(int count, uchar *out)
{
    qToBigEndian<qint32>(SamplePoint::currentVersion, out);
    qToBigEndian<qint32>(0, out + 4);
    qToBigEndian<qint32>(count, out + 8);
}

/// Fills everything but the samples and returns how many records to read of a file of `size` bytes.
int decodeHeader(const uchar *bytes, qint64 size, Content &content)
{
    if (size < headerSize) {
        content.reason = CoreText::tr("the header is cut short");
        return 0;
    }
    content.version = qFromBigEndian<qint32>(bytes);
    content.announced = qFromBigEndian<qint32>(bytes + 8);
    if (content.version < 1 || content.version > SamplePoint::currentVersion) {
        content.reason = CoreText::tr("version %1 is not known").arg(content.version);
        return 0;
    }
    if (content.announced < 0) {
        content.reason = CoreText::tr("the count is %1").arg(content.announced);
        return 0;
    }
    const qint64 held = (size - headerSize) / sampleRecordSize(content.version);
    const qint64 readable = std::min<qint64>({held, content.announced, maximumCount});
    content.complete = readable == content.announced;
    if (!content.complete)
        content.reason = CoreText::tr("%1 of %2 records are readable").arg(readable).arg(content.announced);
    return static_cast<int>(readable);
}

bool readRecords(QFile &file, int count, Content &content)
{
    const int recordSize = sampleRecordSize(content.version);
    const int perChunk = chunkBytes / recordSize;
    const std::unique_ptr<uchar[]> buffer(new uchar[static_cast<std::size_t>(perChunk * recordSize)]);
    content.samples.reserve(count);
    for (int first = 0; first < count; first += perChunk) {
        const int records = std::min(perChunk, count - first);
        if (!readExactly(file, buffer.get(), qint64(records) * recordSize)) {
            content.samples.clear();
            return false;
        }
        content.samples.resize(first + records);
        decodeSamples(buffer.get(), records, content.version, content.samples.data() + first);
    }
    return true;
}

Content unreadable(const QString &reason)
{
    Content content;
    content.opened = false;
    content.reason = reason;
    return content;
}

} // namespace

QByteArray encodeBlock(const QVector<SamplePoint> &samples)
{
    QByteArray bytes(headerSize + samples.size() * sampleRecordSize(SamplePoint::currentVersion), Qt::Uninitialized);
    auto *out = reinterpret_cast<uchar *>(bytes.data());
    encodeHeader(samples.size(), out);
    encodeSamples(samples.constData(), samples.size(), out + headerSize);
    return bytes;
}

Content decodeBlock(const char *bytes, qint64 size)
{
    Content content;
    const int count = decodeHeader(asBytes(bytes), size, content);
    content.samples.resize(count);
    decodeSamples(asBytes(bytes) + headerSize, count, content.version, content.samples.data());
    return content;
}

Content readFile(const QString &path)
{
    if (!QFileInfo(path).isFile()) // a pipe or device would block the reader
        return unreadable(CoreText::tr("%1 is not a file").arg(path));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return unreadable(file.errorString());
    const qint64 size = file.size();
    std::array<uchar, headerSize> header{};
    if (size >= headerSize && !readExactly(file, header.data(), headerSize))
        return unreadable(file.errorString());
    Content content;
    const int count = decodeHeader(header.data(), size, content);
    if (!readRecords(file, count, content))
        return unreadable(CoreText::tr("%1 became shorter while it was read").arg(path));
    return content;
}

} // namespace blockfile
