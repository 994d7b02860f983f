#pragma once

#include "data/norvexdata.h"

#include <QString>
#include <QStringList>

#include <functional>

/// What a replay found.
struct ReplayReport
{
    int files = 0;
    int entries = 0; // good records, whether they brought anything new or not
    quint64 addedSamples = 0;
    int addedEvents = 0;
    QStringList problems; // in words, of files that were set aside or stay for the next time
    QStringList replayed; // names of the files whose records the stores have

    bool isEmpty() const { return entries == 0 && problems.isEmpty(); }
};

/// A sensor as its records name it.
struct JournalSensor
{
    QString folder;
    QString serial; // empty when the journal does not say
    QString chamber;
};

/// Brings back what a session's stores had accepted and no save had written: reads every journal file of the session,
/// oldest first, and gives its records to the stores as the sensors did. What a store has already it refuses, so a
/// replay is harmless at any point and any number of times.
///
/// `storeOf` finds the store of a sensor folder, or makes it for a sensor that was added after the last save; nullptr
/// when it cannot. The stores have no log attached yet. Normally a torn end of the newest file (a kill in the middle of
/// a write) is cut off, and a file that is damaged in any other way, or holds records of a sensor that nobody knows, is
/// set aside under another name when it was read; ReadOnly changes nothing. A file that could not be replayed for
/// another reason stays for the next time: the session's Journal takes away only what it is told. Before the session's
/// Journal is made.
ReplayReport replayJournal(const QString &sessionFolder,
                           const std::function<norvexData *(const JournalSensor &)> &storeOf,
                           LoadMode mode = LoadMode::Normal);
