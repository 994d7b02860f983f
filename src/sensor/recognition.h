#pragma once

#include "data/samplepoint.h"

#include <QVector>

#include <memory>

class dataBlock;
class norvexData;

/// How samples, placed on some time line, stand to what is stored already.
struct Recognition
{
    bool ok = true;       // false: what is stored could not be read
    int same = 0;         // stored with the same values
    int other = 0;        // something else is stored at this time
    bool telling = false; // the same ones are no constant level

    bool isSame() const { return same > other && telling; }
    bool isOther() const { return other > same; }
};

/// Looks into a store for samples. A block that has to be read for it and does not know them leaves memory again: after
/// some restarts there is one on every earlier line. The next pages may ask for the same one, so it stays while they
/// come, though never more than a few. Belongs to the thread of its connection.
class BlockLook
{
public:
    BlockLook() = default;
    ~BlockLook();
    BlockLook(const BlockLook &) = delete;
    BlockLook &operator=(const BlockLook &) = delete;

    Recognition recognise(const norvexData &store, const QVector<SamplePoint> &points);
    /// A page is placed. When nobody looked for its samples, or they are later than all that is stored, nobody will look
    /// for the next one's.
    void pageDone(bool isLaterThanAll = false);
    void release();

private:
    static void drop(dataBlock &block);

    QVector<std::shared_ptr<dataBlock>> m_read; // latest last
    bool m_looked = false;
};
