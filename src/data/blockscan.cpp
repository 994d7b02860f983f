#include "data/blockscan.h"

#include "base/coretext.h"
#include "base/safefile.h"
#include "data/blockfile.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <array>

namespace {

constexpr int pieceBytes = 120 * 1024; // stays in the processor's cache

bool fail(QString *reason, const QString &text)
{
    if (reason)
        *reason = text;
    return false;
}

bool decode(const uchar *bytes, qint64 size, blockscan::Header &header, QString *reason)
{
    header.version = qFromBigEndian<qint32>(bytes);
    header.announced = qFromBigEndian<qint32>(bytes + 8);
    if (header.version < 1 || header.version > SamplePoint::currentVersion)
        return fail(reason, CoreText::tr("version %1 is not known").arg(header.version));
    if (header.announced < 0)
        return fail(reason, CoreText::tr("the count is %1").arg(header.announced));
    const qint64 recordSize = sampleRecordSize(header.version);
    header.held = std::min<qint64>((size - blockfile::headerSize) / recordSize, blockfile::maximumCount);
    header.rest = size - blockfile::headerSize - header.held * recordSize;
    return true;
}

} // namespace

qint64 blockscan::Header::readable() const
{
    return isLong() ? held : std::min<qint64>(held, announced);
}

bool blockscan::scan(const QString &path, Header &header, const Take &take, QString *reason)
{
    header = {};
    const QFileInfo info(path);
    if (info.isSymLink() || !info.isFile()) // a pipe or device would block the reader
        return fail(reason, CoreText::tr("it is not a plain file"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return fail(reason, file.errorString());
    const qint64 size = file.size();
    std::array<uchar, blockfile::headerSize> head{};
    if (size < blockfile::headerSize)
        return fail(reason, CoreText::tr("the header is cut short"));
    if (!readExactly(file, head.data(), head.size()))
        return fail(reason, file.errorString());
    if (!decode(head.data(), size, header, reason))
        return false;
    const int recordSize = sampleRecordSize(header.version);
    const int perPiece = pieceBytes / recordSize;
    QVector<uchar> buffer(perPiece * recordSize);
    const qint64 wanted = header.readable();
    for (qint64 first = 0; first < wanted; first += perPiece) {
        const int count = static_cast<int>(std::min<qint64>(perPiece, wanted - first));
        if (!readExactly(file, buffer.data(), qint64(count) * recordSize))
            return fail(reason, CoreText::tr("reading ended at record %1 of %2").arg(first).arg(wanted));
        if (!take(buffer.constData(), count, header))
            break;
    }
    return true;
}

quint64 blockscan::timeAt(const uchar *record)
{
    return qFromBigEndian<quint64>(record);
}
