#pragma once

#include "data/eventsummary.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <vector>

/// One "block;" line.
struct IndexBlock
{
    QString folder; // as recorded; the sensor folder may have been renamed since
    QString file;
    quint64 firstTime = 0; // us
    quint64 lastTime = 0;
    bool timesKnown = false; // a line without times: the block file has to be read
};

/// What an index file says.
struct IndexContent
{
    QString sensorSerial;
    QString chamberSerial;
    QByteArray configurationText; // lines of "label;value", of indexes that carry them
    QByteArray recipe;            // JSON; empty when none was set
    qint32 announcedBlocks = 0;
    qint32 foundBlocks = 0; // lines, readable or not
    qint32 announcedEvents = 0;
    qint32 foundEvents = 0;
    QVector<IndexBlock> blocks;
    std::vector<EventSummary> events;
    int skippedLines = 0;
    QStringList problems;  // the first of the skipped lines, each with its reason
    QStringList outside;   // file names of skipped lines that leave the folder, the first of them
    bool complete = false; // "End Events;" was there

    bool missesBlocks() const { return foundBlocks < announcedBlocks; }
};

/// A sensor's "index.dat": text in UTF-8, one record a line, numbers in decimal.
///
/// | line           | content                                                                                  |
/// |----------------|------------------------------------------------------------------------------------------|
/// | 1              | "Arc detect data file ;V1.0.0"                                                           |
/// | 2              | "Sensor Serial ;" serial                                                                 |
/// | 3              | "Chamber Serial;" chamber                                                                |
/// | 4              | "Configuration Data;" "OK" when the configuration file was written, else "Error"         |
/// | 5              | "End Block Config;"                                                                      |
/// | with a recipe  | "Recipe Last Data;" compact JSON: everything after the first ";"                         |
/// | next           | "Block Data;" number of blocks                                                           |
/// | one per block  | "block;" sensor folder ";" file ";" first time ";" last time                             |
/// | next           | "End Blocks;"                                                                            |
/// | next           | "Event Data;" number of events                                                           |
/// | one per event  | "Event;" sensor folder ";" file ";" time ";" type name ";" 1 for a user's type, else 0   |
/// |                | ";" effective code, then for snapshots 2, 1, 3: ";" time ";" frequency ";" voltage       |
/// |                | ";" real current ";" imaginary current                                                   |
/// | last           | "End Events;"                                                                            |
///
/// The writer ends lines with "\n" (the file is opened as text, which makes it the platform's line end), the reader
/// takes both. Pure functions over bytes.
namespace indexfile {

constexpr qint64 maximumSize = qint64(1) << 30;

struct Header
{
    QString sensorSerial;
    QString chamberSerial;
    bool configurationWritten = false;
    QByteArray recipe; // empty: no line
};

void appendHeader(QByteArray &out, const Header &header);
void appendBlockStart(QByteArray &out, int count);
void appendBlock(QByteArray &out, const QByteArray &folder, const QString &file, quint64 firstTime, quint64 lastTime);
void appendBlockEnd(QByteArray &out);
void appendEventStart(QByteArray &out, int count);
void appendEvent(QByteArray &out, const QByteArray &folder, const EventSummary &event);
void appendEventEnd(QByteArray &out);

/// Takes what it can from any bytes. A line that has too few fields, a number that does not convert or a file name that
/// leaves the folder is skipped, counted and listed.
IndexContent read(const QByteArray &bytes);

} // namespace indexfile
