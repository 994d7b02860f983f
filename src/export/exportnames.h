#pragma once

#include <QDateTime>
#include <QString>

/// Names and rules of an export that the window and the command line share. Pure functions.

/// The three files of one export.
struct ExportNames
{
    QString viFile;
    QString rfOnFile;
    QString eventsFile;
};

/// Derives the three names from the one that was chosen: "run.vi.csv" or "run.csv" goes with "run.rfon.csv" and
/// "run.events.csv". Only the file name is changed, never a folder; ".csv" is appended when it is missing. The three
/// always differ.
ExportNames exportNames(const QString &chosen);

/// The chosen name without what names a kind of export: "run" for "run.vi.csv", "run.csv" or "run.sqlite".
QString exportStem(const QString &chosen);

/// The folder of exports, "<session>/Exports".
QString exportFolder(const QString &sessionFolder);
/// "nor-" and the local time.
QString exportTag(const QDateTime &localTime);
/// The proposed V/I file of a session.
QString defaultExportFile(const QString &sessionFolder, const QDateTime &localTime);

/// How many events one export may write.
constexpr int maximumExportEvents = 475;
/// Title of the box that refuses more.
QString tooManyEventsTitle();
/// The text of that box; empty when the export is accepted.
QString exportRefusal(int eventCount, bool exportEvents);
