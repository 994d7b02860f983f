#include "sensor/timelinekeeper.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr int mostEarlierLines = 8;
constexpr int mostEventBases = 64;
constexpr qint64 wholeUs = 1000; // times of samples are whole milliseconds
constexpr qint64 mostGapUs = 60'000'000;
constexpr qint64 disorderUs = 1'000'000; // a fall of times that needs no restart

qint64 fraction(qint64 baseUs)
{
    return (baseUs % wholeUs + wholeUs) % wholeUs;
}

qint64 sum(qint64 a, qint64 b)
{
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    constexpr qint64 least = std::numeric_limits<qint64>::min();
    if (b > 0 ? a > most - b : a < least - b)
        return b > 0 ? most : least;
    return a + b;
}

/// Of a sensor that has run on: what it says, or what it said.
qint64 confirmedUptimeMs(const SensorTimeLine &line, const TimeBaseCandidate &candidate)
{
    return candidate.uptimeMs < 0 ? line.uptimeMs : candidate.uptimeMs;
}

QVector<SamplePoint> moved(QVector<SamplePoint> points, qint64 byUs)
{
    for (SamplePoint &point : points)
        point.time = quint64(std::max<qint64>(sum(qint64(point.time), byUs), 0));
    return points;
}

/// The first sample after `from` that is earlier than the one before it, or the end.
int endOfStretch(const QVector<SamplePoint> &points, int from)
{
    int end = from + 1;
    while (end < points.size() && points[end].time >= points[end - 1].time)
        ++end;
    return std::min(end, points.size());
}

/// How samples stand to earlier ones of the same page.
Recognition recogniseIn(const QVector<SamplePoint> &earlier, const QVector<SamplePoint> &stretch)
{
    Recognition found;
    for (const SamplePoint &point : stretch) {
        for (const SamplePoint &one : earlier) {
            if (one.time == point.time)
                ++(one == point ? found.same : found.other);
        }
    }
    return found;
}

} // namespace

void TimeLineKeeper::disconnected()
{
    changeTo({});
    m_next.reset();
    m_lastRawUs.reset();
    m_lastEventRawUs.reset();
    m_placed = false;
    m_statusAsked = false;
}

void TimeLineKeeper::changeTo(const SensorTimeLine &line)
{
    const auto isOld = [this](const SensorTimeLine &one) { return one.baseUs == m_line.baseUs; };
    if (m_line.known && (!line.known || line.baseUs != m_line.baseUs) &&
        std::none_of(m_earlier.begin(), m_earlier.end(), isOld))
        m_earlier.append(m_line);
    m_earlierMayCome = m_earlierMayCome || (m_line.known && line.baseUs != m_line.baseUs);
    if (m_earlier.size() > mostEarlierLines)
        m_earlier.removeFirst();
    m_line = line;
}

QVector<SensorTimeLine> TimeLineKeeper::knownLines(const Outside &outside) const
{
    QVector<SensorTimeLine> lines;
    const auto add = [&lines](const SensorTimeLine &line) {
        const auto same = [&line](const SensorTimeLine &one) { return one.baseUs == line.baseUs; };
        if (line.known && std::none_of(lines.begin(), lines.end(), same))
            lines.append(line);
    };
    add(m_line);
    add(outside.last);
    add(m_next.value_or(SensorTimeLine()));
    std::for_each(m_earlier.rbegin(), m_earlier.rend(), add);
    return lines;
}

/// From what the sensor says of its uptime; away from the milliseconds of every other line when its times could meet
/// theirs.
SensorTimeLine TimeLineKeeper::freshLine(qint64 newestRawUs, bool apart, const Outside &outside) const
{
    SensorTimeLine line = timebase::settle({}, outside.candidate, newestRawUs, outside.nowUtcMs);
    const QVector<SensorTimeLine> others = knownLines(outside);
    if (others.isEmpty() || (line.baseUs == 0 && !apart))
        return line;
    qint64 wanted = fraction(others.constFirst().baseUs);
    const auto isTaken = [&wanted](const SensorTimeLine &one) { return fraction(one.baseUs) == wanted; };
    while (std::any_of(others.begin(), others.end(), isTaken))
        wanted = (wanted + 1) % wholeUs;
    line.baseUs += wanted - fraction(line.baseUs);
    return line;
}

