#pragma once

#include "display/records/plotsource.h"

#include <memory>

class dataBlock;
class norvexData;

/// A sensor's data store as plots read it: its blocks are the stretches. A block that is not in memory is read and
/// dropped again. Any thread.
class StoreSource : public PlotSource
{
public:
    explicit StoreSource(std::shared_ptr<norvexData> store);
    ~StoreSource() override;

    quint64 revision() const override;
    QVector<Stretch> stretches() const override;
    bool readSamples(quintptr key, quint64 from, quint64 to, QVector<SamplePoint> &out) const override;

private:
    std::shared_ptr<norvexData> m_store;
};
