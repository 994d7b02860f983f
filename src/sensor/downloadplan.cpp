#include "sensor/downloadplan.h"

#include <algorithm>
#include <utility>

void DownloadPlan::connected()
{
    disconnected();
    m_state = Connected;
}

void DownloadPlan::disconnected()
{
    const bool hasStore = m_hasStore;
    *this = DownloadPlan();
    m_hasStore = hasStore;
}

void DownloadPlan::setHasStore(bool hasStore)
{
    m_hasStore = hasStore;
    if (!hasStore)
        dropFrame();
}

void DownloadPlan::frameArrived(qint32 points, qint32 events)
{
    if (m_state != Connected || m_closing != Closing::No)
        return;
    m_points = points;
    m_events = events;
    m_dataIndex = 0;
    m_eventIndex = 0;
    m_allowance = 0;
    m_mayMove = events > manyEvents && m_lostTrack < mostLostTrack;
    m_looksAtFirst = false;
    m_names.clear();
    m_unmoved = 0;
    m_lookAfter = eventStep;
    m_largestPage = 0;
    m_crumbs = 0;
    m_givenUp = false;
    m_frameValid = true;
}

void DownloadPlan::pageStored(int n, quint64 firstTime)
{
    if (n <= 0) {
        nothingTaken();
        return;
    }
    m_withoutProgress = 0;
    m_dataIndex += quint64(n);
    // A frame that promises more than the sensor has goes on for ever, sample by sample as they are measured.
    m_crumbs = n < m_largestPage && m_dataIndex < quint64(m_points) ? m_crumbs + 1 : 0;
    m_largestPage = std::max(m_largestPage, n);
    if (firstTime > m_lastEventTime)
        raiseAllowance();
}

void DownloadPlan::eventTaken(quint64 time, quint64 name)
{
    if (std::exchange(m_looksAtFirst, false)) {
        firstEventIs(name);
        return;
    }
    m_withoutProgress = 0;
    ++m_eventIndex;
    m_lastEventTime = time;
    if (m_mayMove)
        m_names.append(name);
}

/// What stands at index 0 now says how many events have gone since the last look.
void DownloadPlan::firstEventIs(quint64 name)
{
    const int gone = m_names.indexOf(name);
    if (gone < 0) { // more than were taken; or the reply is wrong
        ++m_lostTrack;
        dropFrame();
    } else if (gone == 0) {
        m_unmoved = m_eventIndex;
        m_lookAfter = std::min(2 * m_lookAfter, eventStep);
    } else {
        m_unmoved = std::max(0, m_unmoved - gone);
        m_names = m_names.mid(gone, m_unmoved);
        m_events -= gone;
        m_eventIndex = m_unmoved;
        m_allowance = std::min(m_events, m_eventIndex + eventStep);
        m_lookAfter = std::max(m_lookAfter / 2, 1);
    }
}

void DownloadPlan::durable(bool ok, Refusal refusal)
{
    if (m_closing != Closing::WaitsForDisk)
        return;
    const bool again = !ok && refusal == Refusal::Wait;
    m_closing = ok ? Closing::MayClear : again ? Closing::TriesAgain : Closing::No;
    m_frameValid = ok || again;
    m_pause = !ok;
}

void DownloadPlan::dropFrame()
{
    m_frameValid = false;
    m_closing = Closing::No;
    if (m_state == Downloading)
        m_state = Connected;
}

qint32 DownloadPlan::giveUpFrame()
{
    if (!m_frameValid || m_closing != Closing::No)
        return 0;
    const qint32 left = m_points - qint32(std::min<quint64>(m_dataIndex, quint64(m_points)));
    m_dataIndex = quint64(m_points);
    m_eventIndex = m_events;
    m_allowance = m_events;
    m_mayMove = false;
    m_looksAtFirst = false;
    m_givenUp = true;
    return left;
}

DownloadStep DownloadPlan::next()
{
    switch (m_state) {
    case Connected:
        return nextConnected();
    case Downloading:
        return nextDownloading();
    case Disconnected:
        break;
    }
    return {};
}

DownloadStep DownloadPlan::nextConnected()
{
    if (m_closing == Closing::WaitsForDisk)
        return {};
    if (m_closing == Closing::MayClear) {
        m_closing = Closing::No;
        m_frameValid = false;
        m_lostTrack = 0;
        return {DownloadStep::Clear, quint64(m_points - 1), 0};
    }
    if (m_frameValid && m_givenUp && m_points > 0 && m_closing == Closing::No)
        return closeFrame();
    if (!m_hasStore || m_pause) {
        m_pause = false;
        return {DownloadStep::FrameLater, 0, 0};
    }
    if (m_closing == Closing::TriesAgain)
        return closeFrame();
    if (!m_frameValid || m_points < smallestFrame)
        return {DownloadStep::Frame, 0, 0};
    m_state = Downloading;
    if (m_eventIndex < m_events)
        m_allowance = std::min(m_events, eventStep);
    return nextDownloading();
}

DownloadStep DownloadPlan::nextDownloading()
{
    const qint32 unsure = m_mayMove ? m_eventIndex - m_unmoved : 0;
    if (unsure > 0 && (unsure >= m_lookAfter || m_eventIndex >= m_allowance)) {
        m_looksAtFirst = true;
        return {DownloadStep::Event, 0, 0};
    }
    if (m_eventIndex < m_allowance)
        return {DownloadStep::Event, quint64(m_eventIndex), 0};
    if (m_dataIndex < quint64(m_points))
        return {DownloadStep::Data, m_dataIndex, std::min(pageLimit, quint64(m_points) - m_dataIndex)};
    // Events later than every sample of the frame belong to it as well.
    if (m_eventIndex < m_events) {
        raiseAllowance();
        return {DownloadStep::Event, quint64(m_eventIndex), 0};
    }
    return closeFrame();
}

DownloadStep DownloadPlan::closeFrame()
{
    m_state = Connected;
    m_closing = Closing::WaitsForDisk;
    return {DownloadStep::MakeDurable, 0, 0};
}

void DownloadPlan::raiseAllowance()
{
    m_allowance = m_events - m_allowance > eventStep ? m_allowance + eventStep : m_events;
}
