#include "sensor/sensoraccess.h"

#include "base/coretext.h"

#include <QNetworkProxy>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr int pieceSize = 64 * 1024;
constexpr int longestReason = 200; // it is shown

QNetworkReply::NetworkError errorOf(int status)
{
    static const std::pair<int, QNetworkReply::NetworkError> known[] = {
        {401, QNetworkReply::AuthenticationRequiredError}, {403, QNetworkReply::ContentAccessDenied},
        {404, QNetworkReply::ContentNotFoundError},        {405, QNetworkReply::ContentOperationNotPermittedError},
        {500, QNetworkReply::InternalServerError},         {503, QNetworkReply::ServiceUnavailableError}};
    for (const auto &[code, error] : known) {
        if (code == status)
            return error;
    }
    if (status >= 500)
        return QNetworkReply::UnknownServerError;
    return status >= 400 ? QNetworkReply::UnknownContentError : QNetworkReply::NoError;
}

QNetworkReply::NetworkError errorOf(QAbstractSocket::SocketError error)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        return QNetworkReply::ConnectionRefusedError;
    case QAbstractSocket::RemoteHostClosedError:
        return QNetworkReply::RemoteHostClosedError;
    case QAbstractSocket::HostNotFoundError:
        return QNetworkReply::HostNotFoundError;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

} // namespace

SensorReply::SensorReply(SensorAccess *access) : QNetworkReply(access), m_access(*access)
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

void SensorReply::start(const SensorAccess::Request &request)
{
    ++m_exchange;
    setUrl(request.url);
    setOperation(request.operation);
    setError(NoError, QString());
    setFinished(false);
    writeHead(request);
    m_parser = {};
    m_body.clear();
    m_at = 0;
    m_once = request.once;
    m_repeats = false;
    m_isLeft = false;
    const QString host = request.url.host();
    const int port = request.url.port(80);
    m_reused = m_access.isOpenTo(host, port);
    if (!m_reused)
        m_access.m_socket.abort();
    m_access.m_host = host;
    m_access.m_port = port;
    m_access.m_current = this;
    if (m_reused)
        send();
    else // an outcome that is there at once must wait until somebody listens
        later(&SensorReply::begin);
}

void SensorReply::writeHead(const SensorAccess::Request &request)
{
    const QByteArray path =
        request.url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment | QUrl::FullyEncoded);
    const QByteArray host = request.url.host(QUrl::FullyEncoded).toLatin1();
    m_request.clear();
    m_request.reserve(256 + request.body.size());
    m_request += request.operation == QNetworkAccessManager::PostOperation ? "POST" : "GET";
    m_request += path.startsWith('/') ? " " : " /";
    m_request += path;
    m_request += " HTTP/1.1\r\nHost: ";
    m_request += host.contains(':') ? '[' + host + ']' : host;
    m_request += ':';
    m_request += QByteArray::number(request.url.port(80));
    m_request += "\r\nConnection: Keep-Alive\r\nUser-Agent: Norvex\r\n";
    m_request += request.headers;
    m_request += "\r\n";
    m_request += request.body;
}

/// From the event loop, unless the exchange is over by then.
void SensorReply::later(void (SensorReply::*step)())
{
    const auto stepNow = [this, step, exchange = m_exchange] {
        if (exchange == m_exchange && !m_isLeft)
            (this->*step)();
    };
    QMetaObject::invokeMethod(this, stepNow, Qt::QueuedConnection);
}

void SensorReply::begin()
{
    m_access.connectToPeer();
}

void SensorReply::send()
{
    if (m_access.m_socket.write(m_request) < 0)
        later(&SensorReply::peerClosed);
}

/// In pieces, each offered to the reader before the next is fetched: whoever finds the body too long ends the exchange.
void SensorReply::receive()
{
    std::array<char, pieceSize> piece;
    qint64 size = pieceSize;
    while (!m_isLeft && size == pieceSize) {
        size = m_access.m_socket.read(piece.data(), pieceSize);
        if (size < 0)
            peerClosed();
        else if (size > 0)
            take(piece.data(), int(size));
    }
}

void SensorReply::take(const char *data, int size)
{
    const int taken = m_parser.feed(data, size);
    const QByteArray body = m_parser.takeBody();
    if (!body.isEmpty()) {
        m_body = m_at == m_body.size() ? body : m_body.mid(m_at) + body;
        m_at = 0;
        emit readyRead();
        if (m_isLeft)
            return;
    }
    const bool finished = m_parser.state() == ReplyParser::State::Done;
    if (finished && taken < size)
        leave(false); // the peer said more than it announced
    if (finished || m_parser.state() == ReplyParser::State::Failed)
        conclude();
}

