#pragma once

#include "data/blockfile.h"
#include "data/eventsummary.h"

#include <QString>
#include <QStringList>

/// Looks at the block and event files of a sensor folder without any index. Reads only; symbolic links, folders and
/// temporary files are not listed. Used to rebuild or complete an index and to check a folder.
namespace folderscan {

struct Listing
{
    QStringList blocks; // names, by number and then by name
    QStringList events;
    QStringList leftovers; // of writers that were killed
    bool complete = true;  // false: the system could not tell all names
};

struct BlockFile
{
    QString name;
    blockfile::Content content;
    quint64 firstTime = 0; // earliest and latest sample, us; 0 without samples
    quint64 lastTime = 0;

    bool isDamaged() const { return !content.opened || !content.complete; }
};

Listing list(const QString &folder);
BlockFile readBlock(const QString &folder, const QString &name);
/// The summary names its file. False and a reason for a file that is not one whole event; `opened` is false when that
/// is not known, because it could not be read.
bool readEvent(const QString &folder, const QString &name, EventSummary &event, QString *reason,
               bool *opened = nullptr);

} // namespace folderscan