int TimeLineKeeper::place(QVector<SamplePoint> &points, qint64 baseUs, bool startsFrame, const Outside &outside)
{
    if (points.isEmpty())
        return 0;
    int count = endOfStretch(points, 0);
    const qint64 firstRaw = sum(qint64(points.constFirst().time), -baseUs);
    const bool fell = m_lastRawUs && firstRaw < *m_lastRawUs;
    const bool isLate = sum(firstRaw, m_line.baseUs) <= qint64(outside.lastTime);
    if (!m_placed || fell || isLate || (startsFrame && m_earlierMayCome)) {
        const Start start{startsFrame, fell, fell && sum(*m_lastRawUs, -firstRaw) > disorderUs};
        const Choice choice = choose(points.mid(0, count), baseUs, start, outside);
        if (choice != Choice::Made)
            return choice == Choice::AskStatus ? askStatus : 0;
    }
    m_placed = true;
    bool ok = true;
    while (count < points.size()) {
        const int end = endOfStretch(points, count);
        if (startsAnew(points, count, end, baseUs, outside, &ok))
            break;
        count = end;
    }
    if (!ok)
        return 0;
    points = moved(std::move(points), m_line.baseUs - baseUs);
    return count;
}

void TimeLineKeeper::stored(const QVector<SamplePoint> &points)
{
    m_statusAsked = false;
    m_lastRawUs = sum(qint64(points.constLast().time), -m_line.baseUs);
}

bool TimeLineKeeper::startsAnew(const QVector<SamplePoint> &points, int from, int to, qint64 baseUs,
                                const Outside &outside, bool *ok) const
{
    const QVector<SamplePoint> stretch = points.mid(from, to - from);
    const Recognition stored = outside.recognise(moved(stretch, m_line.baseUs - baseUs));
    const Recognition here = recogniseIn(points.mid(0, from), stretch);
    *ok = *ok && stored.ok;
    if (stored.isOther() || here.isOther())
        return true;
    const bool farFell = points[from - 1].time - points[from].time > quint64(disorderUs);
    return !stored.isSame() && here.same == 0 && (m_next || farFell);
}

/// Where the times begin, or begin again.
TimeLineKeeper::Choice TimeLineKeeper::choose(const QVector<SamplePoint> &stretch, qint64 baseUs, const Start &start,
                                              const Outside &outside)
{
    const auto range = std::minmax_element(stretch.begin(), stretch.end(),
                                           [](const SamplePoint &a, const SamplePoint &b) { return a.time < b.time; });
    const qint64 oldestRaw = sum(qint64(range.first->time), -baseUs);
    const qint64 newestRaw = sum(qint64(range.second->time), -baseUs);
    const QVector<SensorTimeLine> lines = knownLines(outside);
    bool contradicted = false;
    bool contradictsNext = false;
    for (int i = 0; i < lines.size(); ++i) {
        const SensorTimeLine &line = lines[i];
        const Recognition found = outside.recognise(moved(stretch, line.baseUs - baseUs));
        if (!found.ok)
            return Choice::Unreadable;
        if (found.isSame()) {
            recognised(line, newestRaw, outside);
            return Choice::Made;
        }
        contradicted = contradicted || (i == 0 && found.isOther());
        contradictsNext = contradictsNext || (m_next && m_next->baseUs == line.baseUs && found.isOther());
    }
    if (!m_line.known) {
        chooseFirst(oldestRaw, newestRaw, contradicted, outside);
        return Choice::Made;
    }
    if (!m_next && (contradicted || start.fellFar) && !std::exchange(m_statusAsked, true))
        return Choice::AskStatus; // a lower uptime ends this connection
    if (contradicted || start.fellFar || (start.fell && m_next)) {
        changeTo(m_next && !contradictsNext ? *m_next : freshLine(newestRaw, true, outside));
        m_next.reset();
    } else if (start.ofFrame && !start.fell) {
        m_earlierMayCome = false; // the sensor has forgotten theirs
    }
    return Choice::Made;
}

/// Rises with every line: its place among those that were left, or behind them.
int TimeLineKeeper::rank(const SensorTimeLine &line) const
{
    const auto same = [&line](const SensorTimeLine &one) { return one.baseUs == line.baseUs; };
    return int(std::find_if(m_earlier.begin(), m_earlier.end(), same) - m_earlier.begin());
}

/// What comes now was stored on this line before. When it is not the newest one, that follows. A sensor that does not
/// say its uptime may have restarted or not; its times will tell.
void TimeLineKeeper::recognised(const SensorTimeLine &line, qint64 newestRawUs, const Outside &outside)
{
    const SensorTimeLine newest = m_line.known ? m_line : outside.last;
    const bool restarted = !m_line.known && outside.candidate.uptimeMs >= 0 &&
                           timebase::hasRestarted(newest, outside.candidate, newestRawUs);
    if (restarted)
        m_next = freshLine(0, true, outside);
    else if (!m_next && rank(line) < rank(newest))
        m_next = newest;
    if (m_next && m_next->baseUs == line.baseUs)
        m_next.reset(); // this is it
    const bool confirmed = !restarted && !m_line.known && newest.baseUs == line.baseUs;
    changeTo({true, line.baseUs, confirmed ? confirmedUptimeMs(line, outside.candidate) : line.uptimeMs});
}

