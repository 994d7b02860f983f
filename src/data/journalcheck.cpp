#include "data/journalcheck.h"

#include "base/coretext.h"

#include <QDir>
#include <QFile>
#include <QMap>

#include <algorithm>

namespace {

class Reader
{
public:
    explicit Reader(const TakeJournalEntry &take) : m_take(take) {}

    /// What is wrong with a file; empty when all is well.
    QString read(const char *bytes, qint64 size, bool newest)
    {
        journalfile::Header header;
        QString reason;
        if (!journalfile::decodeHeader(bytes, size, header, &reason))
            return newest && size <= journalfile::headerSize ? QString() : reason;
        qint64 offset = journalfile::headerSize;
        qint64 firstBad = -1;
        bool goesOn = false; // behind what is bad
        while (!m_ended) {
            journalfile::Entry entry;
            qint64 next = size;
            const journalfile::Found found = journalfile::decodeEntry(bytes, size, offset, header, entry, next);
            if (found == journalfile::Found::End)
                break;
            if (found == journalfile::Found::Entry) {
                ++m_records;
                goesOn = firstBad >= 0;
                m_ended = m_take && !m_take(entry);
            } else if (firstBad < 0) {
                firstBad = offset;
            }
            offset = next;
        }
        if (goesOn)
            return CoreText::tr("it is damaged at %1 of %2 bytes").arg(firstBad).arg(size);
        if (firstBad < 0 || newest)
            return {};
        return CoreText::tr("it ends in the middle of a record at %1 of %2 bytes").arg(firstBad).arg(size);
    }

    qint64 records() const { return m_records; }
    bool hasEnded() const { return m_ended; }

private:
    const TakeJournalEntry &m_take;
    qint64 m_records = 0;
    bool m_ended = false;
};

} // namespace

JournalCheck readJournal(const QString &sessionFolder, const TakeJournalEntry &take)
{
    JournalCheck check;
    const QDir folder(journalfile::folderOf(sessionFolder));
    QMap<quint64, QString> files;
    for (const QString &name : folder.entryList(QDir::Files | QDir::NoSymLinks)) {
        if (journalfile::numberOf(name) > 0)
            files.insert(journalfile::numberOf(name), name);
    }
    Reader reader(take);
    for (auto it = files.cbegin(); it != files.cend() && !reader.hasEnded(); ++it) {
        ++check.files;
        QFile file(folder.filePath(it.value()));
        QString problem;
        const bool opened = file.open(QIODevice::ReadOnly);
        const qint64 size = opened ? file.size() : 0;
        const uchar *mapped = size > 0 ? file.map(0, size) : nullptr;
        if (!opened || (size > 0 && !mapped))
            problem = file.errorString();
        else if (size > 0)
            problem = reader.read(reinterpret_cast<const char *>(mapped), size, std::next(it) == files.cend());
        if (!problem.isEmpty())
            check.problems.append(CoreText::tr("journal file %1: %2").arg(it.value(), problem));
    }
    check.records = reader.records();
    return check;
}

JournalCheck checkJournal(const QString &sessionFolder)
{
    return readJournal(sessionFolder, {});
}
