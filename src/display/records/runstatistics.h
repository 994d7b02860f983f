#pragma once

#include "data/eventrecord.h"

#include <QString>
#include <QVector>

/// Count, mean and extremes of some values.
struct ValueStatistics
{
    int count = 0;
    double sum = 0;
    double low = 0;
    double high = 0;

    void add(double value);
    double mean() const { return count > 0 ? sum / count : 0; }
};

/// How far each value lies from the median of its group, in robust standard deviations (1.4826 x the median absolute
/// deviation, which a few odd values do not move). 0 in groups with fewer than five values. Where most values are the
/// same, differences below a thousandth of the median count little.
QVector<double> robustScores(const QVector<double> &values, const QVector<int> &groups);
/// From here on a value is marked.
constexpr double outOfFamilyScore = 3.5;
inline bool isOutOfFamily(double score)
{
    return score > outOfFamilyScore || score < -outOfFamilyScore;
}

/// One step of one recipe over all runs that followed it.
struct StepStatistics
{
    QString recipe;
    int step = 0;
    QString name;
    ValueStatistics voltage;
    ValueStatistics current;
};
/// By recipe in the order of first use, then by step.
QVector<StepStatistics> statisticsOfSteps(const QVector<RunRecord> &runs);
