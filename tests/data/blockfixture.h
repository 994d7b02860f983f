#pragma once

#include "data/datablock.h"
#include "data/samples.h"
#include "data/samplesink.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <memory>

inline quint64 at(double seconds)
{
    return static_cast<quint64>(seconds * 1e6 + 0.5);
}

/// What a search finds, "false" when it is refused.
inline QString found(dataBlock &block, double from, double to)
{
    QVector<SamplePoint> out;
    return block.searchData(out, at(from), at(to)) ? timesOf(out) : QStringLiteral("false");
}

/// The whole list, whatever the first and last times say.
inline QString listOf(dataBlock &block)
{
    QVector<SamplePoint> out;
    block.searchRange(out, 0, std::numeric_limits<quint64>::max());
    return timesOf(out);
}

class Collector final : public SampleSink
{
public:
    void process(const SamplePoint &sample, const void *) override { taken.append(sample); }
    QVector<SamplePoint> taken;
};

/// A test of blocks with an empty folder for each case.
class BlockTest : public QObject
{
protected:
    QString path(const char *name) const { return m_folder->filePath(QLatin1String(name)); }
    bool writeBytes(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }
    QByteArray bytesOf(const char *name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};
