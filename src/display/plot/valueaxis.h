#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// A stretch of values on an axis.
struct ValueSpan
{
    double low = 0;
    double high = 1;

    double length() const { return high - low; }
    friend bool operator==(const ValueSpan &a, const ValueSpan &b) { return a.low == b.low && a.high == b.high; }
    friend bool operator!=(const ValueSpan &a, const ValueSpan &b) { return !(a == b); }
};

/// How values of a unit are scaled for reading: 1234 V is 1.234 kV, 20 µs of a quantity kept in µs stay 20 µs.
struct UnitScale
{
    double factor = 1; // a value times this is what is written
    QString unit;      // with the prefix
};

/// The prefix that gives `largest` one to three digits before the point. Empty units and % have none.
UnitScale unitScale(double largest, const QString &unit);
/// "1.234 kV", "13.56 MHz", "-0.5 A"; "no value" for what is not finite.
QString valueText(double value, const QString &unit, int digits = 4);

/// Where a value axis has its ticks and what they say.
struct ValueTicks
{
    QVector<double> major;
    QVector<double> minor;
    QStringList labels;
    QString unit; // with the prefix that the labels leave out
};

/// Ticks at 1, 2 or 5 times a power of ten, at most `most` major ones.
ValueTicks valueTicks(const ValueSpan &span, const QString &unit, int most = 8);

/// The span an automatic axis shows for these extremes: with room around them, from zero when they are near it, and the
/// present one as long as the data fill it well, so that a live axis stands still.
ValueSpan automaticSpan(double low, double high, const ValueSpan *present = nullptr);

/// Keeps a span the user asked for within what can be drawn.
ValueSpan clampedSpan(ValueSpan span);
