#pragma once

#include <QString>
#include <QStringList>

/// What a session's journal holds, without replaying it.
struct JournalCheck
{
    int files = 0;
    qint64 records = 0;   // good ones; the next opening of the session takes them
    QStringList problems; // damage; a torn end of the newest file is none
};

/// Reads every journal file of a session. Changes nothing.
JournalCheck checkJournal(const QString &sessionFolder);
