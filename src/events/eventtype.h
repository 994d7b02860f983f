#pragma once

#include "data/samplepoint.h"

#include <QMetaType>
#include <QString>
#include <QVector>

class QTextStream;

/// A named condition on an event: how far the voltage leaves its base, for how long and in which direction. A plain
/// value; its colour is kept by the dictionary.
struct eventType
{
    enum Direction : qint32 {
        None = -1, // of a built-in type, which names events by their code and matches no waveform
        Superior = 0,
        Inferior = 1,
        Either = 2,
    };

    double magnitude = 0; // V from the base
    qint32 duration = 0;  // us, at least
    qint32 direction = Superior;
    QString name;

    static eventType builtIn(const QString &name);

    /// Writes five lines: "name;", "magnitude;", "duration;" and "direction;" with their values, and "endEvent;".
    bool toText(QTextStream &stream) const;
    /// Reads such lines until the "endEvent" line; false when it does not come. Unknown lines are passed over, a number
    /// that does not convert reads as 0.
    bool fromText(QTextStream &stream);
    /// Takes one such line; true when it ends the type.
    bool takeLine(const QString &line);

    /// "Type : %1 Mag : %2 Min-dur : %3 us Dir :%4"
    QString description() const;
    /// Whether the waveform stays at least `magnitude` away from its base, in the direction, for `duration` or longer.
    /// The base is the mean voltage of the first tenth of the waveform.
    bool matches(const QVector<SamplePoint> &waveform) const;

    friend bool operator==(const eventType &a, const eventType &b);
    friend bool operator!=(const eventType &a, const eventType &b) { return !(a == b); }
};

Q_DECLARE_METATYPE(eventType)

namespace eventtype {
/// The name of the first type that matches, empty when none does.
QString firstMatch(const QVector<eventType> &types, const QVector<SamplePoint> &waveform);
/// Whether the first and the peak voltage of an event leave it possible that its waveform matches one of the types: the
/// base cannot be further from the peak than twice the largest deviation from the first sample.
bool canMatch(const QVector<eventType> &types, double first, double peak);
} // namespace eventtype
