#include "data/samplepoint.h"

#include "data/samplefields.h"

#include <QDataStream>
#include <QtEndian>

#include <cstddef>
#include <cstring>

namespace {

constexpr int largestRecord = sampleRecordSize(SamplePoint::currentVersion);

struct RecordWriter
{
    uchar *out;

    template <typename Word>
    void word(Word value)
    {
        qToBigEndian(value, out);
        out += sizeof(Word);
    }
    void operator()(quint64 value) { word(value); }
    void operator()(qint32 value) { word(value); }
    void operator()(double value)
    {
        quint64 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        word(bits);
    }
    void operator()(const std::array<qint32, 10> &values)
    {
        for (const qint32 value : values)
            word(value);
    }
};

struct RecordReader
{
    const uchar *in;

    template <typename Word>
    Word word()
    {
        const Word value = qFromBigEndian<Word>(in);
        in += sizeof(Word);
        return value;
    }
    void operator()(quint64 &value) { value = word<quint64>(); }
    void operator()(qint32 &value) { value = word<qint32>(); }
    void operator()(double &value)
    {
        const quint64 bits = word<quint64>();
        std::memcpy(&value, &bits, sizeof value);
    }
    void operator()(std::array<qint32, 10> &values)
    {
        for (qint32 &value : values)
            value = word<qint32>();
    }
};

template <int Version>
void encode(const SamplePoint &sample, uchar *out)
{
    RecordWriter write{out};
    visitSampleFields<Version>([&](auto field) { write(sample.*field); });
    Q_ASSERT(write.out == out + sampleRecordSize(Version));
}

template <int Version>
void decode(const uchar *in, SamplePoint &sample)
{
    if constexpr (Version < SamplePoint::currentVersion)
        sample = SamplePoint();
    RecordReader read{in};
    visitSampleFields<Version>([&](auto field) { read(sample.*field); });
    Q_ASSERT(read.in == in + sampleRecordSize(Version));
}

template <int Version>
void decodeMany(const uchar *in, int count, SamplePoint *out)
{
    for (int i = 0; i < count; ++i)
        decode<Version>(in + std::ptrdiff_t(i) * sampleRecordSize(Version), out[i]);
}

bool isKnownVersion(int version)
{
    return version >= 1 && version <= SamplePoint::currentVersion;
}

} // namespace

bool operator==(const SamplePoint &a, const SamplePoint &b)
{
    bool equal = true;
    visitSampleFields([&](auto field) { equal = equal && a.*field == b.*field; });
    return equal;
}

void encodeSample(const SamplePoint &sample, int version, uchar *out)
{
    switch (version) {
    case 2:
        return encode<2>(sample, out);
    case 3:
        return encode<3>(sample, out);
    case 4:
        return encode<4>(sample, out);
    default:
        return encode<1>(sample, out);
    }
}

SamplePoint decodeSample(const uchar *in, int version)
{
    SamplePoint sample;
    decodeSamples(in, 1, version, &sample);
    return sample;
}

void encodeSamples(const SamplePoint *samples, int count, uchar *out)
{
    constexpr int version = SamplePoint::currentVersion;
    for (int i = 0; i < count; ++i)
        encode<version>(samples[i], out + std::ptrdiff_t(i) * sampleRecordSize(version));
}

void decodeSamples(const uchar *in, int count, int version, SamplePoint *out)
{
    switch (version) {
    case 2:
        return decodeMany<2>(in, count, out);
    case 3:
        return decodeMany<3>(in, count, out);
    case 4:
        return decodeMany<4>(in, count, out);
    default:
        return decodeMany<1>(in, count, out);
    }
}

bool writeSample(QDataStream &stream, const SamplePoint &sample, int version)
{
    std::array<uchar, largestRecord> record{};
    const int size = sampleRecordSize(version);
    encodeSample(sample, version, record.data());
    return stream.writeRawData(reinterpret_cast<const char *>(record.data()), size) == size && isKnownVersion(version);
}

bool readSample(QDataStream &stream, SamplePoint &sample, int version)
{
    std::array<uchar, largestRecord> record{};
    const int size = sampleRecordSize(version);
    if (stream.readRawData(reinterpret_cast<char *>(record.data()), size) != size) {
        stream.setStatus(QDataStream::ReadPastEnd);
        return false;
    }
    sample = decodeSample(record.data(), version);
    return isKnownVersion(version) && stream.status() == QDataStream::Ok;
}
