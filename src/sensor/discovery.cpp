#include "sensor/discovery.h"

#include <QtEndian>

QByteArray discovery::request(const QHostAddress &from, quint16 replyPort)
{
    QByteArray datagram(8, '\0');
    datagram[0] = 'R';
    datagram[1] = 'Q';
    qToBigEndian<quint32>(from.toIPv4Address(), datagram.data() + 2);
    qToBigEndian<quint16>(replyPort, datagram.data() + 6);
    return datagram;
}

QString discovery::serialOf(const QByteArray &reply)
{
    if (reply.size() < 8 || !reply.startsWith("RPNORV"))
        return {};
    QByteArray serial = reply.mid(6, maximumReply - 6);
    const int end = serial.indexOf('\0');
    if (end >= 0)
        serial.truncate(end);
    return QString::fromLatin1(serial).trimmed();
}
