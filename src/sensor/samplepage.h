#pragma once

#include "data/samplepoint.h"

#include <QVector>

#include <cstddef>

/// What a sample page holds: lines of one column each, a key and a bracketed list with one value per sample.
///
/// The thirteen columns of times, RMS values and pulse slot 1 are required and all of the same length, which is how a
/// page proves that it is complete. The columns of pulse slot 2 and of the event counters are optional.
struct SamplePage
{
    enum class Fault {
        None,
        UnequalColumns, // required columns differ in length
        BadTime,        // a sample time is no number, or none that fits
    };

    Fault fault = Fault::None;
    QVector<SamplePoint> points; // in page order; empty after a fault
    qint64 newestRawUs = 0;      // the newest time before the time base was added; 0 for an empty page
    int ignoredColumns = 0;      // optional columns of another length, read as zeros
    int clampedTimes = 0;        // times before the epoch, set to 0
    bool isClosed = false;       // it ends with a brace
    bool looksCut = false;       // it does not, and has only some of the optional columns

    bool ok() const { return fault == Fault::None; }
};

/// Reads a sample page. Each time is the page's milliseconds times 1000 plus `timeBaseUs`. What is no finite number
/// reads as 0, whole numbers are limited to 32 bits. One pass over the bytes, no allocation per value.
SamplePage parseSamplePage(const char *data, std::size_t size, qint64 timeBaseUs);
