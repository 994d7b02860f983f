#pragma once

#include <QVector>

/// What a connection asks its sensor for next.
struct DownloadStep
{
    enum Ask {
        Nothing,
        Frame,
        FrameLater,  // after a wait of three poll periods
        Event,       // record `index`
        Data,        // `limit` samples from `index`
        MakeDurable, // first get what was taken onto the disk, then report with durable()
        Clear,       // everything up to and including sample `index`
    };

    Ask ask = Nothing;
    quint64 index = 0;
    quint64 limit = 0;
};

/// The download of a sensor's frames as a value: replies go in, the next request comes out. It knows no socket, clock
/// or store; arcSensor carries out what it says.
///
/// Indices advance only for what was stored. A frame is downloaded once and cleared once: it becomes valid when it is
/// decoded and stops being so when its clear is asked for, when it is dropped, and on disconnect.
///
/// A sensor whose memory of events is full lets the oldest one go for each new one, and all others move down by one
/// index: the next one asked for would then be skipped, and cleared. Of a frame with many events the first is therefore
/// looked at again after each group, what moved meanwhile is read again, and the next groups are smaller.
class DownloadPlan
{
public:
    enum State : int { Disconnected = 0, Connected = 1, Downloading = 2 };

    static constexpr qint32 smallestFrame = 7;    // samples; with fewer the frame is asked for again
    static constexpr quint64 pageLimit = 20;      // samples
    static constexpr qint32 eventStep = 10;       // records
    static constexpr qint32 manyEvents = 100;     // from which on the memory may be full
    static constexpr int mostLostTrack = 3;       // frames, then the events are taken as they come
    static constexpr int mostWithoutProgress = 5; // replies in a row

    State state() const { return m_state; }
    quint64 dataIndex() const { return m_dataIndex; }
    qint32 numberOfPoints() const { return m_points; }
    qint32 eventIndex() const { return m_eventIndex; }
    qint32 eventAllowance() const { return m_allowance; }
    bool frameValid() const { return m_frameValid; }
    /// Too many replies in a row brought nothing, or only crumbs of what the frame promised: the connection is to be
    /// given up.
    bool isStuck() const { return m_withoutProgress >= mostWithoutProgress || m_crumbs >= mostWithoutProgress; }

    void connected();
    void disconnected();
    void setHasStore(bool hasStore);

    /// A decoded frame; taken in the connected state only.
    void frameArrived(qint32 points, qint32 events);
    bool expectsData(quint64 index) const { return m_state == Downloading && index == m_dataIndex; }
    bool expectsEvent(quint64 index) const
    {
        return m_state == Downloading && index == quint64(m_looksAtFirst ? 0 : m_eventIndex);
    }
    /// A page of n samples was stored, the first of which has this time.
    void pageStored(int n, quint64 firstTime);
    /// A reply that brought nothing: unreadable, refused by the store, or a page that is not there.
    void nothingTaken() { ++m_withoutProgress; }
    /// An event record was taken, whether it was stored or dropped. The sensor calls it by `name`: its own time and the
    /// type, say.
    void eventTaken(quint64 time, quint64 name);
    enum class Refusal { TakeMore, Wait };
    /// The answer to MakeDurable. Without it nothing is cleared. Then the frame, grown meanwhile, is downloaded again
    /// later, or, when no more can be kept in memory, what was taken is offered again later and the sensor keeps the
    /// rest.
    void durable(bool ok, Refusal refusal = Refusal::TakeMore);
    /// The indices of the frame no longer name the same samples: nothing of it may be cleared.
    void dropFrame();
    /// Gives up what is left of the frame, which is then cleared. Returns the samples not taken.
    qint32 giveUpFrame();

    /// Decides and counts what to ask for. To be called only when nothing is outstanding.
    DownloadStep next();

private:
    enum class Closing { No, WaitsForDisk, TriesAgain, MayClear };

    DownloadStep nextConnected();
    DownloadStep nextDownloading();
    DownloadStep closeFrame();
    void raiseAllowance();
    void firstEventIs(quint64 name);

    State m_state = Disconnected;
    bool m_hasStore = false;
    bool m_frameValid = false;
    bool m_givenUp = false;
    bool m_pause = false; // before the next frame
    Closing m_closing = Closing::No;
    qint32 m_points = 0;
    qint32 m_events = 0;
    quint64 m_dataIndex = 0;
    qint32 m_eventIndex = 0;
    qint32 m_allowance = 0;
    quint64 m_lastEventTime = 0;
    bool m_mayMove = false;      // the events, under the download
    bool m_looksAtFirst = false; // event 0 is asked for once more
    QVector<quint64> m_names;    // of the events taken, when they may move
    qint32 m_unmoved = 0;        // of these stood at their indices when they were taken
    qint32 m_lookAfter = 0;      // as many more
    int m_lostTrack = 0;         // frames in a row in which none of these was the first one any more
    int m_withoutProgress = 0;
    int m_largestPage = 0; // of the frame
    int m_crumbs = 0;      // pages in a row that were smaller, though the frame goes on
};
