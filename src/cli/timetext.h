#pragma once

#include <QString>

/// Times as a user writes and reads them on the command line.
namespace timetext {

/// Microseconds since the epoch from a whole number, or from ISO 8601 with a zone ("2024-05-01T12:00:00.25Z",
/// "2024-05-01 14:00+02:00"). False and a reason otherwise.
bool parse(const QString &text, quint64 &us, QString *reason);

/// "2024-05-01 12:00:00 UTC", or "-" for 0.
QString utc(quint64 us);

/// A span in its two largest units: "850 ms", "12 s", "3 min 20 s", "5 h 2 min", "3 d 4 h".
QString span(quint64 us);

} // namespace timetext
