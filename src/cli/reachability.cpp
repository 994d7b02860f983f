#include "cli/reachability.h"

#include <QNetworkProxy>
#include <QTcpSocket>

bool somethingListens(const QString &host, quint16 port)
{
    constexpr int waitMs = 1000;
    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(host, port);
    return socket.waitForConnected(waitMs);
}
