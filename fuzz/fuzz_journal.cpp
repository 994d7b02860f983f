#include "data/journalfile.h"
#include "fuzz.h"

#include <QVector>

#include <algorithm>

namespace {

/// Writes what was read to a new file: every byte has to come out again.
QByteArray rewritten(const journalfile::Header &header, const QVector<journalfile::Entry> &entries)
{
    QByteArray out;
    journalfile::appendHeader(out, header);
    for (const journalfile::Entry &entry : entries)
        journalfile::appendEntry(out, header, quint64(out.size()), entry);
    return out;
}

void readAll(const char *bytes, qint64 size)
{
    journalfile::Header header;
    QString reason;
    if (!journalfile::decodeHeader(bytes, size, header, &reason)) {
        FUZZ_CHECK(!reason.isEmpty());
        return;
    }
    QVector<journalfile::Entry> entries;
    qint64 offset = journalfile::headerSize;
    for (;;) {
        journalfile::Entry entry;
        qint64 next = 0;
        const journalfile::Found found = journalfile::decodeEntry(bytes, size, offset, header, entry, next);
        if (found == journalfile::Found::End)
            break;
        FUZZ_CHECK(next > offset && next <= size);
        if (found == journalfile::Found::Invalid)
            break;
        entries.append(entry);
        offset = next;
    }
    FUZZ_CHECK(rewritten(header, entries) == QByteArray::fromRawData(bytes, int(offset)));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto *bytes = reinterpret_cast<const char *>(data);
    readAll(bytes, qint64(size));

    // Checksums keep made-up bytes out, so the input also serves as the payloads of a file with right ones.
    journalfile::Header header;
    header.number = size;
    journalfile::Entry entry;
    entry.sensor = QByteArray(bytes, int(std::min<std::size_t>(size, 7)));
    entry.type = DurableLog::Record(1 + size % std::size_t(DurableLog::Record::Sensor));
    entry.payload = bytesOf(data, size);
    const QByteArray whole = rewritten(header, {entry, entry});
    readAll(whole.constData(), whole.size());
    readAll(whole.constData(), whole.size() - 1);
    return 0;
}
