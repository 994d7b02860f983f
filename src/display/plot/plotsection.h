#pragma once

#include "display/records/timerange.h"

#include <QString>
#include <QVector>

/// A named stretch of a plot, as a step of a recipe: a line where it begins, its name, and a level across it where the
/// quantity of the item's axis has one. A section without length is a line only.
struct PlotSection
{
    TimeRange range;
    QString label;
    QVector<double> levels; // by quantity; NaN or missing: none
};
