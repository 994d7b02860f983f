#pragma once

#include "data/eventrecord.h"
#include "events/eventtype.h"

#include <QChar>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtGlobal>

#include <memory>

/// The user's type of events, empty for one that matches none.
using EventNames = QHash<EventKey, QString>;

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
    /// What was found with these userTypes in this recording before; the waveforms of other events are read. May be
    /// null.
    std::shared_ptr<const EventNames> knownNames;
    /// Names of exportQuantities(): the columns of the samples table, all when empty. Not for the three fixed files.
    QStringList quantities;
    /// Instead of every sample: minimum, mean and maximum over stretches of that many microseconds. Likewise.
    quint64 binWidth = 0;
    QString viFile;
    QString rfOnFile;
    QString eventsFile;
};
