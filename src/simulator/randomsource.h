#pragma once

#include <QtGlobal>

/// A small repeatable source of random numbers: the same seed gives the same sequence on every platform, which the
/// standard library's distributions do not promise. A plain value; copying it copies the place in the sequence.
class RandomSource
{
public:
    explicit RandomSource(quint64 seed = 0) : m_state(seed) {}

    quint64 next()
    {
        m_state += 0x9E3779B97F4A7C15ULL;
        quint64 z = m_state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }

    /// In [0, 1).
    double uniform() { return double(next() >> 11) * (1.0 / 9007199254740992.0); }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    bool chance(double probability) { return uniform() < probability; }
    /// In 0 .. count - 1; 0 when count is not positive.
    qint64 below(qint64 count) { return count > 0 ? qint64(next() % quint64(count)) : 0; }

    /// Nearly normal with mean 0 and deviation 1, never beyond 3.47: four 16-bit lanes of one draw.
    double noise()
    {
        const quint64 bits = next();
        const quint64 sum = (bits & 0xFFFF) + ((bits >> 16) & 0xFFFF) + ((bits >> 32) & 0xFFFF) + (bits >> 48);
        return (double(sum) - 131070.0) * (1.0 / 37837.227);
    }

private:
    quint64 m_state;
};
