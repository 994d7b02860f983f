#pragma once

#include <QStringList>

struct EventRecord;

/// The built-in event types, by code.
namespace eventtype {

enum Code : int {
    E11, E12, E13, E21, E22, E23, E31, E32, E33,
    NotAnEvent = 9,
    PulseEvent = 10,
    Snapshot = 11,
    RfOn = 12,
};

constexpr int builtInCount = 13;

/// The 13 names by code: "E11" .. "E33", "NOTANEVENT", "E_PE", "SNAP", "E_ON".
const QStringList &names();
/// The name of a code, empty outside 0..12.
QString name(int code);
/// The name an event has of its own: that it was given, else that of its code, else "unknown".
QString nameOf(const EventRecord &event);
/// The code of a name (case-sensitive), -1 when it is not known.
int code(const QString &name);
/// "E%1%2" from the two class digits.
QString className(int firstDigit, int secondDigit);
/// The position of a type's counter in SamplePoint::eventCounts, -1 when the type has none. Counters and codes are
/// ordered differently: pulse events are counted at position 9.
int countIndex(int code);
/// Shown after the type name of an overridden event that is not an event: "_NOTANEVENT". Never written to files.
const QString &notAnEventSuffix();

} // namespace eventtype
