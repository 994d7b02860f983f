#pragma once

#include <QString>
#include <QVector>

#include <functional>

/// Reads a block file of any size and any content piece by piece, with the records still as bytes: to check, to copy
/// and to save what a damaged file still holds. Nothing is guessed: a version that is not known is not read.
namespace blockscan {

struct Header
{
    qint32 version = 0;
    qint32 announced = 0; // the header's count
    qint64 held = 0;      // whole records behind the header, whatever is announced; at most blockfile::maximumCount
    qint64 rest = 0;      // bytes behind the last whole record

    /// The records that are the file's: those announced as far as they are there. A file that goes on with whole
    /// records behind its count has a damaged count, because no writer leaves any there.
    qint64 readable() const;
    bool isShort() const { return held < announced; }
    bool isLong() const { return held > announced && announced >= 0 && rest == 0; }
};

/// Gets `count` records one after the other; returning false ends the scan.
using Take = std::function<bool(const uchar *records, int count, const Header &header)>;

/// False and a reason for a file that cannot be read or has no header of ours; `header` is filled before `take` is
/// called for the first time.
bool scan(const QString &path, Header &header, const Take &take, QString *reason);

/// The time of the record at `record`, whatever its version.
quint64 timeAt(const uchar *record);

} // namespace blockscan
