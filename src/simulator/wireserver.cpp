#include "simulator/wireserver.h"

#include "simulator/wireconnection.h"

#include <QNetworkProxy>

WireServer::WireServer(Responder responder, QObject *parent)
    : QObject(parent), m_responder(std::move(responder)), m_server(this)
{
    m_server.setProxy(QNetworkProxy::NoProxy);
    m_server.setMaxPendingConnections(256);
    connect(&m_server, &QTcpServer::newConnection, this, &WireServer::accept);
}

bool WireServer::listen(const QString &host, quint16 port, QString *error)
{
    m_host = host;
    QHostAddress address;
    if (!address.setAddress(host)) {
        *error = QStringLiteral("%1 is not an IP address").arg(host);
        return false;
    }
    if (!m_server.listen(address, port)) {
        *error = QStringLiteral("cannot listen on %1:%2: %3").arg(host).arg(port).arg(m_server.errorString());
        return false;
    }
    m_port = m_server.serverPort();
    m_power = true;
    return true;
}

bool WireServer::setPower(bool on)
{
    m_power = on;
    if (on)
        return m_server.isListening() || m_server.listen(QHostAddress(m_host), m_port);
    m_server.close();
    resetConnections();
    return true;
}

void WireServer::keepListening()
{
    if (m_power)
        setPower(true);
}

void WireServer::resetConnections()
{
    const auto connections = findChildren<WireConnection *>();
    for (WireConnection *connection : connections)
        connection->reset();
}

void WireServer::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection())
        new WireConnection(socket, m_responder, this);
}
