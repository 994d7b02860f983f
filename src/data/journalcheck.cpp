#include "data/journalcheck.h"

#include "data/journalfile.h"

#include <QDir>
#include <QFile>
#include <QMap>

#include <algorithm>

namespace {

/// Empty when all is well.
QString problemIn(const char *bytes, qint64 size, bool newest, qint64 &records)
{
    journalfile::Header header;
    QString reason;
    if (!journalfile::decodeHeader(bytes, size, header, &reason))
        return newest && size <= journalfile::headerSize ? QString() : reason;
    qint64 offset = journalfile::headerSize;
    qint64 firstBad = -1;
    while (true) {
        journalfile::Entry entry;
        qint64 next = size;
        const journalfile::Found found = journalfile::decodeEntry(bytes, size, offset, header, entry, next);
        if (found == journalfile::Found::End)
            break;
        if (found == journalfile::Found::Entry) {
            ++records;
            if (firstBad >= 0)
                return QStringLiteral("it is damaged at %1 of %2 bytes").arg(firstBad).arg(size);
        } else if (firstBad < 0) {
            firstBad = offset;
        }
        offset = next;
    }
    if (firstBad < 0 || newest)
        return {};
    return QStringLiteral("it ends in the middle of a record at %1 of %2 bytes").arg(firstBad).arg(size);
}

} // namespace

JournalCheck checkJournal(const QString &sessionFolder)
{
    JournalCheck check;
    const QDir folder(journalfile::folderOf(sessionFolder));
    QMap<quint64, QString> files;
    for (const QString &name : folder.entryList(QDir::Files | QDir::NoSymLinks)) {
        if (journalfile::numberOf(name) > 0)
            files.insert(journalfile::numberOf(name), name);
    }
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        ++check.files;
        QFile file(folder.filePath(it.value()));
        QString problem;
        const bool opened = file.open(QIODevice::ReadOnly);
        const qint64 size = opened ? file.size() : 0;
        const uchar *mapped = size > 0 ? file.map(0, size) : nullptr;
        if (!opened || (size > 0 && !mapped))
            problem = file.errorString();
        else if (size > 0)
            problem =
                problemIn(reinterpret_cast<const char *>(mapped), size, std::next(it) == files.cend(), check.records);
        if (!problem.isEmpty())
            check.problems.append(QStringLiteral("journal file %1: %2").arg(it.value(), problem));
    }
    return check;
}
