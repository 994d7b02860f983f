#pragma once

#include <QString>

/// What tells a run or an event from every other one in its session.
struct RecordKey
{
    QString sensor;
    quint64 time = 0;
    qint32 typeCode = 0;

    friend bool operator==(const RecordKey &a, const RecordKey &b)
    {
        return a.time == b.time && a.typeCode == b.typeCode && a.sensor == b.sensor;
    }
};
