#pragma once

#include "base/clock.h"
#include "data/folderrepair.h"

#include <QString>
#include <QStringList>
#include <QVector>

class JobProgress;

/// How the repair or recovery of a session went.
struct SessionRepair
{
    enum class Outcome {
        Sound,    // nothing had to be changed
        Repaired, // the session opens, with everything that could be read
        NoData,   // the folder holds nothing to recover
        Cancelled,
        Locked,      // another program has the session open
        CannotWrite, // as Failed, for want of room or of rights
        Failed,      // `reason` says what could not be done; everything read is still there and it can be tried again
    } outcome = Outcome::Sound;

    QString reason;
    QString session;      // the folder that holds the session now
    QString asideFolder;  // where the replaced originals are; empty when none had to be moved
    QStringList problems; // what was wrong with the session file and the journal
    struct Sensor
    {
        QString folder;
        QStringList found; // what was wrong, one a file
        FolderRepair repair;
    };
    QVector<Sensor> sensors; // those that were not sound

    bool isSessionThere() const { return outcome == Outcome::Sound || outcome == Outcome::Repaired; }
};

/// Makes a session sound: every sensor folder, the session file and what the journal still holds. Originals of what is
/// replaced go to "repair-<time>" in the session folder. A pool thread may run it; no program may have the session
/// open.
SessionRepair repairSession(const QString &folder, JobProgress *progress = nullptr, const Clock &clock = systemClock());

/// The same for any folder with sensor data, with or without a session file: all sub-folders with sensor data become
/// sensors of the session. Block and event files that lie in the folder itself are copied into a sensor folder of
/// their own.
SessionRepair recoverSession(const QString &folder, JobProgress *progress = nullptr,
                             const Clock &clock = systemClock());
