#pragma once

#include <QVector>
#include <QtGlobal>

/// How fast the recorded bytes grow at present, from what was seen in the last ten minutes. A value; times are passed
/// in.
class RecordingRate
{
public:
    /// What is recorded by now. Fewer bytes than before are another session, of which nothing is known yet.
    void note(qint64 ms, double bytes);
    /// 0 until it was watched for half a minute.
    double bytesPerHour() const;

private:
    struct Seen
    {
        qint64 ms = 0;
        double bytes = 0;
    };
    QVector<Seen> m_seen;
    Seen m_newest;
};
