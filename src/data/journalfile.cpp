#include "data/journalfile.h"

#include "base/bytes.h"
#include "base/coretext.h"
#include "base/crc32c.h"

#include <algorithm>

namespace {

constexpr char magic[8] = {'N', 'V', 'X', 'J', 'R', 'N', 'L', 0};
constexpr int checkedHeaderSize = journalfile::headerSize - 4;
constexpr quint8 lastType = static_cast<quint8>(DurableLog::Record::Sensor);

const QString &extension()
{
    static const QString text = QStringLiteral(".norvexjournal");
    return text;
}

/// Of a record whose bytes after the checksum are given.
quint32 checksum(const journalfile::Header &header, quint64 offset, quint32 length, const char *rest, qint64 size)
{
    char place[20];
    qToBigEndian(header.number, place);
    qToBigEndian(offset, place + 8);
    qToBigEndian(length, place + 16);
    quint32 sum = crc32c(header.id.data(), header.id.size());
    sum = crc32c(place, sizeof place, sum);
    return crc32c(rest, static_cast<std::size_t>(size), sum);
}

} // namespace

void journalfile::appendHeader(QByteArray &out, const Header &header)
{
    const int start = out.size();
    out.append(magic, sizeof magic);
    appendBigEndian<qint32>(out, currentVersion);
    out.append(header.id.data(), static_cast<int>(header.id.size()));
    appendBigEndian<quint64>(out, header.number);
    appendBigEndian<quint32>(out, crc32c(out.constData() + start, checkedHeaderSize));
}

bool journalfile::decodeHeader(const char *bytes, qint64 size, Header &header, QString *reason)
{
    const auto fail = [reason](const QString &text) {
        if (reason)
            *reason = text;
        return false;
    };
    ByteReader reader(bytes, size);
    const char *mark = reader.takeBytes(sizeof magic);
    const qint32 version = reader.take<qint32>();
    const char *id = reader.takeBytes(static_cast<qint64>(header.id.size()));
    const quint64 number = reader.take<quint64>();
    const quint32 sum = reader.take<quint32>();
    if (!reader.ok())
        return fail(CoreText::tr("the header is cut short"));
    if (!std::equal(mark, mark + sizeof magic, magic))
        return fail(CoreText::tr("it is not a journal"));
    if (crc32c(bytes, checkedHeaderSize) != sum)
        return fail(CoreText::tr("the header is damaged"));
    if (version != currentVersion)
        return fail(CoreText::tr("version %1 is not known").arg(version));
    std::copy(id, id + header.id.size(), header.id.begin());
    header.number = number;
    return true;
}

void journalfile::appendEntry(QByteArray &out, const Header &header, quint64 offset, const Entry &entry)
{
    const int start = out.size();
    const auto length = static_cast<quint32>(entry.payload.size());
    const QByteArray sensor = entry.sensor.left(255);
    appendBigEndian<quint32>(out, length);
    appendBigEndian<quint32>(out, 0);
    appendBigEndian<quint8>(out, static_cast<quint8>(entry.type));
    appendBigEndian<quint8>(out, static_cast<quint8>(sensor.size()));
    out.append(sensor);
    out.append(entry.payload);
    const quint32 sum = checksum(header, offset, length, out.constData() + start + 8, out.size() - start - 8);
    qToBigEndian(sum, out.data() + start + 4);
}

journalfile::Found journalfile::decodeEntry(const char *bytes, qint64 size, qint64 offset, const Header &header,
                                            Entry &entry, qint64 &next)
{
    next = size;
    if (offset >= size)
        return Found::End;
    ByteReader reader(bytes + offset, size - offset);
    const quint32 length = reader.take<quint32>();
    const quint32 sum = reader.take<quint32>();
    const quint8 type = reader.take<quint8>();
    const quint8 nameLength = reader.take<quint8>();
    const char *name = reader.takeBytes(nameLength);
    const char *payload = length <= maximumPayload ? reader.takeBytes(length) : nullptr;
    if (!reader.ok() || !payload)
        return Found::Invalid;
    next = size - reader.remaining();
    if (type < 1 || type > lastType ||
        checksum(header, static_cast<quint64>(offset), length, bytes + offset + 8, next - offset - 8) != sum)
        return Found::Invalid;
    entry.sensor = QByteArray(name, nameLength);
    entry.type = static_cast<DurableLog::Record>(type);
    entry.payload = QByteArray(payload, static_cast<int>(length));
    return Found::Entry;
}

bool journalfile::decodeSensor(const QByteArray &payload, QString &serial, QString &chamber)
{
    ByteReader reader(payload.constData(), payload.size());
    for (QString *text : {&serial, &chamber}) {
        const quint16 length = reader.take<quint16>();
        const char *bytes = reader.takeBytes(length);
        *text = bytes ? QString::fromUtf8(bytes, length) : QString();
    }
    return reader.ok();
}

QString journalfile::fileName(quint64 number)
{
    return QStringLiteral("%1").arg(number, 8, 10, QLatin1Char('0')) + extension();
}

quint64 journalfile::numberOf(const QString &fileName)
{
    if (!fileName.endsWith(extension()))
        return 0;
    const quint64 number = fileName.leftRef(fileName.size() - extension().size()).toULongLong();
    return journalfile::fileName(number) == fileName ? number : 0;
}

QString journalfile::folderOf(const QString &sessionFolder)
{
    return sessionFolder + QStringLiteral("/journal");
}

const QString &journalfile::keptExtension()
{
    static const QString text = QStringLiteral(".kept");
    return text;
}

quint64 journalfile::keptNumberOf(const QString &fileName)
{
    return fileName.endsWith(keptExtension()) ? numberOf(fileName.chopped(keptExtension().size())) : 0;
}
