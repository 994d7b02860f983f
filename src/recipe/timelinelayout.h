#pragma once

#include "recipe/recipe.h"

#include <QString>
#include <QVector>

/// Where the steps of a recipe lie on a time line of some width, to scale. Pure numbers, drawn by RecipeTimeline.
namespace timelinelayout {

struct Step
{
    double left = 0; // of the whole width, 0 to 1
    double right = 0;
    double skipRight = 0; // until here nothing is detected
    double frequency = 0; // 0 to 1 between the lane's bottom and top
    double threshold = 0; // 0 to 1 of the largest threshold
    qint64 startSeconds = 0;
    qint64 seconds = 0;
};

struct Layout
{
    QVector<Step> steps;
    qint64 totalSeconds = 0;
    qint32 lowestFrequency = 0;
    qint32 highestFrequency = 0;
    qint32 highestThreshold = 0;

    /// The step at a place between 0 and 1, -1 for none.
    int stepAt(double place) const;
};

Layout layoutOf(const Recipe &recipe);

struct Tick
{
    double place = 0;
    QString text;
};

/// Round times, at most `most` of them.
QVector<Tick> ticks(qint64 totalSeconds, int most);

/// "45 s", "2 min 05 s", "1 h 10 min".
QString duration(qint64 seconds);
/// "13.56 MHz"
QString frequencyText(qint32 hz);

} // namespace timelinelayout
