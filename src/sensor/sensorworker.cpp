#include "sensor/sensorworker.h"

#include "base/log.h"
#include "sensor/sensoraccess.h"
#include "sensor/sensorrequest.h"

#include <QMutexLocker>
#include <QTimer>

namespace {

// Nothing in the thread waits; one that is cut off all the same could take the program with it.
constexpr unsigned long stopWaitMs = 2000;

SensorAccess::Request requestFor(const QUrl &url)
{
    SensorAccess::Request request;
    request.url = url;
    request.headers = QByteArrayLiteral("Accept-Encoding: identity\r\n");
    request.once = sensorrequest::runsOnce(url);
    return request;
}

/// A page comes with 200. An upload was taken with any code of success, such as 204 without a body.
bool isSuccess(const SensorReply &reply)
{
    return reply.status() == 200 || (reply.status() / 100 == 2 && sensorrequest::isUpload(reply.url()));
}

/// Whether the body is what was asked for: nobody asks for a compressed one.
bool isPlain(const SensorReply &reply)
{
    const QByteArray encoding = reply.header("content-encoding").trimmed().toLower();
    return encoding.isEmpty() || encoding == "identity";
}

/// Whether the body is the one that the header announced. A body without a length cannot be judged here.
bool hasAnnouncedLength(const SensorReply &reply, qint64 received)
{
    const QByteArray text = reply.header("content-length");
    if (text.isNull())
        return true;
    bool ok = false;
    const qint64 announced = text.trimmed().toLongLong(&ok);
    return ok && announced == received;
}

} // namespace

/// The network side, alive while the thread runs.
struct SensorWorker::Exchange
{
    SensorAccess manager;
    QTimer replyTimer;
    QTimer dispatchTimer;
    SensorReply *reply = nullptr; // nullptr when idle
    QByteArray body;              // read so far
    qint64 limit = 0;
};

SensorWorker::SensorWorker(int replyTimeoutMs, int dispatchIntervalMs, QObject *parent)
    : QThread(parent), m_replyTimeout(replyTimeoutMs), m_dispatchInterval(dispatchIntervalMs)
{}

SensorWorker::~SensorWorker()
{
    if (isRunning())
        stop();
    logDebug(QStringLiteral("SensorWorker Deleted"));
}

int SensorWorker::queuePost(const QUrl &url, const QByteArray &body)
{
    const QMutexLocker lock(&m_mutex);
    m_posts.enqueue({url, body});
    return m_posts.size();
}

int SensorWorker::queueGet(const QUrl &url)
{
    const QMutexLocker lock(&m_mutex);
    m_gets.enqueue(url);
    return m_gets.size();
}

int SensorWorker::pendingCount() const
{
    const QMutexLocker lock(&m_mutex);
    return m_posts.size() + m_gets.size();
}

bool SensorWorker::busy() const
{
    const QMutexLocker lock(&m_mutex);
    return m_inFlight || !m_posts.isEmpty() || !m_gets.isEmpty();
}

int SensorWorker::dropQueuedGets()
{
    const QMutexLocker lock(&m_mutex);
    const int dropped = m_gets.size();
    m_gets.clear();
    return dropped;
}

QUrl SensorWorker::takeTimedOutUrl()
{
    const QMutexLocker lock(&m_mutex);
    return m_timedOut.isEmpty() ? QUrl() : m_timedOut.dequeue();
}

QString SensorWorker::lastErrorText() const
{
    const QMutexLocker lock(&m_mutex);
    return m_lastErrorText;
}

void SensorWorker::stop()
{
    logDebug(QStringLiteral("SensorWorker: stopping thread"));
    quit();
    if (!wait(stopWaitMs)) {
        terminate();
        wait();
    }
    const QMutexLocker lock(&m_mutex);
    m_posts.clear();
    m_gets.clear();
    m_timedOut.clear();
    m_inFlight = false;
}

