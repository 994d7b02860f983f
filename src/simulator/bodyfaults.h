#pragma once

#include "simulator/fault.h"

/// Pages that are not what they should be, as pure functions of the good page. A page that a fault cannot be applied to
/// stays as it is.
namespace bodyfaults {

QByteArray garbled(const FaultArgument &, const QByteArray &body);
/// The first measured number is replaced by a text, for example "NaN"; in a binary event the scales are not finite.
QByteArray numberReplaced(const FaultArgument &replacement, const QByteArray &body);
/// Without the line of a key.
QByteArray lineRemoved(const FaultArgument &key, const QByteArray &body);
/// One value fewer in the voltage column.
QByteArray unequalColumns(const FaultArgument &, const QByteArray &body);
/// The counts of a frame are the number; a binary event claims 65535 points.
QByteArray countsReplaced(const FaultArgument &count, const QByteArray &body);
/// A frame with half of its samples.
QByteArray shrunk(const FaultArgument &, const QByteArray &body);
QByteArray deepJson(const FaultArgument &depth, const QByteArray &body);
/// Every line again and again.
QByteArray duplicateKeys(const FaultArgument &times, const QByteArray &body);
QByteArray timesBackwards(const FaultArgument &, const QByteArray &body);
QByteArray timesEqual(const FaultArgument &, const QByteArray &body);
QByteArray otherSerial(const FaultArgument &serial, const QByteArray &body);

} // namespace bodyfaults
