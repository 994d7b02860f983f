#include "sensor/sensoraccess.h"

#include "sensor/replyparser.h"

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr int pieceSize = 64 * 1024;

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

/// One exchange on the connection of its SensorAccess, which owns it. Its body is read by whoever asked.
class SensorReply final : public QNetworkReply
{
public:
    SensorReply(SensorAccess *access, QNetworkAccessManager::Operation operation, const QNetworkRequest &request,
                const QByteArray &body);
    ~SensorReply() override { leave(false); }

    void abort() override;
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_body.size() - m_at + QNetworkReply::bytesAvailable(); }

protected:
    qint64 readData(char *data, qint64 most) override;

private:
    void writeHead(const QByteArray &verb, const QByteArray &body);
    void begin();
    void send();
    void read();
    void peerClosed();
    void repeat();
    void conclude();
    void end(NetworkError error, const QString &text);
    void leave(bool keepConnection);

    SensorAccess &m_access;
    QByteArray m_request;
    ReplyParser m_parser;
    QByteArray m_body; // not read yet, from m_at on
    int m_at = 0;
    bool m_reused = false; // a connection that was open already
    bool m_repeats = false;
    bool m_isLeft = false;
};

SensorReply::SensorReply(SensorAccess *access, QNetworkAccessManager::Operation operation,
                         const QNetworkRequest &request, const QByteArray &body)
    : QNetworkReply(access), m_access(*access)
{
    setRequest(request);
    setUrl(request.url());
    setOperation(operation);
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    writeHead(operation == QNetworkAccessManager::PostOperation ? "POST" : "GET", body);
    const QString host = url().host();
    const int port = url().port(80);
    m_reused = access->isOpenTo(host, port);
    if (!m_reused)
        access->m_socket.abort();
    access->m_host = host;
    access->m_port = port;
    QTcpSocket *const socket = &access->m_socket;
    connect(socket, &QTcpSocket::connected, this, &SensorReply::send);
    connect(socket, &QTcpSocket::readyRead, this, &SensorReply::read);
    connect(socket, &QTcpSocket::errorOccurred, this, &SensorReply::peerClosed);
    connect(socket, &QTcpSocket::disconnected, this, &SensorReply::peerClosed);
    if (m_reused)
        send();
    else // an outcome that is there at once must wait until somebody listens
        QMetaObject::invokeMethod(this, &SensorReply::begin, Qt::QueuedConnection);
}

void SensorReply::writeHead(const QByteArray &verb, const QByteArray &body)
{
    const QUrl where = url();
    QByteArray path = where.path(QUrl::FullyEncoded).toLatin1();
    if (path.isEmpty())
        path = "/";
    if (where.hasQuery())
        path += '?' + where.query(QUrl::FullyEncoded).toLatin1();
    const QString host = where.host(QUrl::FullyEncoded);
    const QString bracketed = host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    m_request = verb + ' ' + path + " HTTP/1.1\r\nHost: " + bracketed.toLatin1() + ':' +
                QByteArray::number(where.port(80)) + "\r\nConnection: Keep-Alive\r\nUser-Agent: Norvex\r\n";
    const QList<QByteArray> names = request().rawHeaderList();
    for (const QByteArray &name : names)
        m_request += name + ": " + request().rawHeader(name) + "\r\n";
    m_request += "\r\n" + body;
}

void SensorReply::begin()
{
    if (!m_isLeft)
        m_access.m_socket.connectToHost(m_access.m_host, quint16(m_access.m_port));
}

void SensorReply::send()
{
    m_access.m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_access.m_socket.write(m_request);
}

