#pragma once

#include "data/csvsamples.h"

/// The times of text tables. Pure functions.
namespace csvtime {

/// The time in a cell, us since the epoch. False when it is not one of this format. A text without a zone is of `zone`,
/// or UTC when that is none.
bool parse(QString cell, csvsamples::TimeFormat format, QChar decimalSign, quint64 startUs, quint64 &timeUs,
           const QTimeZone &zone = QTimeZone());
/// Of texts that need not tell their zone.
bool mayLackZone(csvsamples::TimeFormat format);
/// A number with this decimal sign; blanks around it are allowed.
bool parseNumber(const QString &cell, QChar decimalSign, double &value);
/// So many cells of a column that it is what they say; the others are gaps, overloads, remarks.
bool isMost(qint64 count, int all);

/// What a cell may be read as. Found once: the detection looks at each cell many times.
struct CellTraits
{
    quint8 formats = 0; // a bit for each format of a text with a date
    bool isNumber = false;
    double number = 0;
};
CellTraits traitsOf(const QString &cell, QChar decimalSign);
/// The formats that could be meant by the texts of a column, the likeliest first.
QVector<csvsamples::TimeFormat> formatsOf(const QVector<CellTraits> &cells);

} // namespace csvtime