void SensorReply::peerClosed()
{
    const QAbstractSocket::SocketError error = m_access.m_socket.error();
    const QString text = m_access.m_socket.errorString();
    if (m_reused && !m_parser.hasBegun() && !m_once) {
        if (!std::exchange(m_repeats, true))
            later(&SensorReply::repeat);
        return;
    }
    m_parser.peerClosed();
    if (m_parser.state() == ReplyParser::State::Done)
        conclude();
    else
        end(errorOf(error), text);
}

void SensorReply::repeat()
{
    {
        const QSignalBlocker quiet(m_access.m_socket);
        m_access.m_socket.abort();
    }
    m_reused = false;
    begin();
}

void SensorReply::conclude()
{
    if (m_parser.state() == ReplyParser::State::Failed) {
        end(ProtocolFailure, CoreText::tr("The answer is no good HTTP"));
        return;
    }
    const NetworkError error = errorOf(m_parser.status());
    end(error, error == NoError
                   ? QString()
                   : CoreText::tr("Error transferring %1 - server replied: %2")
                         .arg(url().toDisplayString(), QString::fromLatin1(m_parser.reason().left(longestReason))));
}

void SensorReply::end(NetworkError error, const QString &text)
{
    leave(m_parser.keepsConnection());
    setFinished(true);
    if (error != NoError) {
        setError(error, text);
        emit errorOccurred(error);
    }
    emit finished();
}

/// Lets go of the connection, which is ended unless another request may follow on it.
void SensorReply::leave(bool keepConnection)
{
    if (m_isLeft)
        return;
    m_isLeft = true;
    if (m_access.m_current != this)
        return;
    m_access.m_current = nullptr;
    if (!keepConnection)
        m_access.m_socket.abort();
}

void SensorReply::abort()
{
    if (!m_isLeft)
        end(OperationCanceledError, CoreText::tr("Operation canceled"));
}

QByteArray SensorReply::takeBody()
{
    const QByteArray body = m_at == 0 ? m_body : m_body.mid(m_at);
    m_body.clear();
    m_at = 0;
    return body;
}

qint64 SensorReply::readData(char *data, qint64 most)
{
    const qint64 size = qMin<qint64>(most, m_body.size() - m_at);
    std::copy_n(m_body.constData() + m_at, size, data);
    m_at += int(size);
    return size == 0 && isFinished() ? -1 : size;
}

SensorAccess::SensorAccess(QObject *parent) : QNetworkAccessManager(parent), m_own(new SensorReply(this))
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    connect(&m_socket, &QTcpSocket::connected, this, &SensorAccess::connected);
    connect(&m_socket, &QTcpSocket::readyRead, this, &SensorAccess::readyRead);
    connect(&m_socket, &QTcpSocket::errorOccurred, this, &SensorAccess::closed);
    connect(&m_socket, &QTcpSocket::disconnected, this, &SensorAccess::closed);
}

SensorAccess::~SensorAccess()
{
    qDeleteAll(findChildren<QNetworkReply *>()); // they use the connection
    m_socket.disconnect(this);
}

SensorReply *SensorAccess::begin(const Request &request)
{
    m_own->start(request);
    return m_own;
}

QNetworkReply *SensorAccess::createRequest(Operation operation, const QNetworkRequest &request, QIODevice *body)
{
    Request lean{
        operation, request.url(), {}, body ? body->readAll() : QByteArray(), request.attribute(onceAttribute).toBool()};
    const QList<QByteArray> names = request.rawHeaderList();
    for (const QByteArray &name : names)
        lean.headers += name + ": " + request.rawHeader(name) + "\r\n";
    auto *const reply = new SensorReply(this);
    reply->start(lean);
    return reply;
}

bool SensorAccess::isOpenTo(const QString &host, int port) const
{
    return m_socket.state() == QAbstractSocket::ConnectedState && m_socket.bytesAvailable() == 0 && m_host == host &&
           m_port == port;
}

void SensorAccess::connectToPeer()
{
    m_socket.connectToHost(m_host, quint16(m_port), QIODevice::ReadWrite | QIODevice::Unbuffered);
}

void SensorAccess::connected()
{
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (m_current)
        m_current->send();
}

/// What comes without being asked for belongs to no request, and neither does the end of the connection.
void SensorAccess::readyRead()
{
    if (m_current)
        m_current->receive();
    else
        m_socket.abort();
}

void SensorAccess::closed()
{
    if (m_current)
        m_current->peerClosed();
}

#include "moc_sensoraccess.cpp"
