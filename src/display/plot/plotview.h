#pragma once

#include "display/plot/valueaxis.h"
#include "display/records/timerange.h"

#include <QString>
#include <QVector>

#include <array>

/// What a plot shows and what its tools do to it: the visible time, following or paused, the value ranges of the two
/// axes and the history of zooms. Follow moves with the newest sample; any pan or zoom of the time pauses it, and new
/// data never move a paused view or a zoomed value axis. A value without widgets; the time of a step is passed in.
class PlotView
{
public:
    enum Axis { Left = 0, Right = 1 };
    static constexpr quint64 shortest = 2;               // us
    static constexpr quint64 longest = 1577880000000000; // 50 years

    // --- data
    /// The range of all visible samples; empty when there is none.
    void setData(const TimeRange &data);
    const TimeRange &data() const { return m_data; }
    /// Extremes of an axis' curves in the visible time; moves an automatic axis.
    void setExtremes(Axis axis, double low, double high);

    // --- state
    const TimeRange &visible() const { return m_visible; }
    ValueSpan values(Axis axis) const { return m_axes[axis].span; }
    bool isAutomatic(Axis axis) const { return m_axes[axis].automatic; }
    bool isFollowing() const { return m_following; }
    /// Length of the followed window, 0 for the whole range.
    quint64 span() const { return m_span; }
    /// How far the view's end is behind the newest sample.
    quint64 behind() const;
    /// "Following", "Paused, 14 s behind - Follow (L)" or "No data".
    QString statusText() const;

    // --- following
    void setFollowing(bool following);
    void setSpan(quint64 span);
    void showWhole();

    // --- steps of the user; `nowMs` joins quick ones into one entry of the history
    /// Scales the time around `anchor` (0 left .. 1 right); a factor below 1 shows less.
    void zoomTime(double anchor, double factor, qint64 nowMs);
    void panTime(double fraction, qint64 nowMs);
    void zoomValues(Axis axis, double anchor, double factor, qint64 nowMs);
    void panValues(Axis axis, double fraction, qint64 nowMs);
    void setVisible(const TimeRange &range, qint64 nowMs);
    void setValues(Axis axis, const ValueSpan &span, qint64 nowMs);
    void setAutomatic(Axis axis, qint64 nowMs);
    /// Time and values at once, for a rubber band; an axis without a span stays.
    void zoomTo(const TimeRange &range, const ValueSpan *left, const ValueSpan *right, qint64 nowMs);

    bool canGoBack() const { return !m_back.isEmpty(); }
    bool canGoForward() const { return !m_forward.isEmpty(); }
    void goBack();
    void goForward();
    void forgetHistory();

private:
    struct ValueAxis
    {
        ValueSpan span;
        bool automatic = true;
    };
    struct Snapshot
    {
        TimeRange visible;
        bool following;
        quint64 span;
        std::array<ValueAxis, 2> axes;
    };

    void follow();
    void place(const TimeRange &range);
    void remember(qint64 nowMs, bool joins);
    Snapshot snapshot() const { return {m_visible, m_following, m_span, m_axes}; }
    void restore(const Snapshot &snapshot);

    TimeRange m_data;
    TimeRange m_visible;
    bool m_following = true;
    quint64 m_span = 300000000; // five minutes
    std::array<ValueAxis, 2> m_axes;
    QVector<Snapshot> m_back;
    QVector<Snapshot> m_forward;
    qint64 m_lastStepMs = -1000000;
};
