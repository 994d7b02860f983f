#pragma once

#include "data/folderinspection.h"

#include <QString>
#include <QStringList>

class JobProgress;

/// What a sensor folder's index says when nothing of it can be read.
struct SensorIdentity
{
    QString serial;
    QString chamber;
};

/// What a folder's name tells: serials come with hyphens more often than chambers do, so the last one parts them.
SensorIdentity identityOfName(const QString &folderName);

/// How the repair of one sensor folder went.
struct FolderRepair
{
    enum class Outcome {
        Sound, // nothing had to be changed
        Repaired,
        Cancelled,   // nothing was changed
        CannotWrite, // as Failed, for want of room or of rights
        Failed,      // what could not be done is in `reason`; nothing is lost, and it can be tried again
    } outcome = Outcome::Sound;

    QString reason;
    QStringList changes;       // what was done and what is lost, in words, one a file
    int setAside = 0;          // files moved into the folder for the originals
    int rewritten = 0;         // block files whose readable part is in new ones
    int addedFiles = 0;        // blocks and events that the index did not know
    int restoredEvents = 0;    // without their waveform, from their lines in the index
    qint64 lostSamples = 0;    // announced, but nowhere to be read
    QStringList missingBlocks; // listed, but not there
};

/// Makes a sensor folder sound again. Listed entries are kept, unlisted files are added, times are read from the files;
/// what a broken or doubled file still holds goes to new files under free numbers, and an event whose file is lost
/// keeps what its line in the index says. Every original that is replaced is moved to `asideFolder`, a folder that is
/// made when it is needed; nothing is deleted. Run twice, the second run finds nothing to do. No store may have the
/// folder open.
FolderRepair repairFolder(const FolderInspection &inspection, const SensorIdentity &identity,
                          const QString &asideFolder, JobProgress *progress = nullptr);