void SensorWorker::run()
{
    Exchange exchange;
    m_exchange = &exchange;
    exchange.replyTimer.setSingleShot(true);
    exchange.replyTimer.setTimerType(Qt::PreciseTimer);
    exchange.dispatchTimer.setTimerType(Qt::PreciseTimer);
    connect(&exchange.replyTimer, &QTimer::timeout, &exchange.manager, [this] { replyTimeout(); });
    connect(&exchange.dispatchTimer, &QTimer::timeout, &exchange.manager, [this] { dispatchQueuedRequests(); });
    SensorReply *const reply = exchange.manager.reply();
    connect(reply, &QNetworkReply::readyRead, &exchange.manager, [this] { collect(); });
    connect(reply, &QNetworkReply::finished, &exchange.manager, [this] { replyReceived(); });
    connect(reply, &QNetworkReply::errorOccurred, &exchange.manager,
            [this](QNetworkReply::NetworkError error) { replyError(error); });
    exchange.dispatchTimer.start(m_dispatchInterval);
    logDebug(QStringLiteral("SensorWorker: starting thread"));
    exec();
    if (exchange.reply)
        dropReply();
    m_exchange = nullptr;
}

void SensorWorker::dispatchQueuedRequests()
{
    if (m_exchange->reply)
        return;
    Post post;
    QUrl get;
    {
        const QMutexLocker lock(&m_mutex);
        if (!m_posts.isEmpty())
            post = m_posts.dequeue();
        else if (!m_gets.isEmpty())
            get = m_gets.dequeue();
        else
            return;
        m_inFlight = true;
    }
    if (post.url.isEmpty())
        sendGet(get);
    else
        sendPost(post);
}

void SensorWorker::sendGet(const QUrl &url)
{
    send(requestFor(url));
}

void SensorWorker::sendPost(const Post &post)
{
    SensorAccess::Request request = requestFor(post.url);
    request.operation = QNetworkAccessManager::PostOperation;
    request.headers +=
        "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(post.body.size()) + "\r\n";
    request.body = post.body;
    send(request);
}

void SensorWorker::send(const SensorAccess::Request &request)
{
    m_exchange->body.clear();
    m_exchange->limit = sensorrequest::replyLimit(sensorrequest::classify(request.url));
    m_exchange->reply = m_exchange->manager.begin(request);
    m_exchange->replyTimer.start(m_replyTimeout);
}

void SensorWorker::collect()
{
    Exchange &exchange = *m_exchange;
    if (!exchange.reply)
        return;
    const QByteArray piece = exchange.reply->takeBody();
    if (exchange.body.isEmpty())
        exchange.body = piece;
    else
        exchange.body += piece;
    if (exchange.body.size() <= exchange.limit)
        return;
    exchange.body.clear();
    exchange.limit = 0;
    replyError(QNetworkReply::UnknownContentError);
}

/// Ends the exchange: no late outcome of this reply reaches anybody.
void SensorWorker::dropReply()
{
    Exchange &exchange = *m_exchange;
    SensorReply *const reply = exchange.reply;
    exchange.reply = nullptr;
    exchange.replyTimer.stop();
    reply->abort();
    const QMutexLocker lock(&m_mutex);
    m_inFlight = false;
}

void SensorWorker::replyReceived()
{
    Exchange &exchange = *m_exchange;
    SensorReply *const reply = exchange.reply;
    collect();
    if (!reply || !exchange.reply)
        return;
    if (!isSuccess(*reply) || !isPlain(*reply)) {
        replyError(QNetworkReply::UnknownContentError);
        return;
    }
    if (!hasAnnouncedLength(*reply, exchange.body.size())) {
        replyError(QNetworkReply::RemoteHostClosedError);
        return;
    }
    const QUrl url = reply->url();
    const QByteArray data = std::move(exchange.body);
    dropReply();
    emit processReply(data, url);
}

void SensorWorker::replyError(QNetworkReply::NetworkError err)
{
    Exchange &exchange = *m_exchange;
    SensorReply *const reply = exchange.reply;
    if (!reply)
        return;
    logDebug(QStringLiteral("SensorWorker::replyError: %1").arg(int(err)));
    const QByteArray data = (exchange.body + reply->takeBody()).left(int(exchange.limit));
    const QUrl url = reply->url();
    {
        const QMutexLocker lock(&m_mutex);
        m_lastErrorText = reply->errorString();
    }
    dropReply();
    emit processReplyError(data, url);
}

void SensorWorker::replyTimeout()
{
    {
        const QMutexLocker lock(&m_mutex);
        m_timedOut.enqueue(m_exchange->reply->url());
    }
    dropReply();
    emit replyTimedOut();
}

#include "moc_sensorworker.cpp"
