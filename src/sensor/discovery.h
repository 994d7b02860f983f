#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QString>

#include <optional>

/// The datagrams with which sensors are found. Pure functions over bytes.
///
/// Request, 8 bytes:  0-1 "RQ" | 2-5 IPv4 address it leaves from, network order | 6-7 port for replies, network order
/// Reply:             0-1 "RP" | 2-5 "NORV" | 6.. serial number, ASCII, ended by a zero byte or the datagram's end
namespace discovery {

constexpr quint16 requestPort = 1799;
constexpr quint16 firstReplyPort = 4660;
constexpr quint16 lastReplyPort = 4669;
constexpr int maximumReply = 64; // bytes that are read of a datagram

QByteArray request(const QHostAddress &from, quint16 replyPort);
/// The serial number in a reply, which may be empty; nothing for a datagram that is no reply. It is shown on terminals
/// and in tables, so a control character in it becomes "_".
std::optional<QString> serialOf(const QByteArray &reply);

} // namespace discovery
