#pragma once

#include "data/journalfile.h"
#include "data/norvexdata.h"

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

/// What a replay found.
struct ReplayReport
{
    int files = 0;
    int entries = 0; // good records, whether they brought anything new or not
    quint64 addedSamples = 0;
    int addedEvents = 0;
    QStringList problems; // in words, of files that were set aside or stay for the next time
    QStringList replayed; // names of the files whose records the stores have, all of them
    QString unreadable;   // the first file that the system could not read, with its reason

    // For tidyJournal().
    QStringList damaged;                  // replayed as far as they are good
    QVector<QPair<QString, qint64>> torn; // being written when the program ended, and how many bytes are good

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
/// when it cannot. The stores have no log attached yet. Nothing is changed on disk. A file that could not be replayed
/// stays for the next time: the session's Journal takes away only what it is told. Before the session's Journal is
/// made.
ReplayReport replayJournal(const QString &sessionFolder,
                           const std::function<norvexData *(const JournalSensor &)> &storeOf);

/// One record of it: gives it to its store and counts what that brought. A payload that is none is left out; `problem`
/// says why when something is lost with it, `refused` when the store cannot take the record now.
void replayEntry(const journalfile::Entry &entry, norvexData &store, ReplayReport &report, QString *problem,
                 QString *refused);

/// After a replay, for those who go on with the session: cuts off a torn end of the newest file (a kill in the middle
/// of a write), and sets aside under another name a file that is damaged in any other way, or holds records of a sensor
/// that nobody knows. A file in the place of the journal's folder makes way, too.
void tidyJournal(const QString &sessionFolder, const ReplayReport &report);
