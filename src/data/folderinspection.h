#pragma once

#include "data/eventsummary.h"
#include "data/indexfile.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <vector>

class JobProgress;

/// What one file of a sensor folder is.
enum class FileState {
    Sound,
    Short,       // fewer records than it announces
    Long,        // whole records follow those that it announces
    Unreadable,  // cannot be opened, or is not what its name says
    Unlisted,    // sound, but the index does not know it
    Missing,     // listed, but not there
    Overlapping, // holds records that another file or itself holds too
    Stale,       // the index says something else of it
    Outside,     // listed under a name that leaves the folder
};

/// "sound", "short", "long", "unreadable", "unlisted", "missing", "overlapping", "stale", "outside".
QString nameOf(FileState state);
QString shownNameOf(FileState state); // the same in the language of the user

struct InspectedBlock
{
    QString name;
    FileState state = FileState::Sound;
    QString detail; // in words, may be empty
    bool listed = false;
    qint64 announced = 0;
    qint64 readable = 0;
    quint64 firstTime = 0; // earliest and latest of the readable samples, us
    quint64 lastTime = 0;
    bool repeatsItself = false;    // a time comes twice in the file
    QVector<quint64> doubledTimes; // rising: times that a file before this one holds, too
};

struct InspectedEvent
{
    EventSummary summary; // as listed, else as its file says; of an unreadable file only the name
    FileState state = FileState::Sound;
    QString detail;
};

/// An event's line in the index whose file does not bring the event: it is missing, unreadable or holds another one.
struct LostEvent
{
    EventSummary summary;
    FileState state = FileState::Missing;
};

/// Everything about a sensor folder that its files and its index say, without a sample in memory.
struct FolderInspection
{
    QString path;
    bool cancelled = false;
    bool isThere = true;
    QStringList problems; // of the folder and its index
    QStringList outside;  // listed names that leave the folder

    // What the index says, or the backup of it that an interrupted save left.
    QString sensorSerial;
    QString chamberSerial;
    QByteArray recipe; // JSON
    QByteArray configurationText;

    QVector<InspectedBlock> blocks; // by number
    QStringList missingBlocks;
    std::vector<InspectedEvent> events; // listed ones in the order of the list, then by number
    std::vector<LostEvent> lostEvents;

    bool isDamaged() const;
};

/// Reads every block and event file of a sensor folder once, those that may hold the same samples a second time, and
/// compares them with the index. Changes nothing. Memory goes with the number of files, not with what they hold. With
/// `progress` each file is a unit.
FolderInspection inspectFolder(const QString &path, JobProgress *progress = nullptr);

/// How many units an inspection takes.
int inspectionUnits(const QString &path);
