#pragma once

#include <QByteArray>
#include <QObject>
#include <QUdpSocket>

#include <functional>

/// The reply port of a discovery request, 0 when the datagram is none: "RQ", the sender's IPv4 address and the port,
/// both in network byte order.
quint16 discoveryReplyPort(const QByteArray &datagram);

/// "RP", "NORV", the serial number and a zero byte.
QByteArray discoveryReply(const QByteArray &serial);

/// Answers discovery broadcasts. Lives in the thread that made it.
class DiscoveryResponder : public QObject
{
    Q_OBJECT

public:
    using Serial = std::function<QByteArray()>;

    explicit DiscoveryResponder(Serial serial, QObject *parent = nullptr);

    /// Port 0 takes any free one. Several sensors of one computer can share the port.
    bool listen(quint16 port, QString *error);
    quint16 port() const { return m_socket.localPort(); }
    void close() { m_socket.close(); }

private:
    void answer();

    Serial m_serial;
    QUdpSocket m_socket;
};
