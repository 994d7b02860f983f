#pragma once

#include "events/eventtype.h"

#include <QChar>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtGlobal>

/// What one export writes, as chosen in the dialog or on the command line.
struct ExportRequest
{
    quint64 from = 0; // us since the epoch; printed in the headers
    quint64 to = 0;
    /// The range was left at the whole recording: all of the millisecond `to` belongs to it, which is otherwise
    /// excluded.
    bool toIncluded = false;
    QChar delimiter = QLatin1Char(';');
    bool exportEvents = true;
    bool exportRfOn = true;
    QString sessionName;    // name of the session folder
    QStringList eventTypes; // names known to and enabled in the event filter
    /// Names known to the filter and not enabled. Only needed for types of the user: a built-in name that is not among
    /// eventTypes is disabled anyway, while events of a name that the filter does not know are written.
    QStringList disabledTypes;
    /// Enabled types: the first that matches an event's waveform gives the event its name.
    QVector<eventType> userTypes;
    /// Names of exportQuantities(): the columns of the samples table, all when empty. Not for the three fixed files.
    QStringList quantities;
    /// Instead of every sample: minimum, mean and maximum over stretches of that many microseconds. Likewise.
    quint64 binWidth = 0;
    QString viFile;
    QString rfOnFile;
    QString eventsFile;
};
