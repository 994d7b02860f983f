#include "simulator/discoveryresponder.h"

#include <QHostAddress>
#include <QNetworkDatagram>
#include <QNetworkProxy>
#include <QtEndian>

namespace {
constexpr int requestSize = 8;
}

quint16 discoveryReplyPort(const QByteArray &datagram)
{
    if (datagram.size() < requestSize || !datagram.startsWith("RQ"))
        return 0;
    return qFromBigEndian<quint16>(datagram.constData() + 6);
}

QByteArray discoveryReply(const QByteArray &serial)
{
    return "RPNORV" + serial + '\0';
}

DiscoveryResponder::DiscoveryResponder(Serial serial, QObject *parent)
    : QObject(parent), m_serial(std::move(serial)), m_socket(this)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    connect(&m_socket, &QUdpSocket::readyRead, this, &DiscoveryResponder::answer);
}

bool DiscoveryResponder::listen(quint16 port, QString *error)
{
    if (m_socket.bind(QHostAddress::AnyIPv4, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint))
        return true;
    *error = QStringLiteral("cannot answer discovery on UDP port %1: %2").arg(port).arg(m_socket.errorString());
    return false;
}

void DiscoveryResponder::answer()
{
    while (m_socket.hasPendingDatagrams()) {
        const QNetworkDatagram request = m_socket.receiveDatagram(64);
        const quint16 port = discoveryReplyPort(request.data());
        if (port != 0)
            m_socket.writeDatagram(discoveryReply(m_serial()), request.senderAddress(), port);
    }
}
