#pragma once

#include <QtGlobal>

#include <array>

class QDataStream;

/// One sample downloaded from a sensor. A plain value, all zeros by default. Samples are ordered and de-duplicated by
/// their time.
struct SamplePoint
{
    static constexpr int currentVersion = 4;

    quint64 time = 0;            // us since the epoch, UTC
    double frequency = 0;        // Hz; 0 when the sensor does not measure it
    double voltage = 0;          // V
    double currentReal = 0;      // A
    double currentImaginary = 0; // A
    qint32 numberOfPulses = 0;   // in the sample interval
    double pulsePeriod = 0;      // us
    qint32 slot1OnTime = 0;      // us
    qint32 slot2OnTime = 0;      // us
    double slot1VoltageAvg = 0;  // V
    double slot1VoltageMax = 0;
    double slot1VoltageMin = 0;
    double slot1CurrentAvg = 0; // A
    double slot1CurrentMax = 0;
    double slot1CurrentMin = 0;
    double slot2VoltageAvg = 0; // V
    double slot2VoltageMax = 0;
    double slot2VoltageMin = 0;
    double slot2CurrentAvg = 0; // A
    double slot2CurrentMax = 0;
    double slot2CurrentMin = 0;
    /// Events of each detector class in the sample interval: E11, E12, E13, E21, E22, E23, E31, E32, E33, EPE.
    std::array<qint32, 10> eventCounts{};

    friend bool operator==(const SamplePoint &a, const SamplePoint &b);
    friend bool operator!=(const SamplePoint &a, const SamplePoint &b) { return !(a == b); }
};

Q_DECLARE_TYPEINFO(SamplePoint, Q_PRIMITIVE_TYPE); // all zero bytes are a default sample; lists move it by memcpy

/// Bytes of one serialised sample: 40, 104, 156 or 196 for versions 1 to 4; any other version has the version 1 prefix.
constexpr int sampleRecordSize(int version)
{
    return version == 2 ? 104 : version == 3 ? 156 : version == 4 ? 196 : 40;
}

/// Writes `sample` as sampleRecordSize(version) big-endian bytes with 64-bit doubles. Version 2 has slot1OnTime before
/// pulsePeriod, 3 and 4 after it; old files need the difference.
void encodeSample(const SamplePoint &sample, int version, uchar *out);
/// The reverse; fields that the version does not carry are zero.
SamplePoint decodeSample(const uchar *in, int version);

/// The same for `count` samples and their records one after the other.
void encodeSamples(const SamplePoint *samples, int count, uchar *out);
void decodeSamples(const uchar *in, int count, int version, SamplePoint *out);

/// The same on a stream. False for a version outside 1..4 (only the version 1 prefix is then written or read) and when
/// the stream ends early or fails.
bool writeSample(QDataStream &stream, const SamplePoint &sample, int version = SamplePoint::currentVersion);
bool readSample(QDataStream &stream, SamplePoint &sample, int version);
