#pragma once

#include <QByteArray>
#include <QObject>
#include <QTcpServer>

#include <functional>

class QTcpSocket;

/// Runs the event loop until `done`, at most `ms`; unlike the toolkit's own wait without naps in between.
bool waitUntil(const std::function<bool()> &done, int ms);

/// One request as it came over the wire.
struct PeerRequest
{
    QByteArray line; // "GET /service/info.cgi?"
    QByteArray head;
    QByteArray body;
};

/// What a peer does with a request.
struct PeerAnswer
{
    enum After { KeepOpen, Close, Reset };

    QByteArray bytes; // sent as they are
    After after = KeepOpen;
    int delayMs = 0;
    int dripMs = 0; // when not 0, one byte at a time

    static PeerAnswer ok(const QByteArray &body);
    static PeerAnswer status(int code, const QByteArray &body);
    /// Takes the request and never says anything.
    static PeerAnswer silence() { return {}; }
};

/// A sensor made of a script: a server on 127.0.0.1 that notes each request and answers as it is told. Lives in the
/// thread of the test.
class FakePeer : public QObject
{
    Q_OBJECT

public:
    using Script = std::function<PeerAnswer(const PeerRequest &)>;

    explicit FakePeer(Script script, quint16 port = 0);
    ~FakePeer() override;

    quint16 port() const { return m_server.serverPort(); }
    /// Every request so far, in order.
    const QList<PeerRequest> &requests() const { return m_requests; }
    /// Their lines without the method, "/service/" and "?": "info.cgi frame.cgi clear_index=3".
    QStringList lines() const;
    void setScript(Script script) { m_script = std::move(script); }
    /// Closes every connection, as a sensor that restarts.
    void dropConnections();

signals:
    void requested();

private:
    void read(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const PeerAnswer &answer);
    void drip(QTcpSocket *socket, const PeerAnswer &answer, int at);
    void finish(QTcpSocket *socket, PeerAnswer::After after);

    QTcpServer m_server;
    Script m_script;
    QList<PeerRequest> m_requests;
};