/// In pieces, each offered to the reader before the next is fetched: whoever finds the body too long ends the exchange.
void SensorReply::read()
{
    std::array<char, pieceSize> piece;
    const QPointer<SensorReply> alive(this);
    while (!m_isLeft && m_access.m_socket.bytesAvailable() > 0) {
        const int size = int(m_access.m_socket.read(piece.data(), pieceSize));
        if (size <= 0)
            return;
        const int taken = m_parser.feed(piece.data(), size);
        const QByteArray body = m_parser.takeBody();
        if (!body.isEmpty()) {
            m_body = m_body.mid(m_at) + body;
            m_at = 0;
            emit readyRead();
            if (!alive || m_isLeft)
                return;
        }
        const bool finished = m_parser.state() == ReplyParser::State::Done;
        if (finished && taken < size)
            leave(false); // the peer said more than it announced
        if (finished || m_parser.state() == ReplyParser::State::Failed) {
            conclude();
            return;
        }
    }
}

void SensorReply::peerClosed()
{
    const QPointer<SensorReply> alive(this);
    const QAbstractSocket::SocketError error = m_access.m_socket.error();
    const QString text = m_access.m_socket.errorString();
    read();
    if (!alive || m_isLeft)
        return;
    const bool once = request().attribute(SensorAccess::onceAttribute).toBool();
    if (m_reused && !m_parser.hasBegun() && !once) {
        if (!std::exchange(m_repeats, true))
            QMetaObject::invokeMethod(this, &SensorReply::repeat, Qt::QueuedConnection);
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
    if (m_isLeft)
        return;
    {
        const QSignalBlocker quiet(m_access.m_socket);
        m_access.m_socket.abort();
    }
    m_reused = false;
    begin();
}

void SensorReply::conclude()
{
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, m_parser.status());
    setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, QString::fromLatin1(m_parser.reason()));
    for (const ReplyParser::Header &header : m_parser.headers())
        setRawHeader(header.first, header.second);
    if (m_parser.state() == ReplyParser::State::Failed) {
        end(ProtocolFailure, QStringLiteral("The answer is no good HTTP"));
        return;
    }
    const NetworkError error = errorOf(m_parser.status());
    end(error, error == NoError ? QString()
                                : QStringLiteral("Error transferring %1 - server replied: %2")
                                      .arg(url().toDisplayString(), QString::fromLatin1(m_parser.reason())));
}

void SensorReply::end(NetworkError error, const QString &text)
{
    leave(m_parser.keepsConnection());
    setFinished(true);
    const QPointer<SensorReply> alive(this);
    if (error != NoError) {
        setError(error, text);
        emit errorOccurred(error);
    }
    if (alive)
        emit finished();
}

/// Lets go of the connection, which is ended unless another request may follow on it.
void SensorReply::leave(bool keepConnection)
{
    if (m_isLeft)
        return;
    m_isLeft = true;
    m_access.m_socket.disconnect(this);
    if (!keepConnection)
        m_access.m_socket.abort();
}

void SensorReply::abort()
{
    if (!m_isLeft)
        end(OperationCanceledError, QStringLiteral("Operation canceled"));
}

qint64 SensorReply::readData(char *data, qint64 most)
{
    const qint64 size = qMin<qint64>(most, m_body.size() - m_at);
    std::copy_n(m_body.constData() + m_at, size, data);
    m_at += int(size);
    return size == 0 && isFinished() ? -1 : size;
}

SensorAccess::SensorAccess(QObject *parent) : QNetworkAccessManager(parent)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_socket.setReadBufferSize(pieceSize);
}

SensorAccess::~SensorAccess()
{
    qDeleteAll(findChildren<QNetworkReply *>()); // they use the connection
}

QNetworkReply *SensorAccess::createRequest(Operation operation, const QNetworkRequest &request, QIODevice *body)
{
    return new SensorReply(this, operation, request, body ? body->readAll() : QByteArray());
}

/// What came without being asked for belongs to no request.
bool SensorAccess::isOpenTo(const QString &host, int port) const
{
    return m_socket.state() == QAbstractSocket::ConnectedState && m_socket.bytesAvailable() == 0 && m_host == host &&
           m_port == port;
}

#include "moc_sensoraccess.cpp"
