#include "sensor/fakepeer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTcpSocket>
#include <QTimer>

bool waitUntil(const std::function<bool()> &done, int ms)
{
    const QDeadlineTimer deadline(ms);
    QTimer wake; // so that a wait for events ends in time
    wake.start(qMax(1, qMin(ms, 10)));
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    return done();
}

PeerAnswer PeerAnswer::ok(const QByteArray &body)
{
    return status(200, body);
}

PeerAnswer PeerAnswer::status(int code, const QByteArray &body)
{
    PeerAnswer answer;
    answer.bytes = "HTTP/1.1 " + QByteArray::number(code) + " x\r\nContent-Length: " + QByteArray::number(body.size()) +
                   "\r\n\r\n" + body;
    return answer;
}

FakePeer::FakePeer(Script script, quint16 port) : m_script(std::move(script))
{
    if (!m_server.listen(QHostAddress::LocalHost, port))
        qFatal("cannot listen on 127.0.0.1");
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *const socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

FakePeer::~FakePeer()
{
    dropConnections();
}

QStringList FakePeer::lines() const
{
    QStringList out;
    for (const PeerRequest &request : m_requests) {
        QString line = QString::fromLatin1(request.line);
        line.remove(0, line.indexOf(QLatin1String("/service/")) + 9);
        out += line.replace(QLatin1Char('?'), QLatin1Char(' ')).trimmed();
    }
    return out;
}

void FakePeer::dropConnections()
{
    for (QTcpSocket *const socket : m_server.findChildren<QTcpSocket *>())
        socket->abort();
}

void FakePeer::read(QTcpSocket *socket)
{
    for (;;) {
        const QByteArray waiting = socket->peek(1024 * 1024);
        const int headEnd = waiting.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return;
        PeerRequest request;
        request.head = waiting.left(headEnd);
        request.line = request.head.left(request.head.indexOf(" HTTP/"));
        const QByteArray name = "content-length: ";
        const int at = request.head.toLower().indexOf(name);
        const int length = at < 0 ? 0 : request.head.mid(at + name.size()).split('\r').first().toInt();
        if (waiting.size() < headEnd + 4 + length)
            return;
        request.body = waiting.mid(headEnd + 4, length);
        socket->read(headEnd + 4 + length);
        m_requests.append(request);
        answer(socket, m_script(request));
        emit requested();
        if (socket->state() != QAbstractSocket::ConnectedState)
            return;
    }
}

void FakePeer::answer(QTcpSocket *socket, const PeerAnswer &answer)
{
    if (answer.delayMs > 0) {
        PeerAnswer now = answer;
        now.delayMs = 0;
        QTimer::singleShot(answer.delayMs, socket, [this, socket, now] { this->answer(socket, now); });
    } else if (answer.dripMs > 0) {
        drip(socket, answer, 0);
    } else {
        socket->write(answer.bytes);
        finish(socket, answer.after);
    }
}

void FakePeer::drip(QTcpSocket *socket, const PeerAnswer &answer, int at)
{
    if (at == answer.bytes.size()) {
        finish(socket, answer.after);
        return;
    }
    socket->write(answer.bytes.constData() + at, 1);
    QTimer::singleShot(answer.dripMs, socket, [this, socket, answer, at] { drip(socket, answer, at + 1); });
}

void FakePeer::finish(QTcpSocket *socket, PeerAnswer::After after)
{
    if (after == PeerAnswer::Reset) {
        socket->abort();
    } else if (after == PeerAnswer::Close) {
        socket->disconnectFromHost();
    }
}
