#include "base/coretext.h"
#include "base/log.h"
#include "data/datanames.h"
#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "sensor/arcsensorprivate.h"
#include "sensor/samplepage.h"

#include <utility>

namespace {

constexpr int longestText = 255;      // of what a sensor says of itself; it may be a megabyte, and is shown in windows
constexpr qint64 badLinkReplies = 25; // a link may be bad for as long as so many replies take at most

} // namespace

void arcSensor::Private::takeReply(const QByteArray &data, const QUrl &url)
{
    const eMessage kind = sensorrequest::classify(url);
    if (data == sensorrequest::notFoundPage()) {
        pageNotFound(kind, url);
        return; // the watchdog goes on
    }
    if (kind == eMessage::Unknown || kind == eMessage::TimedOut || kind == eMessage::ConnectionError) {
        retryConnection();
        return;
    }
    if (sensorrequest::isUpload(url))
        uploadDone(kind, data);
    if (!isUp())
        takeDisconnected(kind, data);
    else if (!sensorrequest::isUpload(url))
        takeConnected(kind, data, url);
    chooseNext();
}

void arcSensor::Private::takeError(const QByteArray &data, const QUrl &url)
{
    const eMessage kind = sensorrequest::classify(url);
    const bool upload = sensorrequest::isUpload(url);
    if (data == sensorrequest::notFoundPage()) {
        pageNotFound(kind, url);
        return;
    }
    const bool costly = costsConnection(kind, upload);
    if (costly || !isUp())
        later([this] { emit q->statusUpdate(QStringLiteral("Disconnected")); });
    if (upload)
        uploadFailed(kind, m_worker ? m_worker->lastErrorText() : QString());
    else if (kind == eMessage::Data)
        useOldDataPage();
    else
        useDefaults(kind);
    if (costly || !isUp())
        retryConnection();
    else
        chooseNext();
}

void arcSensor::Private::takeTimeOut()
{
    const QUrl url = m_worker ? m_worker->takeTimedOutUrl() : QUrl();
    const eMessage kind = sensorrequest::classify(url);
    const bool upload = sensorrequest::isUpload(url);
    later([this] { emit q->statusUpdate(QStringLiteral("Connection timed out")); });
    const bool costly = costsConnection(kind, upload);
    if (upload)
        uploadFailed(kind, CoreText::tr("No answer in time"));
    else if (!costly)
        useDefaults(kind);
    if (costly || !isUp())
        retryConnection();
    else
        chooseNext();
}

/// Configuration, recipe and uploads are not needed for a download. The first failure of such a page may mean that the
/// connection is gone and costs it; the next one is the page's own.
bool arcSensor::Private::costsConnection(eMessage kind, bool upload)
{
    if (!upload && kind != eMessage::Config && kind != eMessage::Recipe)
        return true;
    const int page = int(kind) + (upload ? 100 : 0);
    const bool again = m_failedPages.contains(page);
    m_failedPages.insert(page);
    return !again;
}

void arcSensor::Private::takeDisconnected(eMessage kind, const QByteArray &data)
{
    if (kind == eMessage::Info)
        takeInfo(data);
    else if (!m_infoAsked)
        requestInfo();
}

void arcSensor::Private::takeInfo(const QByteArray &data)
{
    m_infoAsked = false;
    if (!m_info.decode(data)) {
        retryConnection();
        return;
    }
    // As it stands in our files, or a session would not know its own sensor again.
    m_info.serial_number = datanames::lineSafe(m_info.serial_number.left(longestText));
    m_info.build_date.truncate(longestText);
    if (!m_expectedSerial.isEmpty() && m_info.serial_number != m_expectedSerial) {
        m_retryTimer.start();
        later([this, found = m_info.serial_number] { emit q->wrongSerial(found); });
        return;
    }
    m_retryTimer.stop();
    m_plan.connected();
    queueStatus();
    if (m_store) {
        m_store->setConnected(true);
        requestRecord(eMessage::Config);
        requestRecord(eMessage::Recipe);
    }
    later([this] { emit q->stateChange(1); });
    later([this] { emit q->statusUpdate(QStringLiteral("Connected")); });
    logDebug(QStringLiteral("arcSensor::processDisconnectedState: Got Info, State changed to Connected."));
}

