#include "simulator/wirefaults.h"

#include "simulator/randomsource.h"

#include <QtEndian>

#include <algorithm>

namespace wirefaults {

namespace {

using Action = WireStep::Action;

constexpr qint64 floodLimit = 64LL << 20;
constexpr int floodPiece = 16 * 1024;

WireStep send(const QByteArray &bytes)
{
    return {Action::Send, bytes, 0};
}

WireStep flood(const QByteArray &bytes)
{
    return {Action::Flood, bytes, floodLimit};
}

const WireStep closeStep{Action::Close, {}, 0};
const WireStep resetStep{Action::Reset, {}, 0};
const WireStep holdStep{Action::Hold, {}, 0};

/// A reply in its parts.
struct Parts
{
    QByteArray statusLine; // with its line end
    QByteArray body;

    explicit Parts(const QByteArray &reply)
        : statusLine(reply.left(reply.indexOf("\r\n") + 2)), body(reply.mid(reply.indexOf("\r\n\r\n") + 4))
    {}

    /// The reply with these header lines and no others.
    QByteArray head(const QByteArray &headerLines) const
    {
        return statusLine + "Content-Type: text/plain\r\n" + headerLines + "\r\n";
    }
    QByteArray headWithLength(qint64 length) const
    {
        return head("Content-Length: " + QByteArray::number(length) + "\r\n");
    }
    QByteArray firstBytes(qint64 wanted) const
    {
        const qint64 size = body.size();
        return body.left(int(wanted < 0 ? size / 2 : std::min(wanted, size)));
    }
};

QByteArray chunk(const QByteArray &bytes)
{
    return QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n";
}

const char chunkedHeader[] = "Transfer-Encoding: chunked\r\n";

quint32 gzipChecksum(const QByteArray &bytes)
{
    quint32 crc = 0xFFFFFFFFU;
    for (char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

QByteArray gzipped(const QByteArray &bytes)
{
    // The toolkit writes four bytes of length, then the zlib form: two bytes, the deflated data, a checksum of four.
    const QByteArray zlib = qCompress(bytes).mid(4);
    QByteArray result("\x1F\x8B\x08\0\0\0\0\0\0\xFF", 10);
    result.append(zlib.mid(2, zlib.size() - 6));
    char tail[8];
    qToLittleEndian(gzipChecksum(bytes), tail);
    qToLittleEndian(quint32(bytes.size()), tail + 4);
    return result.append(tail, 8);
}

} // namespace

WireScript hang(const FaultArgument &, const QByteArray &)
{
    return {holdStep};
}

WireScript reset(const FaultArgument &, const QByteArray &)
{
    return {resetStep};
}

WireScript close(const FaultArgument &, const QByteArray &)
{
    return {closeStep};
}

WireScript garbage(const FaultArgument &, const QByteArray &)
{
    RandomSource random(20230517);
    QByteArray bytes;
    for (int i = 0; i < 600; ++i)
        bytes.append(char(random.below(256)));
    return {send(bytes), closeStep};
}

WireScript status(const FaultArgument &code, const QByteArray &)
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(code.number) + " Fault\r\n";
    if (code.number / 100 == 3)
        head += "Location: /service/info.cgi\r\n";
    if (code.number != 204)
        head += "Content-Length: 0\r\n";
    return {send(head + "\r\n")};
}

WireScript empty(const FaultArgument &, const QByteArray &)
{
    return {send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")};
}

WireScript endlessLine(const FaultArgument &, const QByteArray &)
{
    return {send("HTTP/1.1 200 "), flood(QByteArray(floodPiece, 'O')), closeStep};
}

WireScript endlessHeader(const FaultArgument &, const QByteArray &)
{
    return {send("HTTP/1.1 200 OK\r\n"), flood(QByteArray("X-Filler: 0123456789abcdef\r\n").repeated(600)), closeStep};
}

WireScript delay(const FaultArgument &ms, const QByteArray &goodReply)
{
    return {{Action::Wait, {}, ms.number}, send(goodReply)};
}

WireScript resetInBody(const FaultArgument &bytes, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(parts.body.size()) + parts.firstBytes(bytes.number)),
            {Action::Wait, {}, 20},
            resetStep};
}

WireScript closeInBody(const FaultArgument &bytes, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(parts.body.size()) + parts.firstBytes(bytes.number)), closeStep};
}

WireScript cut(const FaultArgument &bytes, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.head({}) + parts.firstBytes(bytes.number)), closeStep};
}

WireScript noLength(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.head({}) + parts.body), closeStep};
}

WireScript chunked(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    const int half = parts.body.size() / 2;
    const QByteArray first = half > 0 ? chunk(parts.body.left(half)) : QByteArray();
    const QByteArray second = parts.body.isEmpty() ? QByteArray() : chunk(parts.body.mid(half));
    return {send(parts.head(chunkedHeader) + first + second + "0\r\n\r\n")};
}

WireScript badChunks(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.head(chunkedHeader) + chunk(parts.firstBytes(-1)) + "xyz\r\n" + parts.body + "\r\n0\r\n\r\n"),
            closeStep};
}

WireScript missingChunks(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.head(chunkedHeader) + chunk(parts.firstBytes(-1))), closeStep};
}

WireScript negativeLength(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(-1) + parts.body), closeStep};
}

WireScript doubleLength(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    const QByteArray lengths = "Content-Length: " + QByteArray::number(parts.body.size()) +
                               "\r\nContent-Length: " + QByteArray::number(parts.body.size() / 2) + "\r\n";
    return {send(parts.head(lengths) + parts.body), closeStep};
}

WireScript shortLength(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(parts.body.size() / 2) + parts.body)};
}

WireScript hugeLength(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(100000000000000LL) + parts.body), holdStep};
}

WireScript lfOnly(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(parts.body.size()).replace("\r\n", "\n") + parts.body)};
}

WireScript endlessBody(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.head({}) + parts.body), flood(QByteArray(floodPiece, '0')), closeStep};
}

WireScript dripHeader(const FaultArgument &ms, const QByteArray &goodReply)
{
    return {{Action::Drip, goodReply, ms.number}};
}

WireScript dripBody(const FaultArgument &ms, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    return {send(parts.headWithLength(parts.body.size())), {Action::Drip, parts.body, ms.number}};
}

WireScript gzip(const FaultArgument &, const QByteArray &goodReply)
{
    const Parts parts(goodReply);
    const QByteArray body = gzipped(parts.body);
    return {send(parts.head("Content-Encoding: gzip\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n") +
                 body)};
}

} // namespace wirefaults
