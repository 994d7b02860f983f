#pragma once

#include "data/samplepoint.h"

#include <QVector>

class abstractNorvexData;

/// A range of samples in pieces whose size follows the density of the data, so memory does not grow with the range and
/// gaps cost nothing. The data must outlive it and may grow meanwhile. One thread at a time.
class SampleSlices
{
public:
    /// From is included, to is not.
    SampleSlices(const abstractNorvexData &data, quint64 from, quint64 to);

    /// Reads the next piece, which may be empty. False at the end.
    bool next();
    const QVector<SamplePoint> &samples() const { return m_samples; }
    /// How far it is, from 0 to 1.
    double done() const;
    /// Some samples could not be read and are left out.
    bool isIncomplete() const { return m_isIncomplete; }

private:
    bool read(quint64 to);

    const abstractNorvexData &m_data;
    quint64 m_begin;
    quint64 m_end;
    quint64 m_at;
    quint64 m_width;
    QVector<SamplePoint> m_samples;
    bool m_isIncomplete = false;
};