void arcSensor::Private::takeConnected(eMessage kind, const QByteArray &data, const QUrl &url)
{
    switch (kind) {
    case eMessage::Status:
        takeStatus(data);
        break;
    case eMessage::Frame:
        takeFrame(data);
        break;
    case eMessage::Data:
        takeSamples(data, url);
        break;
    case eMessage::Events:
        takeEvent(data, url);
        break;
    case eMessage::Config:
        takeConfiguration(data);
        break;
    case eMessage::Recipe:
        takeRecipe(data);
        break;
    default:
        break;
    }
}

void arcSensor::Private::takeStatus(const QByteArray &data)
{
    if (!m_status.decode(data)) {
        // A failed reply, once: a sensor that never has a readable status is recorded all the same.
        const bool again = m_failedPages.contains(int(eMessage::Status));
        m_failedPages.insert(int(eMessage::Status));
        if (!again)
            retryConnection();
        return;
    }
    m_failedPages.remove(int(eMessage::Status));
    const qint64 uptimeMs = timebase::usableUptimeMs(m_status.uptimeMs);
    const bool restarted = m_uptimeMs >= 0 && uptimeMs >= 0 && uptimeMs < m_uptimeMs;
    m_uptimeMs = uptimeMs;
    m_statusArrivedMs = m_clock.steadyMs();
    m_statusWaitMs = m_statusArrivedMs - m_statusAskedMs;
    later([this] { emit q->statusUpdate(QStringLiteral("New Status")); });
    if (restarted) {
        logInfo(QStringLiteral("arcSensor: the sensor has restarted"));
        connectionLost();
        return;
    }
    if (m_fifoResets && *m_fifoResets != m_status.fifo_resets && m_plan.frameValid()) {
        logInfo(QStringLiteral("arcSensor: the sensor has reset its memory, the frame is dropped"));
        if (m_plan.state() == DownloadPlan::Downloading)
            later([this] { emit q->stateChange(1); });
        m_plan.dropFrame();
    }
    m_fifoResets = m_status.fifo_resets;
    confirmTimeLine();
}

void arcSensor::Private::takeFrame(const QByteArray &data)
{
    if (m_plan.state() != DownloadPlan::Connected)
        return;
    if (!m_frame.decode(data)) {
        retryConnection();
        return;
    }
    m_plan.frameArrived(m_frame.number_of_points, m_frame.number_of_events);
    later([this] { emit q->statusUpdate(QStringLiteral("New Frame")); });
}

void arcSensor::Private::takeSamples(const QByteArray &data, const QUrl &url)
{
    const auto index = sensorrequest::index(url);
    if (!index || !m_plan.expectsData(*index) || !m_store)
        return;
    const auto parse = [&data](qint64 base) {
        return parseSamplePage(data.constData(), std::size_t(data.size()), base);
    };
    SamplePage page = parse(parsingBase());
    if (!page.ok()) {
        logWarning(QStringLiteral("arcSensor::parseData: ERROR - Check the JSON headers of the data received"));
        nothingTaken();
        return;
    }
    if (isCut(page, *index)) {
        logDebug(QStringLiteral("arcSensor::parseData: the page ends early, it is asked for again"));
        nothingTaken();
        return;
    }
    // Where the sensor has restarted within the page it ends here; the rest comes as a page of its own.
    const int count = placePage(page.points, *index == 0);
    if (count == TimeLineKeeper::askStatus) {
        queueStatus();
        return;
    }
    if (page.clampedTimes > 0)
        page = parse(m_timeLines.line().baseUs);
    page.points.resize(count);
    if (page.ignoredColumns > 0)
        logDebug(QStringLiteral("arcSensor::parseData: %1 columns of another length are taken as 0")
                     .arg(page.ignoredColumns));
    if (page.clampedTimes > 0)
        logDebug(QStringLiteral("arcSensor::parseData: %1 sample times before 1970").arg(page.clampedTimes));
    if (page.points.isEmpty() || !m_store->addSamples(page.points)) {
        nothingTaken();
        return;
    }
    m_timeLines.stored(page.points);
    m_store->takeFinishedRuns();
    const quint64 first = page.points.first().time;
    m_plan.pageStored(page.points.size(), first);
    later([this, first] { emit q->dataUpdated(first); });
    if (m_plan.isStuck())
        retryConnection();
}

