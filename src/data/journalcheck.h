#pragma once

#include "data/journalscan.h"

#include <QString>
#include <QStringList>

/// What a session's journal holds, without replaying it.
struct JournalCheck
{
    int files = 0;
    qint64 records = 0;   // good ones; the next opening of the session takes them
    QStringList problems; // damage, and files set aside for it; a torn end of the newest file is none
};

/// Reads every journal file of a session, oldest first, and hands on what can be read, without replaying it. Changes
/// nothing and holds one record at a time.
JournalCheck readJournal(const QString &sessionFolder, const TakeJournalEntry &take);
JournalCheck checkJournal(const QString &sessionFolder);
