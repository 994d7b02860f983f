#include "data/journalcheck.h"

#include "base/coretext.h"
#include "base/pathlook.h"

#include <iterator>

JournalCheck readJournal(const QString &sessionFolder, const TakeJournalEntry &take)
{
    JournalCheck check;
    const QString folder = journalfile::folderOf(sessionFolder);
    const JournalNames names = journalNames(sessionFolder);
    if (!names.complete)
        check.problems.append(CoreText::tr("the names in the folder of the journal cannot be read"));
    for (const QString &name : names.kept)
        check.problems.append(
            CoreText::tr("journal file %1: not all of it could be taken when it was set aside").arg(name));
    bool goesOn = true;
    const TakeJournalEntry takeAndTell = [&](const journalfile::Entry &entry) {
        goesOn = !take || take(entry);
        return goesOn;
    };
    for (auto it = names.files.cbegin(); it != names.files.cend() && goesOn; ++it) {
        const QString path = folder + QLatin1Char('/') + it.value();
        const JournalScan scan = scanJournalFile(path, std::next(it) == names.files.cend(), takeAndTell);
        if (!scan.unreadable.isEmpty() && pathlook::kindOf(path) == pathlook::Kind::Nothing)
            continue; // a recording that goes on has saved what was in it
        ++check.files;
        check.records += scan.records;
        const QString problem = scan.unreadable.isEmpty() ? scan.damage : scan.unreadable;
        if (!problem.isEmpty())
            check.problems.append(CoreText::tr("journal file %1: %2").arg(it.value(), problem));
    }
    return check;
}

JournalCheck checkJournal(const QString &sessionFolder)
{
    return readJournal(sessionFolder, {});
}
