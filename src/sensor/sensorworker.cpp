#include "sensor/sensorworker.h"

#include "base/log.h"
#include "sensor/sensoraccess.h"
#include "sensor/sensorrequest.h"

#include <QMutexLocker>
#include <QNetworkRequest>
#include <QTimer>

namespace {

constexpr qint64 readBufferSize = 64 * 1024;
// Nothing in the thread waits; one that is cut off all the same could take the program with it.
constexpr unsigned long stopWaitMs = 8000;

QNetworkRequest requestFor(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setRawHeader("Accept-Encoding", "identity");
    request.setAttribute(SensorAccess::onceAttribute, sensorrequest::runsOnce(url));
    return request;
}

/// A page comes with 200. An upload was taken with any code of success, such as 204 without a body.
bool isSuccess(const QNetworkReply &reply)
{
    const int code = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return code == 200 || (sensorrequest::isUpload(reply.url()) && code / 100 == 2);
}

/// Whether the body is what was asked for: nobody asks for a compressed one.
bool isPlain(const QNetworkReply &reply)
{
    const QByteArray encoding = reply.rawHeader("Content-Encoding").trimmed().toLower();
    return encoding.isEmpty() || encoding == "identity";
}

/// Whether the body is the one that the header announced. A body without a length cannot be judged here.
bool hasAnnouncedLength(const QNetworkReply &reply, qint64 received)
{
    if (!reply.hasRawHeader("Content-Length"))
        return true;
    bool ok = false;
    const qint64 announced = reply.rawHeader("Content-Length").trimmed().toLongLong(&ok);
    return ok && announced == received;
}

} // namespace

/// The network side, alive while the thread runs.
struct SensorWorker::Exchange
{
    SensorAccess manager;
    QTimer replyTimer;
    QTimer dispatchTimer;
    QNetworkReply *reply = nullptr; // nullptr when idle
    QByteArray body;                // read so far
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
    follow(m_exchange->manager.get(requestFor(url)));
}

void SensorWorker::sendPost(const Post &post)
{
    QNetworkRequest request = requestFor(post.url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setHeader(QNetworkRequest::ContentLengthHeader, post.body.size());
    follow(m_exchange->manager.post(request, post.body));
}

void SensorWorker::follow(QNetworkReply *reply)
{
    QObject *const context = &m_exchange->manager;
    m_exchange->reply = reply;
    m_exchange->body.clear();
    m_exchange->limit = sensorrequest::replyLimit(sensorrequest::classify(reply->url()));
    reply->setReadBufferSize(readBufferSize);
    connect(reply, &QNetworkReply::readyRead, context, [this] { collect(); });
    connect(reply, &QNetworkReply::finished, context, [this] { replyReceived(); });
    connect(reply, &QNetworkReply::errorOccurred, context,
            [this](QNetworkReply::NetworkError error) { replyError(error); });
    m_exchange->replyTimer.start(m_replyTimeout);
}

void SensorWorker::collect()
{
    Exchange &exchange = *m_exchange;
    exchange.body += exchange.reply->read(exchange.limit + 1 - exchange.body.size());
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
    QNetworkReply *const reply = exchange.reply;
    exchange.reply = nullptr;
    exchange.replyTimer.stop();
    reply->disconnect(&exchange.manager);
    if (reply->isRunning() && reply->error() == QNetworkReply::NoError)
        reply->abort();
    reply->deleteLater();
    const QMutexLocker lock(&m_mutex);
    m_inFlight = false;
}

void SensorWorker::replyReceived()
{
    Exchange &exchange = *m_exchange;
    QNetworkReply *const reply = exchange.reply;
    collect();
    if (exchange.reply != reply)
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
    logDebug(QStringLiteral("SensorWorker::replyError: %1").arg(int(err)));
    QNetworkReply *const reply = exchange.reply;
    const qint64 room = exchange.limit - exchange.body.size();
    const QByteArray data = exchange.body + reply->read(room);
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
