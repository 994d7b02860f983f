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

/// The same into a caller's buffer of at least numberBufferSize bytes, without a terminating zero. They return the end
/// of what was written.
constexpr int numberBufferSize = 32;
char *writeStreamNumber(char *out, double value);
char *writeInteger(char *out, quint64 value);
