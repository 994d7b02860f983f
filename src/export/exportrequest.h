#pragma once

#include <QChar>
#include <QString>
#include <QStringList>
#include <QtGlobal>

/// What one CSV export writes, as chosen in the dialog or on the command line.
struct ExportRequest
{
    quint64 from = 0; // us since the epoch; printed in the headers
    quint64 to = 0;
    /// The range was left at the whole recording: the newest sample belongs to it although `to` is otherwise excluded.
    bool toIncluded = false;
    QChar delimiter = QLatin1Char(';');
    bool exportEvents = true;
    bool exportRfOn = true;
    QString sessionName; // name of the session folder
    QStringList eventTypes; // names known to and enabled in the event filter
    QString viFile;
    QString rfOnFile;
    QString eventsFile;
};
