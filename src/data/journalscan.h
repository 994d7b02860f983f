#pragma once

#include "data/journalfile.h"

#include <QMap>
#include <QString>

#include <functional>

/// The journal files of a session by their numbers, oldest first.
struct JournalNames
{
    QMap<quint64, QString> files;
    QStringList kept;     // set aside by an earlier opening
    bool complete = true; // false: the system could not tell all names
};
JournalNames journalNames(const QString &sessionFolder);

/// What one journal file holds.
struct JournalScan
{
    QString unreadable; // why the system did not give all of it; nothing was handed on then
    QString damage;     // in words; a torn end of the newest file is none
    qint64 size = 0;
    qint64 goodEnd = 0; // where the last good record ends, 0 without a header
    qint64 records = 0; // good ones
};

/// Gets a good record; returning false ends the reading.
using TakeJournalEntry = std::function<bool(const journalfile::Entry &entry)>;

/// Hands on every good record of a journal file, in order, behind damage too. Changes nothing and holds one record at a
/// time. Any thread.
JournalScan scanJournalFile(const QString &path, bool newest, const TakeJournalEntry &take);
