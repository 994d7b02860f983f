#include "display/plot/plotview.h"

#include "display/plot/timeaxis.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace {
constexpr int longestHistory = 100;
constexpr qint64 joinWithinMs = 600;
constexpr quint64 emptySpan = 60000000;
constexpr quint64 second = 1000000;
constexpr quint64 minute = 60 * second;
constexpr quint64 hour = 60 * minute;

/// What is shown of `span` while the recording, `length` long, has not filled it: enough to see something, in few
/// steps.
quint64 fillingSpan(quint64 length, quint64 span)
{
    for (const quint64 step :
         {30 * second, minute, 2 * minute, 5 * minute, 10 * minute, 30 * minute, hour, 2 * hour, 6 * hour, 12 * hour})
        if (length <= step)
            return std::min(step, span);
    return span;
}
} // namespace

void PlotView::setData(const TimeRange &data)
{
    m_data = data;
    if (m_data.length() > longest)
        m_data.from = m_data.to - longest;
    if (m_following || m_visible.isEmpty())
        follow();
}

void PlotView::follow()
{
    if (m_data.isEmpty()) {
        if (m_visible.isEmpty())
            m_visible = {0, m_span ? m_span : emptySpan};
        return;
    }
    const quint64 span = std::max(m_span ? m_span : m_data.length(), shortest);
    const quint64 margin = span / 50;
    if (m_span == 0)
        m_visible = {m_data.from, m_data.to + margin};
    else if (m_data.length() + margin < span) // fills from the left, as a chart recorder does
        m_visible = {m_data.from, m_data.from + fillingSpan(m_data.length() + margin, span)};
    else
        m_visible = {m_data.to + margin - span, m_data.to + margin};
}

void PlotView::setExtremes(Axis axis, double low, double high)
{
    ValueAxis &values = m_axes[axis];
    if (values.automatic)
        values.span = automaticSpan(low, high, &values.span);
}

quint64 PlotView::behind() const
{
    return m_data.isEmpty() || m_visible.to >= m_data.to ? 0 : m_data.to - m_visible.to;
}

QString PlotView::statusText() const
{
    if (m_data.isEmpty())
        return QCoreApplication::translate("plotview", "No data");
    if (m_following)
        return QCoreApplication::translate("plotview", "Following");
    if (behind() == 0)
        return QCoreApplication::translate("plotview", "Paused - Follow (L)");
    // The larger unit alone: this is read at a glance.
    quint64 shown = behind();
    for (const quint64 unit : {86400000000ULL, 3600000000ULL, 60000000ULL})
        if (shown >= unit)
            shown -= shown % unit;
    return QCoreApplication::translate("plotview", "Paused, %1 behind - Follow (L)").arg(durationText(shown));
}

void PlotView::setFollowing(bool following)
{
    m_following = following;
    if (following)
        follow();
}

void PlotView::setSpan(quint64 span)
{
    if (!m_following || span != m_span)
        remember(0, false);
    m_span = std::min(span, longest);
    m_following = true;
    follow();
}

void PlotView::showWhole()
{
    setSpan(0);
    for (ValueAxis &axis : m_axes)
        axis.automatic = true;
}

void PlotView::place(const TimeRange &range)
{
    const quint64 length = std::clamp(range.length(), shortest, longest);
    const quint64 middle = range.from + range.length() / 2;
    TimeRange placed = range;
    if (length != range.length())
        placed = {middle - std::min(middle, length / 2), middle - std::min(middle, length / 2) + length};
    // Never lose the data from sight.
    if (!m_data.isEmpty()) {
        if (placed.from >= m_data.to)
            placed = {m_data.to - 1, m_data.to - 1 + length};
        else if (placed.to <= m_data.from)
            placed = {m_data.from + 1 > length ? m_data.from + 1 - length : 0, m_data.from + 1};
    }
    m_visible = placed;
    m_following = false;
}

void PlotView::zoomTime(double anchor, double factor, qint64 nowMs)
{
    const auto length = double(m_visible.length());
    const double wanted = std::clamp(length * factor, double(shortest), double(longest));
    const double shift = (length - wanted) * std::clamp(anchor, 0.0, 1.0);
    remember(nowMs, true);
    const auto from = shift < 0 && -shift > double(m_visible.from) ? 0 : qint64(m_visible.from) + std::llround(shift);
    place({quint64(from), quint64(from) + quint64(std::llround(wanted))});
}

void PlotView::panTime(double fraction, qint64 nowMs)
{
    remember(nowMs, true);
    const auto shift = std::llround(double(m_visible.length()) * fraction);
    const qint64 from = std::max<qint64>(0, qint64(m_visible.from) + shift);
    place({quint64(from), quint64(from) + m_visible.length()});
}

void PlotView::zoomValues(Axis axis, double anchor, double factor, qint64 nowMs)
{
    remember(nowMs, true);
    ValueAxis &values = m_axes[axis];
    const double fixed = values.span.low + values.span.length() * anchor;
    values.span =
        clampedSpan({fixed - (fixed - values.span.low) * factor, fixed + (values.span.high - fixed) * factor});
    values.automatic = false;
}

void PlotView::panValues(Axis axis, double fraction, qint64 nowMs)
{
    remember(nowMs, true);
    ValueAxis &values = m_axes[axis];
    const double shift = values.span.length() * fraction;
    values.span = clampedSpan({values.span.low + shift, values.span.high + shift});
    values.automatic = false;
}

void PlotView::setVisible(const TimeRange &range, qint64 nowMs)
{
    if (range.isEmpty())
        return;
    remember(nowMs, false);
    place(range);
}

void PlotView::setValues(Axis axis, const ValueSpan &span, qint64 nowMs)
{
    remember(nowMs, false);
    m_axes[axis] = {clampedSpan(span), false};
}

void PlotView::setAutomatic(Axis axis, qint64 nowMs)
{
    remember(nowMs, false);
    m_axes[axis].automatic = true;
}

void PlotView::zoomTo(const TimeRange &range, const ValueSpan *left, const ValueSpan *right, qint64 nowMs)
{
    remember(nowMs, false);
    if (!range.isEmpty())
        place(range);
    if (left)
        m_axes[Left] = {clampedSpan(*left), false};
    if (right)
        m_axes[Right] = {clampedSpan(*right), false};
}

void PlotView::remember(qint64 nowMs, bool joins)
{
    const bool joined = joins && nowMs - m_lastStepMs < joinWithinMs;
    m_lastStepMs = joins ? nowMs : nowMs - joinWithinMs;
    m_forward.clear();
    if (joined)
        return;
    m_back.append(snapshot());
    if (m_back.size() > longestHistory)
        m_back.removeFirst();
}

void PlotView::restore(const Snapshot &snapshot)
{
    m_visible = snapshot.visible;
    m_following = snapshot.following;
    m_span = snapshot.span;
    m_axes = snapshot.axes;
    m_lastStepMs = -1000000;
    if (m_following)
        follow();
}

void PlotView::goBack()
{
    if (m_back.isEmpty())
        return;
    m_forward.append(snapshot());
    restore(m_back.takeLast());
}

void PlotView::goForward()
{
    if (m_forward.isEmpty())
        return;
    m_back.append(snapshot());
    restore(m_forward.takeLast());
}

void PlotView::forgetHistory()
{
    m_back.clear();
    m_forward.clear();
}
