#pragma once

#include "data/durability.h"

#include <QByteArray>
#include <QString>

#include <array>

/// One file of a session's journal, "<session>/journal/<8 digits>.norvexjournal". Big-endian.
///
/// | type     | value                                                                        |
/// |----------|------------------------------------------------------------------------------|
/// | 8 bytes  | "NVXJRNL" and a zero byte                                                    |
/// | int32    | version, 1                                                                   |
/// | 16 bytes | session id, random                                                           |
/// | uint64   | number of the file                                                           |
/// | uint32   | CRC-32C of the 36 bytes before                                               |
/// | records  | one after the other to the end of the file                                   |
///
/// | a record | value                                                                        |
/// |----------|------------------------------------------------------------------------------|
/// | uint32   | length of the payload                                                        |
/// | uint32   | CRC-32C of session id, number of the file, offset of the record in the file (uint64), |
/// |          | the length and everything that follows in the record                         |
/// | uint8    | type: 1 samples, 2 event, 3 configuration, 4 recipe, 5 time line, 6 sensor   |
/// | uint8    | length of the sensor folder's name                                           |
/// | bytes    | the name in UTF-8                                                            |
/// | bytes    | payload                                                                      |
///
/// | type          | payload                                                                 |
/// |---------------|-------------------------------------------------------------------------|
/// | samples       | records of 196 bytes, as in block files of version 4                    |
/// | event         | the content of an event file                                            |
/// | configuration | the JSON written to a sensor                                            |
/// | recipe        | compact JSON                                                            |
/// | time line     | int64 base in us, int64 uptime in ms                                    |
/// | sensor        | serial and chamber, each as uint16 length and UTF-8                     |
///
/// A file names a sensor before its first other record, so that each can be read without the ones before it and after a
/// folder got another name.
///
/// Because the checksum covers where a record stands, bytes of another file or of another place are never taken for
/// one. Pure functions over bytes.
namespace journalfile {

constexpr qint32 currentVersion = 1;
constexpr int headerSize = 40;
constexpr int recordHeaderSize = 10;
constexpr quint32 maximumPayload = 600U << 20; // an event file is at most 512 MiB

using SessionId = std::array<char, 16>;

struct Header
{
    SessionId id{};
    quint64 number = 0;
};

struct Entry
{
    QByteArray sensor; // name of its folder, UTF-8
    DurableLog::Record type = DurableLog::Record::Samples;
    QByteArray payload;
};

void appendHeader(QByteArray &out, const Header &header);
/// False and a reason when the bytes do not begin with a whole header.
bool decodeHeader(const char *bytes, qint64 size, Header &header, QString *reason);

/// Appends a record that will stand at `offset` in the file.
void appendEntry(QByteArray &out, const Header &header, quint64 offset, const Entry &entry);

enum class Found {
    Entry,
    End,     // the file ends here
    Invalid, // no record begins here: the file is torn or damaged
};

/// The record at `offset`; `next` is where the following one begins. For an invalid record `next` is where one would
/// follow if its length were right, or `size`.
Found decodeEntry(const char *bytes, qint64 size, qint64 offset, const Header &header, Entry &entry, qint64 &next);

/// The payload of a sensor record. False when it is none.
bool decodeSensor(const QByteArray &payload, QString &serial, QString &chamber);

QString fileName(quint64 number);
/// The number of a journal file's name, 0 for any other name.
quint64 numberOf(const QString &fileName);
/// "<session>/journal"
QString folderOf(const QString &sessionFolder);
/// A journal file that could not be replayed whole is kept under its name with this behind it.
const QString &keptExtension();
/// The number of such a file's name, 0 for any other name.
quint64 keptNumberOf(const QString &fileName);

} // namespace journalfile
