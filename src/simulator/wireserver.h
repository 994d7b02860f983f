#pragma once

#include "simulator/wirescript.h"

#include <QObject>
#include <QTcpServer>

#include <functional>

/// Listens, cuts requests out of the connections and plays the script that the responder answers with. All in the
/// thread that made it. It knows nothing of pages; it can do to a connection what a failing sensor or network does.
class WireServer : public QObject
{
    Q_OBJECT

public:
    using Responder = std::function<WireScript(const RequestHead &head, const QByteArray &request)>;

    explicit WireServer(Responder responder, QObject *parent = nullptr);

    bool listen(const QString &host, quint16 port, QString *error);
    quint16 port() const { return m_port; }

    /// Without power new connections are refused and the open ones reset. With power again it listens on the same port.
    bool setPower(bool on);
    /// Tries again when the port could not be had back with the power.
    void keepListening();
    void resetConnections();

private:
    void accept();

    Responder m_responder;
    QTcpServer m_server;
    QString m_host;
    quint16 m_port = 0;
    bool m_power = false;
};
