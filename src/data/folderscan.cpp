#include "data/folderscan.h"

#include "base/pathlook.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/storefiles.h"

#include <algorithm>

namespace {

void sortByNumber(QStringList &names)
{
    const auto digits = [](const QString &name) {
        int end = name.size();
        while (end > 0 && !name.at(end - 1).isDigit())
            --end;
        int start = end;
        while (start > 0 && name.at(start - 1).isDigit())
            --start;
        return name.midRef(start, end - start).toLongLong();
    };
    QVector<QPair<qint64, QString>> keyed;
    keyed.reserve(names.size());
    for (const QString &name : std::as_const(names))
        keyed.append({digits(name), name});
    std::sort(keyed.begin(), keyed.end());
    for (int i = 0; i < names.size(); ++i)
        names[i] = keyed[i].second;
}

} // namespace

folderscan::Listing folderscan::list(const QString &folder)
{
    Listing listing;
    const QString backupTemporary = storefiles::backupTemporaryPath(datanames::indexFile());
    const pathlook::Listing all = pathlook::list(folder);
    listing.complete = all.complete;
    for (const QString &name : all.files) {
        if (SafeFile::isTemporaryName(name) || name == backupTemporary)
            listing.leftovers.append(name);
        else if (name.endsWith(datanames::blockExtension()))
            listing.blocks.append(name);
        else if (name.endsWith(datanames::eventExtension()))
            listing.events.append(name);
    }
    sortByNumber(listing.blocks);
    sortByNumber(listing.events);
    return listing;
}

folderscan::BlockFile folderscan::readBlock(const QString &folder, const QString &name)
{
    BlockFile block;
    block.name = name;
    block.content = blockfile::readFile(folder + QLatin1Char('/') + name);
    const QVector<SamplePoint> &samples = block.content.samples;
    if (!samples.isEmpty()) {
        const auto range = std::minmax_element(samples.constBegin(), samples.constEnd(),
                                               [](const auto &a, const auto &b) { return a.time < b.time; });
        block.firstTime = range.first->time;
        block.lastTime = range.second->time;
    }
    return block;
}

bool folderscan::readEvent(const QString &folder, const QString &name, EventSummary &event, QString *reason,
                           bool *opened)
{
    EventRecord record;
    if (!eventfile::read(folder + QLatin1Char('/') + name, record, reason, eventfile::Content::WithoutSamples, opened))
        return false;
    event = summaryOf(record);
    event.setFileName(name);
    return true;
}
