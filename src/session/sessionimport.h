#pragma once

#include "data/csvsamples.h"

#include <QString>
#include <QStringList>

class JobProgress;
class norvexData;

/// How an import went.
struct ImportOutcome
{
    enum class Kind {
        Done,
        NoData,    // there is nothing to import
        Cancelled, // what was imported until then stays
        Failed,    // `reason` says why; what was imported until then stays, and a second try adds the rest
    } kind = Kind::Done;

    QString reason;
    bool cannotWrite = false; // what failed was to write into the session
    quint64 samples = 0;      // added
    quint64 knownSamples = 0;
    int events = 0; // added, runs included
    int knownEvents = 0;
    bool hadIndex = true; // else it was a folder of the old format
    QStringList problems; // of the source, in words
};

/// The sensor folders of an import source: the folder itself, or those in it.
QStringList sensorFoldersOf(const QString &source);
/// The names that an import proposes: what the folder's index says, else its name.
struct ImportNames
{
    QString sensor;
    QString chamber;
};
ImportNames proposedNames(const QString &sensorFolder);

/// Copies the samples and events of another session's sensor folder into a store of the session in `sessionFolder`.
/// The source may have lost its index or be of the old format (block files of version 1 to 3 without one); it is only
/// read. Files get free numbers, records that the store has already are left out, and of a damaged file what can be
/// read is taken. A new store also gets the configuration and the recipe. Pool thread; the store may be shared.
ImportOutcome importSensorFolder(const QString &source, norvexData &store, const QString &sessionFolder,
                                 JobProgress *progress = nullptr);

/// Adds the samples of a text table, read by `layout`, to a store of the session in `sessionFolder`, without the run
/// detector. The same rules as above.
ImportOutcome importTable(const QString &path, const csvsamples::Layout &layout, norvexData &store,
                          const QString &sessionFolder, JobProgress *progress = nullptr);
