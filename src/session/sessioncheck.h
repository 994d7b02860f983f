#pragma once

#include "data/integritycheck.h"

#include <QString>
#include <QStringList>
#include <QVector>

/// What a check of a whole session folder found.
struct SessionCheck
{
    QString session;
    QStringList problems;             // of the session file
    QVector<IntegrityReport> sensors; // those of the session file, then other folders with sensor data
    QStringList notListed; // names of those other folders; a removed sensor leaves one, so they are no damage

    bool isDamaged() const;
};

/// Checks the session file and every sensor folder. Changes nothing.
SessionCheck checkSession(const QString &folder);
