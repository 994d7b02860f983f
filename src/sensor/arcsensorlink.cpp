#include "base/log.h"
#include "data/norvexdata.h"
#include "sensor/arcsensorprivate.h"

#include <limits>

namespace {

// How long ago the last reply may be when a clear is sent on its strength: a sensor that restarted meanwhile holds
// other samples under the same indices.
constexpr qint64 freshReplyMs = 300;

int saturated(quint64 value)
{
    return int(qMin<quint64>(value, quint64(std::numeric_limits<int>::max())));
}

} // namespace

arcSensor::Private::Turn::~Turn()
{
    if (--m_d.m_depth == 0)
        m_d.endTurn();
}

arcSensor::Private::Private(arcSensor *owner, const QString &address, quint16 port, const LinkTimings &timings,
                            const Clock &clock)
    : q(owner), m_timings(timings), m_clock(clock), m_address(address), m_port(port)
{
    m_retryTimer.setSingleShot(true);
    m_retryTimer.setTimerType(Qt::PreciseTimer); // a coarse one says that there is more time left than the wait
    m_retryTimer.setInterval(m_timings.retryWait);
    m_verifyTimer.setSingleShot(true);
    m_verifyTimer.setInterval(3 * m_timings.pollPeriod);
    m_watchdog.setSingleShot(true);
    m_watchdog.setInterval(m_timings.pollPeriod);
    QObject::connect(&m_retryTimer, &QTimer::timeout, q, [this] {
        const Turn turn(*this);
        requestInfo();
    });
    QObject::connect(&m_verifyTimer, &QTimer::timeout, q, [this] {
        const Turn turn(*this);
        if (isUp() && isIdle())
            queueFrame();
    });
    QObject::connect(&m_watchdog, &QTimer::timeout, q, [this] {
        const Turn turn(*this);
        chooseNext();
    });
}

arcSensor::Private::~Private()
{
    if (m_store)
        m_store->setConnected(false);
}

/// Starts a new connection with a worker of its own and asks who the sensor is.
void arcSensor::Private::open()
{
    m_worker = std::make_unique<SensorWorker>(m_timings.replyTimeout, m_timings.dispatchInterval);
    // Outcomes wait in the queue of this thread; those of a worker that was replaced meanwhile are dropped here.
    const int generation = ++m_generation;
    const auto current = [this, generation] { return generation == m_generation; };
    QObject::connect(m_worker.get(), &SensorWorker::processReply, q,
                     [this, current](const QByteArray &data, const QUrl &url) {
                         if (current())
                             q->processReply(data, url);
                     });
    QObject::connect(m_worker.get(), &SensorWorker::replyTimedOut, q, [this, current] {
        if (current())
            q->replyTimedOut();
    });
    QObject::connect(m_worker.get(), &SensorWorker::processReplyError, q,
                     [this, current](const QByteArray &data, const QUrl &url) {
                         if (current())
                             q->processReplyError(data, url);
                     });
    m_worker->start();
    m_infoAsked = true;
    queueGet(eMessage::Info, sensorrequest::page(eMessage::Info));
}

/// Ends the connection without a word. The next one starts with the current data page again.
void arcSensor::Private::close()
{
    ++m_generation;
    ++m_durableToken;
    m_durableWait = false;
    m_worker.reset();
    m_retryTimer.stop();
    m_verifyTimer.stop();
    m_watchdog.stop();
    m_outstanding = 0;
    m_infoAsked = false;
    m_failedPages.clear();
    m_postedRecipes.clear();
    m_postedConfigurations.clear();
    m_emissions.clear();
    m_plan.disconnected();
    m_candidate = {};
    m_timeLines.disconnected();
    m_look.release();
    m_fifoResets.reset();
    m_uptimeMs = -1;
    m_dataPage = sensorrequest::dataPage();
    if (m_store)
        m_store->setConnected(false);
}

void arcSensor::Private::setStore(std::shared_ptr<norvexData> store)
{
    if (store == m_store)
        return;
    if (m_store)
        m_store->setConnected(false);
    m_store = std::move(store);
    const int before = m_plan.state();
    m_plan.setHasStore(m_store != nullptr);
    m_candidate = {};
    m_timeLines = {};
    m_look.release();
    ++m_durableToken;
    m_durableWait = false;
    if (!isUp())
        return;
    if (m_plan.state() != before)
        later([this, state = int(m_plan.state())] { emit q->stateChange(state); });
    m_verifyTimer.stop();
    if (!m_store)
        return;
    m_store->setConnected(true);
    requestRecord(eMessage::Config);
    requestRecord(eMessage::Recipe);
}

void arcSensor::Private::queueGet(eMessage kind, const QString &page, const QString &query)
{
    if (!m_worker)
        return;
    if (page.isEmpty()) {
        const QLatin1String state(m_plan.state() == DownloadPlan::Downloading ? "Download" : "Connected");
        logDebug(QStringLiteral("arcSensor::process%1State: sensor page for eMessage=%2 does not exist")
                     .arg(state)
                     .arg(int(kind)));
        return;
    }
    ++m_outstanding;
    m_worker->queueGet(sensorrequest::downloadUrl(m_address, m_port, page, query));
}

void arcSensor::Private::queueStatus()
{
    m_statusAskedMs = m_clock.steadyMs();
    queueGet(eMessage::Status, sensorrequest::page(eMessage::Status));
}

void arcSensor::Private::queueFrame()
{
    if (statusDue(false))
        queueStatus();
    queueGet(eMessage::Frame, sensorrequest::page(eMessage::Frame));
}

bool arcSensor::Private::statusDue(bool beforeClear) const
{
    const qint64 now = m_clock.steadyMs();
    return now - m_statusAskedMs > m_timings.statusMaxAge || (beforeClear && now - m_lastReplyMs > freshReplyMs);
}

