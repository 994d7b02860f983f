#pragma once

#include "data/samplepoint.h"
#include "sensor/recognition.h"
#include "sensor/timebase.h"

#include <QVector>

#include <functional>
#include <optional>

/// On which time line the samples and events of one sensor belong, as a value. A sensor that starts anew counts its
/// time from 0 again; its samples then must neither be taken for old ones nor old ones for new. What is stored already
/// tells it best: the same times with the same values are the same samples, with other values they are of another
/// start. Where nothing stored tells it, the sensor's uptime does.
///
/// A sensor may keep its memory over a restart. Its times then fall somewhere inside a frame, and what comes before
/// belongs on the line it was measured on. Lines of earlier starts are remembered until the sensor has forgotten their
/// samples. Every line begins at its own fraction of a millisecond, so that samples of two starts, whose times are
/// whole milliseconds, never meet at the same time.
class TimeLineKeeper
{
public:
    /// What can be asked outside.
    struct Outside
    {
        SensorTimeLine last;  // of the store
        quint64 lastTime = 0; // stored
        qint64 nowUtcMs = 0;
        TimeBaseCandidate candidate;
        std::function<Recognition(const QVector<SamplePoint> &)> recognise;
        std::function<bool(qint64 time)> isEventStored;
        /// Where the same event is stored before this time, on whatever line.
        std::function<std::optional<qint64>(qint64 beforeUs)> findEvent;
    };

    /// Known once something of this connection was placed.
    const SensorTimeLine &line() const { return m_line; }
    /// A new connection; the lines of earlier starts stay known.
    void disconnected();

    /// The sensor may have restarted unseen: its uptime has to be asked before the page is asked for again.
    static constexpr int askStatus = -1;
    /// Places a page whose times stand on `baseUs`: moves them to line() and returns how many of them, from the first
    /// on, belong there. What follows them was measured after a restart and has to be asked for again. None when what
    /// is stored cannot be read now.
    int place(QVector<SamplePoint> &points, qint64 baseUs, bool startsFrame, const Outside &outside);
    /// They were stored.
    void stored(const QVector<SamplePoint> &points);
    struct EventPlace
    {
        enum Outcome {
            On,        // the line with this base
            Stored,    // already, on one of the lines
            AskStatus, // see askStatus
        };
        Outcome outcome = On;
        qint64 baseUs = 0;
    };
    EventPlace placeEvent(qint64 rawUs, const Outside &outside);
    /// The sensor runs on.
    void confirm(qint64 uptimeMs) { m_line.uptimeMs = uptimeMs; }

private:
    QVector<SensorTimeLine> knownLines(const Outside &outside) const;
    enum class Choice { Made, AskStatus, Unreadable };
    struct Start
    {
        bool ofFrame;
        bool fell; // behind what came before
        bool fellFar;
    };
    Choice choose(const QVector<SamplePoint> &stretch, qint64 baseUs, const Start &start, const Outside &outside);
    int rank(const SensorTimeLine &line) const;
    void recognised(const SensorTimeLine &line, qint64 newestRawUs, const Outside &outside);
    void chooseFirst(qint64 oldestRawUs, qint64 newestRawUs, bool contradicted, const Outside &outside);
    bool hasFallen(qint64 rawUs) const;
    EventPlace eventTaken(EventPlace::Outcome outcome, qint64 rawUs, qint64 baseUs);
    bool startsAnew(const QVector<SamplePoint> &points, int from, int to, qint64 baseUs, const Outside &outside,
                    bool *ok) const;
    SensorTimeLine freshLine(qint64 newestRawUs, bool apart, const Outside &outside) const;
    void changeTo(const SensorTimeLine &line);

    SensorTimeLine m_line;
    std::optional<SensorTimeLine> m_next;   // after the times fall
    QVector<SensorTimeLine> m_earlier;      // newest last
    QVector<qint64> m_eventBases;           // of all lines with events, latest last; they may stay in the sensor
    bool m_eventsPlaced = false;            // by this object, as new ones
    bool m_earlierMayCome = false;          // with the next frame
    std::optional<qint64> m_lastRawUs;      // stored in this connection
    std::optional<qint64> m_lastEventRawUs; // taken in this connection, on the present line
    bool m_placed = false;                  // a page of this connection
    bool m_statusAsked = false;             // because of the page that comes again
};
