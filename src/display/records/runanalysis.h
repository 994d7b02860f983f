#pragma once

#include "display/records/recordset.h"

#include <memory>

class PlotSource;

/// A step of a run with the means of every quantity over its stored samples.
struct StepMeans
{
    RunStep step;
    int samples = 0;
    QVector<double> means; // by quantity; empty without samples
};

/// Reads the samples of a run and sums up its steps; a run without a recipe counts as one step. For pool threads.
QVector<StepMeans> stepMeans(const PlotSource &source, const RunRecord &run, const std::atomic<bool> &cancelled);

struct SearchResult
{
    RecordSet records; // its runs are the stretches
    bool complete = true;
};

/// Searches all samples of a source for stretches at or above a voltage; they count the events of `known`. `progress`
/// is called after each piece read. For pool threads.
SearchResult searchAgain(const PlotSource &source, const RecordSet &known, double threshold,
                         const std::function<void()> &progress, const std::atomic<bool> &cancelled);
