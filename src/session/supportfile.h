#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class QSettings;

/// What somebody who helps needs to know of an installation and its session, as one text that the user can read before
/// sending it: versions, settings, the session's files with their sizes, its indexes, and the end of the log. It holds
/// names and addresses, but nothing that was measured. Reads only; bounded in size; any thread.
struct SupportFacts
{
    QString program;       // name and version
    QString sessionFolder; // empty: none is open
    QString logFile;       // of the program, may be missing
    const QSettings *settings = nullptr;
    QStringList problems; // as the window lists them
};

QByteArray supportText(const SupportFacts &facts);
/// "norvex-support-<time>.txt"
QString supportFileName(qint64 utcMs);
