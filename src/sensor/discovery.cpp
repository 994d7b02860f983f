#include "sensor/discovery.h"

#include <QtEndian>

#include <algorithm>

QByteArray discovery::request(const QHostAddress &from, quint16 replyPort)
{
    QByteArray datagram(8, '\0');
    datagram[0] = 'R';
    datagram[1] = 'Q';
    qToBigEndian<quint32>(from.toIPv4Address(), datagram.data() + 2);
    qToBigEndian<quint16>(replyPort, datagram.data() + 6);
    return datagram;
}

std::optional<QString> discovery::serialOf(const QByteArray &reply)
{
    if (reply.size() < 8 || !reply.startsWith("RPNORV"))
        return std::nullopt;
    QByteArray bytes = reply.mid(6, maximumReply - 6);
    const int end = bytes.indexOf('\0');
    if (end >= 0)
        bytes.truncate(end);
    QString serial = QString::fromLatin1(bytes).trimmed();
    const auto isControl = [](QChar c) { return c.category() == QChar::Other_Control; };
    std::replace_if(serial.begin(), serial.end(), isControl, QLatin1Char('_'));
    return serial;
}