void arcSensor::Private::requestInfo()
{
    m_retryTimer.stop();
    if (!m_worker || isUp())
        return;
    m_infoAsked = true;
    queueGet(eMessage::Info, sensorrequest::page(eMessage::Info));
    later([this] { emit q->statusUpdate(QStringLiteral("Connecting")); });
}

void arcSensor::Private::requestRecord(eMessage kind)
{
    if (!isUp())
        return;
    logDebug(QStringLiteral("arcSensor: requesting %1 from sensor")
                 .arg(kind == eMessage::Config ? QLatin1String("Config") : QLatin1String("Recipe")));
    queueGet(kind, sensorrequest::page(kind));
}

void arcSensor::Private::outcomeArrived()
{
    m_outstanding = qMax(m_outstanding - 1, 0);
    m_lastReplyMs = m_clock.steadyMs();
}

/// Gives the connection up and tries again after the retry wait. Nothing more is cleared.
void arcSensor::Private::connectionLost()
{
    m_plan.disconnected();
    if (m_worker)
        m_outstanding = qMax(m_outstanding - m_worker->dropQueuedGets(), 0);
    m_infoAsked = false;
    ++m_durableToken;
    m_durableWait = false;
    m_verifyTimer.stop();
    m_candidate = {};
    m_timeLines.disconnected();
    m_look.release();
    m_fifoResets.reset();
    m_uptimeMs = -1;
    if (m_store)
        m_store->setConnected(false);
    later([this] { emit q->stateChange(0); });
    later([this] { emit q->statusUpdate(QStringLiteral("Reconnecting")); });
    if (!m_retryTimer.isActive())
        m_retryTimer.start();
}

void arcSensor::Private::retryConnection()
{
    logDebug(QStringLiteral("arcSensor::processReply: timed out or got an error. Retrying connection"));
    connectionLost();
}

bool arcSensor::Private::isIdle() const
{
    return m_outstanding == 0 && !m_durableWait && !m_verifyTimer.isActive() && m_worker &&
           m_worker->pendingCount() == 0;
}

/// The one place where the download goes on: with nothing outstanding there is never more than one chain of requests.
void arcSensor::Private::chooseNext()
{
    if (!isUp() || !isIdle())
        return;
    DownloadPlan after = m_plan;
    const DownloadStep step = after.next();
    if (after.state() == DownloadPlan::Downloading && !m_candidate.known) {
        requestRecord(eMessage::Config); // its outcome, whatever it is, makes a time base possible
        return;
    }
    if (step.ask == DownloadStep::Clear && statusDue(true)) {
        queueStatus();
        return;
    }
    if (after.state() != m_plan.state())
        later([this, state = int(after.state())] { emit q->stateChange(state); });
    m_plan = after;
    carryOut(step);
}

void arcSensor::Private::carryOut(const DownloadStep &step)
{
    switch (step.ask) {
    case DownloadStep::Nothing:
        break;
    case DownloadStep::Frame:
        queueFrame();
        break;
    case DownloadStep::FrameLater:
        m_verifyTimer.start();
        break;
    case DownloadStep::Event:
        queueGet(eMessage::Events, sensorrequest::page(eMessage::Events), sensorrequest::eventQuery(step.index));
        emitDownloadStatus();
        break;
    case DownloadStep::Data:
        queueGet(eMessage::Data, m_dataPage, sensorrequest::dataQuery(step.index, step.limit));
        emitDownloadStatus();
        break;
    case DownloadStep::MakeDurable:
        makeDurable();
        break;
    case DownloadStep::Clear:
        queueGet(eMessage::Frame, sensorrequest::page(eMessage::Frame), sensorrequest::clearQuery(step.index));
        break;
    }
}

/// The sensor may forget a frame only when all of it is on disk.
void arcSensor::Private::makeDurable()
{
    const auto answer = [this](bool ok) {
        m_durableWait = false;
        if (!ok)
            logWarning(QStringLiteral("arcSensor: the download is not safe on disk, so the sensor keeps it"));
        const bool takesMore = ok || !m_store || m_store->takesMore();
        m_plan.durable(ok, takesMore ? DownloadPlan::Refusal::TakeMore : DownloadPlan::Refusal::Wait);
        chooseNext();
    };
    if (!m_store) {
        answer(true);
        return;
    }
    m_durableWait = true;
    m_store->whenDurable(q, [this, answer, token = ++m_durableToken](bool ok) {
        if (token != m_durableToken)
            return;
        const Turn turn(*this);
        answer(ok);
    });
}

void arcSensor::Private::emitDownloadStatus()
{
    later([this, done = saturated(m_plan.dataIndex()), total = m_plan.numberOfPoints(), events = m_plan.eventIndex(),
           allowance = m_plan.eventAllowance()] { emit q->downloadStatus(done, total, events, allowance); });
}

void arcSensor::Private::updateWatchdog()
{
    if (!isUp() || !isIdle())
        m_watchdog.stop();
    else if (!m_watchdog.isActive())
        m_watchdog.start();
    if (!isUp() && m_worker && m_outstanding == 0 && !m_retryTimer.isActive())
        m_retryTimer.start();
}

void arcSensor::Private::later(std::function<void()> emission)
{
    m_emissions.append(std::move(emission));
}

void arcSensor::Private::endTurn()
{
    updateWatchdog();
    if (m_emitting)
        return;
    m_emitting = true;
    const QPointer<arcSensor> alive(q);
    while (!m_emissions.isEmpty()) {
        const std::function<void()> emission = m_emissions.takeFirst();
        emission();
        if (!alive)
            return;
    }
    m_emitting = false;
}
