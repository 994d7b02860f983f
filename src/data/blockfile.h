#pragma once

#include "data/samplepoint.h"

#include <QByteArray>
#include <QString>
#include <QVector>

/// A sample block on disk, ".norvexdata": big-endian, doubles with 64 bits.
///
///   offset   bytes   value
///        0       4   version of the records, signed: written as 4, read as 1 to 4
///        4       4   reserved: written as 0, ignored when read
///        8       4   count of records, signed
///       12  n each   the records, n = sampleRecordSize(version)
///
/// A record of version 4 (samplefields.h tells what older ones leave out):
///
///        0       8   time, us since the epoch         52      4   slot 1 on time, us
///        8       8   frequency, Hz                    56    6x8   slot 1 voltage avg, max, min; current avg, max, min
///       16       8   voltage, V                      104      4   slot 2 on time, us
///       24       8   current, real part, A           108    6x8   slot 2, as slot 1
///       32       8   current, imaginary part, A      156   10x4   events of each detector class
///       40       4   number of pulses                196
///       44       8   pulse period, us
///
/// What follows the last record is ignored. The count is never trusted: a file holds what its size can hold, and at
/// most maximumCount records are read.
namespace blockfile {

constexpr int headerSize = 12;
constexpr int maximumCount = 2000000;

/// The records in a whole file of the current version with this many bytes.
constexpr int countFromSize(qint64 size)
{
    constexpr int recordSize = sampleRecordSize(SamplePoint::currentVersion);
    return size < headerSize ? 0 : static_cast<int>(qMin<qint64>((size - headerSize) / recordSize, maximumCount));
}

struct Content
{
    QVector<SamplePoint> samples; // in the order of the file
    qint32 version = 0;
    qint32 announced = 0;  // the header's count
    bool opened = true;    // the file could be opened and read; only readFile() says false
    bool complete = false; // every announced record was there
    QString reason;        // why not
};

QByteArray encodeBlock(const QVector<SamplePoint> &samples);
Content decodeBlock(const char *bytes, qint64 size);

/// The same content as decodeBlock() on the file's bytes, without holding them all.
Content readFile(const QString &path);

} // namespace blockfile
