#pragma once

#include "data/integritycheck.h"
#include "session/sessionfile.h"

#include <QString>
#include <QStringList>
#include <QVector>

/// What a check of a whole session folder found.
struct SessionCheck
{
    QString session;
    QStringList problems;             // of the session file and the journal
    QVector<IntegrityReport> sensors; // those of the session file, then other folders with sensor data
    QStringList notListed;     // names of those other folders; a removed sensor leaves one, so they are no damage
    bool isListSound = true;   // the session file can be read whole, so it tells which sensors belong to the session
    qint64 journalRecords = 0; // that no save has written yet; the next opening takes them
    bool cancelled = false;

    bool isDamaged() const;
};

/// Checks the session file, the journal and every sensor folder. Changes nothing.
SessionCheck checkSession(const QString &folder, JobProgress *progress = nullptr);

/// What a session folder holds, as far as its session file and its sub-folders tell.
struct SessionContent
{
    QString path;
    SessionFileContent file;
    QStringList problems;  // of the session file
    QStringList notListed; // sub-folders with sensor data that the file does not name
};
SessionContent contentOfSession(const QString &folder);