/// The last columns of a page may be missing and nothing but its missing end tells it. A sensor that has closed a page
/// closes them all, so one without an end is asked for again as long as a link may be bad. Of a sensor that closes none
/// only pages with a part of their optional columns are, once each.
bool arcSensor::Private::isCut(const SamplePage &page, quint64 index)
{
    if (page.isClosed) {
        m_closesPages = true;
        m_cutSinceMs.reset();
        m_cutIndex.reset();
        return false;
    }
    const qint64 now = m_clock.steadyMs();
    if (!m_cutSinceMs)
        m_cutSinceMs = now;
    m_closesPages = m_closesPages && now - *m_cutSinceMs <= badLinkReplies * m_timings.replyTimeout;
    const bool again = m_closesPages || (page.looksCut && m_cutIndex != index);
    m_cutIndex = again ? std::make_optional(index) : std::nullopt;
    return again;
}

void arcSensor::Private::takeEvent(const QByteArray &data, const QUrl &url)
{
    const auto index = sensorrequest::index(url);
    if (!index || !m_plan.expectsEvent(*index) || !m_store)
        return;
    m_event.decode(data, m_timeLines.line().baseUs);
    if (isAskedAgain(*index)) {
        logDebug(QStringLiteral("arcSensor: event record %1 is %2 bytes short and %3 too long")
                     .arg(*index)
                     .arg(m_event.missingBytes)
                     .arg(m_event.excessBytes));
        nothingTaken();
        return;
    }
    if (eventtype::code(m_event.typeName) < 0)
        logDebug(QStringLiteral("Invalid event type received: %1").arg(m_event.typeName.left(longestText)));
    else if (!storeEvent(data))
        return;
    m_plan.eventTaken(m_event.time, quint64(m_event.rawTimeUs) << 8 | quint8(m_event.typeCode));
}

/// A short record is what a bad link leaves of a good one, and a long one of no type that we know is no record, so it
/// is asked for again as long as that may last. A sensor that still sends such ones then means them: from then on each
/// is asked for twice.
bool arcSensor::Private::isAskedAgain(quint64 index)
{
    if (m_event.missingBytes == 0 && (m_event.excessBytes == 0 || eventtype::code(m_event.typeName) >= 0)) {
        m_shortEventSinceMs.reset();
        return false;
    }
    const qint64 now = m_clock.steadyMs();
    if (!m_shortEventSinceMs)
        m_shortEventSinceMs = now;
    m_shortEventsAreMeant =
        m_shortEventsAreMeant || now - *m_shortEventSinceMs > badLinkReplies * m_timings.replyTimeout;
    return !m_shortEventsAreMeant || std::exchange(m_shortEvent, index) != index;
}

/// False when the sensor has to say first how long it has been up.
bool arcSensor::Private::storeEvent(const QByteArray &data)
{
    EventRecord record;
    record.typeCode = m_event.typeCode;
    if (eventtype::name(m_event.typeCode).isEmpty()) {
        record.typeCode = eventtype::code(m_event.typeName);
        logDebug(
            QStringLiteral("arcSensor: event type %1 came with code %2").arg(m_event.typeName).arg(m_event.typeCode));
    }
    const TimeLineKeeper::EventPlace place = placeEvent(m_event.rawTimeUs, record.typeCode);
    if (place.outcome == TimeLineKeeper::EventPlace::AskStatus) {
        queueStatus();
        return false;
    }
    m_event.decode(data, place.baseUs);
    if (place.outcome == TimeLineKeeper::EventPlace::Stored)
        return true;
    record.time = m_event.time;
    record.loaded = true;
    record.samples.resize(int(m_event.voltage.size()));
    for (int i = 0; i < record.samples.size(); ++i) {
        SamplePoint &sample = record.samples[i];
        const auto at = std::size_t(i);
        sample.time = m_event.time + quint64(i) * m_event.increment;
        sample.voltage = double(m_event.voltage[at]);
        sample.currentReal = double(m_event.currentReal[at]);
        sample.currentImaginary = double(m_event.currentImaginary[at]);
    }
    m_store->addEvent(std::move(record));
    return true;
}

