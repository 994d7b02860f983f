#pragma once

#include "data/eventrecord.h"

#include <QByteArray>
#include <QString>

/// The file of one event, "Event_<number>.norvexevent". Big-endian, doubles of 64 bits, samples as in block files of
/// version 4. It holds everything of the event, so that an index can be rebuilt from the files alone.
///
/// | type           | value                                                        |
/// |----------------|--------------------------------------------------------------|
/// | int32          | version, 4                                                   |
/// | int32          | reserved, 0                                                  |
/// | int64          | time, us                                                     |
/// | int32          | type code                                                    |
/// | int32          | flags: 1 overridden, 2 named, 4 a recipe follows             |
/// | int32          | override code                                                |
/// | int32, bytes   | length of the type name in bytes, the name in UTF-8          |
/// | 3 x 196 bytes  | snapshots 1, 2 and 3                                         |
/// | int32, n x 196 | number of waveform samples (of a run: step means), samples   |
/// | int32, bytes   | with flag 4: length of the recipe in bytes, its compact JSON |
///
/// Pure functions over bytes.
namespace eventfile {

constexpr qint32 currentVersion = 4;
inline constexpr char namePrefix[] = "Event_";
/// Larger than any event a sensor can send.
constexpr qint64 maximumSize = qint64(512) << 20;

enum class Content { Everything, WithoutSamples };

QByteArray encode(const EventRecord &event);
/// False and a reason when the bytes are not one whole event; `event` is then untouched. Lengths are checked against
/// the bytes that are there before anything is allocated. The file path is left empty.
bool decode(const QByteArray &bytes, EventRecord &event, QString *reason = nullptr,
            Content content = Content::Everything);
/// Reads a whole event file. `opened` tells one that could not be read from one that holds no event.
bool read(const QString &path, EventRecord &event, QString *reason = nullptr, Content content = Content::Everything,
          bool *opened = nullptr);

QString fileName(qint32 number);
/// Beyond, a file counts as one of another name: the next numbers must stay numbers.
constexpr qint32 largestNumber = 2000000000;
/// The number of "Event_<number>.norvexevent" without leading zeros, 0 for any other name.
qint32 numberOf(const QString &fileName);

} // namespace eventfile
