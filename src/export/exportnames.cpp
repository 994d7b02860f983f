#include "export/exportnames.h"

#include "base/coretext.h"

#include <QLocale>

ExportNames exportNames(const QString &chosen)
{
    const QString csv = QStringLiteral(".csv");
    const QString viCsv = QStringLiteral(".vi.csv");
    const QString rfOnCsv = QStringLiteral(".rfon.csv");
    const int nameStart = chosen.lastIndexOf(QLatin1Char('/')) + 1;
    const QString folder = chosen.left(nameStart);
    QString name = chosen.mid(nameStart);
    if (!name.endsWith(csv, Qt::CaseInsensitive))
        name += csv;

    QString rfOn = name;
    rfOn.replace(name.contains(viCsv, Qt::CaseInsensitive) ? viCsv : csv, rfOnCsv, Qt::CaseInsensitive);
    QString events = rfOn;
    events.replace(rfOnCsv, QStringLiteral(".events.csv"));
    return {folder + name, folder + rfOn, folder + events};
}

QString exportStem(const QString &chosen)
{
    for (const char *end : {".vi.csv", ".csv", ".sqlite", ".lp"}) {
        if (chosen.endsWith(QLatin1String(end), Qt::CaseInsensitive))
            return chosen.left(chosen.size() - static_cast<int>(qstrlen(end)));
    }
    return chosen;
}

QString exportFolder(const QString &sessionFolder)
{
    return QStringLiteral("%1/%2").arg(sessionFolder, QStringLiteral("Exports"));
}

QString exportTag(const QDateTime &localTime)
{
    return QStringLiteral("nor-") + QLocale::c().toString(localTime, QStringLiteral("yyyy_MM_dd_HHmm"));
}

QString defaultExportFile(const QString &sessionFolder, const QDateTime &localTime)
{
    return exportFolder(sessionFolder) + QLatin1Char('/') + exportTag(localTime) + QStringLiteral(".vi.csv");
}

QString tooManyEventsTitle()
{
    return CoreText::tr("Excessive number of events");
}

QString exportRefusal(int eventCount, bool exportEvents)
{
    if (!exportEvents || eventCount <= maximumExportEvents)
        return QString();
    return CoreText::tr(
               "You are attempting to export %1 events, which will write more than %2 rows to the CSV result file.\n"
               " Excel and Openoffice have a limit of 1024 columns and won't open this file\n"
               " current export limit is 475 events per export.\n"
               " Please use the graphical selection tool, or toggle off certain events type to reduce the number of"
               " selected events.")
        .arg(eventCount)
        .arg(2 * eventCount + 10);
}