void arcSensor::Private::takeConfiguration(const QByteArray &data)
{
    m_failedPages.remove(int(eMessage::Config));
    takeCandidate();
    SensorConfiguration configuration = m_store ? m_store->configuration() : SensorConfiguration();
    if (!configuration.configFromJSON(data)) {
        logDebug(QStringLiteral("arcSensor: error reading Config"));
        return;
    }
    if (m_store)
        m_store->setConfiguration(configuration);
    logDebug(QStringLiteral("arcSensor: Config received successfully"));
    later([this] { emit q->configUpdated(); });
}

void arcSensor::Private::takeRecipe(const QByteArray &data)
{
    m_failedPages.remove(int(eMessage::Recipe));
    Recipe recipe;
    if (!holdsRecipe(data) || !recipe.fromJSON(data)) {
        logDebug(QStringLiteral("arcSensor: error reading Recipe"));
        return;
    }
    m_recipe = recipe;
    if (m_store)
        m_store->setRecipe(recipe);
    logDebug(QStringLiteral("arcSensor: Recipe received successfully"));
    later([this] { emit q->recipeUpdated(); });
}

/// The sensor does not have the page. The connection itself is fine, except that nothing can be had without data.
void arcSensor::Private::pageNotFound(eMessage kind, const QUrl &url)
{
    logDebug(
        QStringLiteral("arcSensor::processDownloadState: sensor page for eMessage=%1 does not exist").arg(int(kind)));
    if (sensorrequest::isUpload(url)) {
        uploadFailed(kind, CoreText::tr("The sensor does not have this page"));
    } else if (!isUp()) {
        retryConnection();
    } else if (kind == eMessage::Data && url.path().contains(sensorrequest::oldDataPage(), Qt::CaseInsensitive)) {
        // One glitch of the current page must not lock a sensor out for good that does not have the older one.
        m_dataPage = sensorrequest::dataPage();
        retryConnection();
    } else if (kind == eMessage::Data) {
        useOldDataPage();
    } else if (kind == eMessage::Config || kind == eMessage::Recipe) {
        useDefaults(kind);
    } else {
        nothingTaken();
    }
}

void arcSensor::Private::nothingTaken()
{
    m_plan.nothingTaken();
    if (m_plan.isStuck())
        retryConnection();
}

void arcSensor::Private::useOldDataPage()
{
    logDebug(
        QStringLiteral("arcSensor::replyError: data recieve error. Webservice %1 did not reply, probably because an "
                       "old norvex is being used. Switching to alternative data webservice: %2")
            .arg(m_dataPage, sensorrequest::oldDataPage()));
    m_dataPage = sensorrequest::oldDataPage();
}

void arcSensor::Private::useDefaults(eMessage kind)
{
    if (kind == eMessage::Config) {
        logDebug(QStringLiteral("arcSensor::replyError: configuration receive error.  Using Default."));
        if (isUp())
            takeCandidate();
        if (m_store)
            m_store->setConfiguration(SensorConfiguration());
        later([this] { emit q->configUpdated(); });
    } else if (kind == eMessage::Recipe) {
        logDebug(QStringLiteral("arcSensor::replyError: recipe receive error.  Using Default."));
        m_recipe.initDefault(1);
        if (m_store)
            m_store->setRecipe(m_recipe);
        later([this] { emit q->recipeUpdated(); });
    }
}
