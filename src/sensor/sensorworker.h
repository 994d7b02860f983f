#pragma once

#include "sensor/sensoraccess.h"

#include <QByteArray>
#include <QMutex>
#include <QNetworkReply>
#include <QQueue>
#include <QString>
#include <QThread>
#include <QUrl>

/// The thread that carries out the HTTP requests of one sensor connection, strictly one at a time: uploads before
/// downloads, each in the order queued, each with a deadline of its own. Every request that was sent ends with exactly
/// one of the three signals, except when the worker is stopped; nothing is tried again here.
///
/// The queue operations and stop() belong to the owner's thread; the signals are emitted in the worker's thread and
/// must be connected queued. The network objects are born and die inside run(). Owned by its connection.
class SensorWorker : public QThread
{
    Q_OBJECT

public:
    explicit SensorWorker(int replyTimeoutMs = 1000, int dispatchIntervalMs = 10, QObject *parent = nullptr);
    /// Stops the thread first.
    ~SensorWorker() override;

    /// Queue a request; the result is the new length of its queue. Both may be called before start().
    int queuePost(const QUrl &url, const QByteArray &body);
    int queueGet(const QUrl &url);
    /// Queued requests of both kinds; the one in flight does not count.
    int pendingCount() const;
    /// Whether anything is queued or in flight.
    bool busy() const;
    /// Takes back the downloads that were not sent yet; returns how many. Uploads stay.
    int dropQueuedGets();
    /// Forgets every request and ends the thread; start() begins anew. The outcome of a request in flight never comes.
    void stop();

    /// The URL that a replyTimedOut() was about, in the order of the signals; empty when there was none.
    QUrl takeTimedOutUrl();
    /// What the toolkit said of the last failed reply.
    QString lastErrorText() const;

signals:
    void processReply(const QByteArray &data, const QUrl &url);
    void replyTimedOut();
    void processReplyError(const QByteArray &reply_data, const QUrl &reply_url);

public slots:
    // Run in the worker's thread only.
    void replyReceived();
    void replyError(QNetworkReply::NetworkError err);
    void replyTimeout();
    void dispatchQueuedRequests();

protected:
    void run() override;

private:
    struct Post
    {
        QUrl url;
        QByteArray body;
    };
    struct Exchange;

    void sendGet(const QUrl &url);
    void sendPost(const Post &post);
    void send(const SensorAccess::Request &request);
    void collect();
    void dropReply();

    const int m_replyTimeout;
    const int m_dispatchInterval;
    Exchange *m_exchange = nullptr; // worker's thread only, while run() runs

    mutable QMutex m_mutex; // a leaf; guards everything below, never held across a signal or a network call
    QQueue<Post> m_posts;
    QQueue<QUrl> m_gets;
    bool m_inFlight = false; // from the moment a request leaves its queue
    QQueue<QUrl> m_timedOut;
    QString m_lastErrorText;
};
