#pragma once

#include <QByteArray>
#include <QString>

/// Numbers in files, logs and replies, always in the C locale.

/// A double as QTextStream writes it by default: %g with six significant digits, infinities as "inf"/"-inf".
/// Exact ties are rounded away from zero and -0.0 prints "0", as the stream does.
void appendStreamNumber(QByteArray &out, double value);
QString streamNumber(double value);

/// The same for a value that is kept in single precision.
void appendStreamNumber(QByteArray &out, float value);

/// A whole number in decimal.
void appendInteger(QByteArray &out, qint64 value);
void appendInteger(QByteArray &out, quint64 value);