/// Nothing that is stored tells it.
void TimeLineKeeper::chooseFirst(qint64 oldestRawUs, qint64 newestRawUs, bool contradicted, const Outside &outside)
{
    const SensorTimeLine &last = outside.last;
    const TimeBaseCandidate &candidate = outside.candidate;
    const qint64 nowUs = outside.nowUtcMs * 1000;
    const qint64 newestUs = sum(newestRawUs, last.baseUs);
    const bool follows = sum(oldestRawUs, last.baseUs) > qint64(outside.lastTime);
    const bool goesOn = candidate.uptimeMs < 0 && follows && newestUs > nowUs - mostGapUs &&
                        newestUs <= nowUs + timebase::allowedLeadUs;
    if (last.known && !contradicted && (goesOn || !timebase::hasRestarted(last, candidate, newestRawUs))) {
        changeTo({true, last.baseUs, confirmedUptimeMs(last, candidate)});
        return;
    }
    const SensorTimeLine fresh = freshLine(newestRawUs, contradicted, outside);
    if (last.known && !contradicted && follows && newestUs <= nowUs &&
        timebase::isBeforeStart(candidate, newestRawUs, outside.nowUtcMs)) {
        m_next = freshLine(0, true, outside);
        changeTo(last);
        return;
    }
    changeTo(last);
    changeTo(fresh);
}

/// Behind the event before it on the same line.
bool TimeLineKeeper::hasFallen(qint64 rawUs) const
{
    return m_line.known && !m_next && m_lastEventRawUs && sum(*m_lastEventRawUs, -rawUs) > disorderUs;
}

TimeLineKeeper::EventPlace TimeLineKeeper::eventTaken(EventPlace::Outcome outcome, qint64 rawUs, qint64 baseUs)
{
    m_lastEventRawUs = baseUs == m_line.baseUs ? std::make_optional(rawUs) : std::nullopt;
    m_statusAsked = false;
    m_eventsPlaced = m_eventsPlaced || outcome == EventPlace::On;
    if (m_eventBases.isEmpty() || m_eventBases.constLast() != baseUs) {
        m_eventBases.removeOne(baseUs);
        m_eventBases.append(baseUs);
    }
    if (m_eventBases.size() > mostEventBases)
        m_eventBases.removeFirst();
    return {outcome, baseUs};
}

/// Events of an earlier start can stay in the sensor when its samples have gone: that one is recognised on a line
/// before the last says nothing of the samples that come.
TimeLineKeeper::EventPlace TimeLineKeeper::placeEvent(qint64 rawUs, const Outside &outside)
{
    const bool isEarlier = timebase::isBeforeStart(outside.candidate, rawUs, outside.nowUtcMs);
    const bool fell = hasFallen(rawUs);
    const QVector<SensorTimeLine> lines = knownLines(outside);
    for (const SensorTimeLine &line : lines) {
        if (!outside.isEventStored(sum(rawUs, line.baseUs)))
            continue;
        if (!m_line.known && line.baseUs == outside.last.baseUs)
            recognised(line, rawUs, outside);
        return eventTaken(EventPlace::Stored, rawUs, line.baseUs);
    }
    for (const qint64 base : qAsConst(m_eventBases)) {
        if (outside.isEventStored(sum(rawUs, base)))
            return eventTaken(EventPlace::Stored, rawUs, base);
    }
    // The lines of before this program started are not known; what the sensor holds of them comes first.
    const qint64 startedUs = (outside.candidate.utcMs - outside.candidate.uptimeMs) * 1000;
    const bool isSought = isEarlier && !m_eventsPlaced && outside.findEvent;
    const std::optional<qint64> found = isSought ? outside.findEvent(startedUs) : std::nullopt;
    if (found)
        return eventTaken(EventPlace::Stored, rawUs, sum(*found, -rawUs));
    if (fell && !isEarlier && !std::exchange(m_statusAsked, true))
        return {EventPlace::AskStatus, 0}; // a lower uptime ends this connection
    if (fell && outside.candidate.uptimeMs < 0)
        m_next = freshLine(rawUs, true, outside);
    if (!m_line.known)
        chooseFirst(rawUs, rawUs, false, outside);
    if (isEarlier && !m_next) {
        const auto before = std::find_if(m_earlier.rbegin(), m_earlier.rend(),
                                         [this](const SensorTimeLine &one) { return one.baseUs != m_line.baseUs; });
        return eventTaken(EventPlace::On, rawUs, before == m_earlier.rend() ? m_line.baseUs : before->baseUs);
    }
    return eventTaken(EventPlace::On, rawUs, m_next && !isEarlier ? m_next->baseUs : m_line.baseUs);
}
