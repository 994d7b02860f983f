#include "data/journalscan.h"

#include "base/coretext.h"
#include "base/pathlook.h"

#include <QFile>

namespace {

using journalfile::Entry;
using journalfile::Found;

/// Reads the file once, into nothing. A piece of a mapped file that the disk does not give would end the program; this
/// says so, and leaves the rest where the map finds it.
bool canBeRead(QFile &file, qint64 size, QString *reason)
{
    QByteArray piece(1 << 20, Qt::Uninitialized);
    for (qint64 left = size; left > 0;) {
        const qint64 got = file.read(piece.data(), qMin<qint64>(left, piece.size()));
        if (got <= 0) {
            *reason = got < 0 ? file.errorString() : CoreText::tr("it became shorter while it was read");
            return false;
        }
        left -= got;
    }
    return true;
}

/// False when it did not get to the end of the file.
bool scanEntries(const char *bytes, const journalfile::Header &header, const TakeJournalEntry &take, JournalScan &scan)
{
    qint64 firstBad = -1;
    qint64 offset = journalfile::headerSize;
    scan.goodEnd = offset;
    while (true) {
        Entry entry;
        qint64 next = scan.size;
        const Found found = journalfile::decodeEntry(bytes, scan.size, offset, header, entry, next);
        if (found == Found::End)
            return true;
        if (found == Found::Invalid) {
            firstBad = firstBad < 0 ? offset : firstBad;
        } else {
            if (firstBad >= 0)
                scan.damage = CoreText::tr("it is damaged at %1 of %2 bytes").arg(firstBad).arg(scan.size);
            ++scan.records;
            scan.goodEnd = next;
            if (take && !take(entry))
                return false;
        }
        offset = next;
    }
}

} // namespace

JournalNames journalNames(const QString &sessionFolder)
{
    JournalNames names;
    const pathlook::Listing listing = pathlook::list(journalfile::folderOf(sessionFolder));
    names.complete = listing.complete;
    for (const QString &name : listing.files) {
        if (const quint64 number = journalfile::numberOf(name); number > 0)
            names.files.insert(number, name);
        else if (journalfile::keptNumberOf(name) > 0)
            names.kept.append(name);
    }
    names.kept.sort();
    return names;
}

JournalScan scanJournalFile(const QString &path, bool newest, const TakeJournalEntry &take)
{
    JournalScan scan;
    QFile file(path);
    const bool opened = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    scan.size = opened ? file.size() : 0;
    const bool readable = opened && canBeRead(file, scan.size, &scan.unreadable);
    uchar *mapped = readable && scan.size > 0 ? file.map(0, scan.size) : nullptr;
    if (!readable || (scan.size > 0 && !mapped)) {
        if (scan.unreadable.isEmpty())
            scan.unreadable = file.errorString();
        return scan;
    }
    const char *bytes = reinterpret_cast<const char *>(mapped);
    journalfile::Header header;
    bool toEnd = true;
    if (journalfile::decodeHeader(bytes, scan.size, header, &scan.damage))
        toEnd = scanEntries(bytes, header, take, scan);
    else if (newest && scan.size <= journalfile::headerSize)
        scan.damage.clear(); // never got its header synced: it holds nothing that anybody was promised
    if (toEnd && !newest && scan.damage.isEmpty() && scan.goodEnd < scan.size) {
        scan.damage =
            CoreText::tr("it ends in the middle of a record at %1 of %2 bytes").arg(scan.goodEnd).arg(scan.size);
    }
    return scan;
}
