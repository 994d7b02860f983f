#pragma once

#include "sensor/replyparser.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTcpSocket>

class SensorReply;

/// Carries the requests to one sensor over a connection of its own that stays open between them, one request at a time.
/// Everything happens in the thread that made it, and nothing that a peer sends can keep it busy or fill the memory:
/// the toolkit's own transfer reads a header without end for ever, in a thread that then cannot be told to stop. A
/// request is sent again, once, only when a connection that was open already turns out to be closed before it answers,
/// and never when it must run only once. No redirect, proxy, cookie or cache; http only.
///
/// A hundred requests a second of every sensor pass here, so they do without what the toolkit does for each: the reply
/// is one object that begins anew, and the socket is unbuffered, so that a request leaves and a reply is taken with one
/// system call each.
class SensorAccess final : public QNetworkAccessManager
{
    Q_OBJECT

public:
    static constexpr auto onceAttribute = QNetworkRequest::User; // for get() and post()

    struct Request
    {
        Operation operation = GetOperation;
        QUrl url;
        QByteArray headers; // whole lines
        QByteArray body;
        bool once = false; // never sent again
    };

    explicit SensorAccess(QObject *parent = nullptr);
    ~SensorAccess() override;

    /// The reply to each begin(), for connecting to.
    SensorReply *reply() const { return m_own; }
    /// The request before must have ended, and the stack be out of the signals of its reply.
    SensorReply *begin(const Request &request);

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request, QIODevice *body) override;

private:
    friend class SensorReply;
    bool isOpenTo(const QString &host, int port) const;
    void connectToPeer();
    void connected();
    void readyRead();
    void closed();

    QTcpSocket m_socket;
    QString m_host;
    int m_port = 0;
    SensorReply *const m_own;
    SensorReply *m_current = nullptr; // that has the connection
};

/// The exchanges on the connection of a SensorAccess, which owns it, one after the other. Of the reply's head it knows
/// status() and header() only.
class SensorReply final : public QNetworkReply
{
    Q_OBJECT

public:
    explicit SensorReply(SensorAccess *access);
    ~SensorReply() override { leave(false); }

    void start(const SensorAccess::Request &request);
    void abort() override;
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_body.size() - m_at + QNetworkReply::bytesAvailable(); }

    /// What came of the body and was not read yet.
    QByteArray takeBody();
    /// 0 before the head is there.
    int status() const { return m_parser.status(); }
    /// Null when there is none.
    QByteArray header(const QByteArray &lowerCaseName) const { return m_parser.header(lowerCaseName); }

protected:
    qint64 readData(char *data, qint64 most) override;

private:
    friend class SensorAccess;
    void writeHead(const SensorAccess::Request &request);
    void later(void (SensorReply::*step)());
    void begin();
    void send();
    void receive();
    void take(const char *data, int size);
    void peerClosed();
    void repeat();
    void conclude();
    void end(NetworkError error, const QString &text);
    void leave(bool keepConnection);

    SensorAccess &m_access;
    int m_exchange = 0;
    QByteArray m_request;
    ReplyParser m_parser;
    QByteArray m_body; // not read yet, from m_at on
    int m_at = 0;
    bool m_once = false;
    bool m_reused = false; // a connection that was open already
    bool m_repeats = false;
    bool m_isLeft = true;
};
