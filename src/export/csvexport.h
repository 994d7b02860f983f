#pragma once

#include "export/exportrequest.h"

#include <QDateTime>
#include <QString>
#include <QVector>

#include <functional>

class abstractNorvexData;

/// Hears how far an export is: the work in words, and a value from 0 to maximum. False cancels. Called often, from
/// exportCsv's thread.
using ExportProgress = std::function<bool(const QString &label, int value, int maximum)>;

/// What became of one file.
struct ExportedFile
{
    enum Result {
        Written,
        CannotWrite, // the file that was there before, if any, is unchanged
        Cancelled,   // likewise
    };

    QString path;
    Result result = Written;
    QString error; // why it cannot be written
};

/// What became of an export, for the window's boxes and the command line's exit code.
struct ExportOutcome
{
    QVector<ExportedFile> files; // those that were asked for, in the order in which they are written
    quint32 runs = 0;
    quint32 points = 0;
    quint32 events = 0;
    /// Some stored samples could not be read and are missing from the files.
    bool isIncomplete = false;

    bool isCancelled() const;
    bool isWritten() const; // every file
};

/// "Unable to create file" and "Unable to create file:" + path, as shown for a file that cannot be written.
QString cannotCreateTitle();
QString cannotCreateText(const QString &path);

/// Writes the V/I file, then the events and the RF-ON file when the request asks for them. A file that cannot be
/// written does not stop the others; each is replaced as a whole or not at all. Samples are read in slices of time, so
/// memory does not grow with the range. Blocks its thread; the data may grow meanwhile.
ExportOutcome exportCsv(const abstractNorvexData &data, const ExportRequest &request, const QDateTime &exportDate,
                        const ExportProgress &progress = nullptr);
