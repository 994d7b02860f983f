#include "simulator/wirescript.h"

#include <QList>

namespace {

constexpr int headLimit = 16 * 1024;
constexpr qint64 bodyLimit = 1 << 20;

/// The Content-Length of a head, 0 when absent, -1 when it makes no sense.
qint64 contentLength(const QByteArray &head)
{
    const QList<QByteArray> lines = head.split('\n');
    for (const QByteArray &line : lines) {
        const int colon = line.indexOf(':');
        if (colon < 0 || line.left(colon).trimmed().toLower() != "content-length")
            continue;
        bool ok = false;
        const qint64 length = line.mid(colon + 1).trimmed().toLongLong(&ok);
        return ok && length >= 0 ? length : -1;
    }
    return 0;
}

} // namespace

RequestHead parseRequestHead(const QByteArray &received)
{
    RequestHead head;
    const int end = received.indexOf("\r\n\r\n");
    if (end < 0) {
        if (received.size() > headLimit)
            head.state = RequestHead::State::Bad;
        return head;
    }
    const QByteArray text = received.left(end);
    const QList<QByteArray> words = text.left(text.indexOf("\r\n") < 0 ? end : text.indexOf("\r\n")).split(' ');
    const qint64 length = contentLength(text);
    if (end > headLimit || words.size() != 3 || !words[2].startsWith("HTTP/1.") || length < 0 || length > bodyLimit) {
        head.state = RequestHead::State::Bad;
        return head;
    }
    head.method = words[0];
    const int mark = words[1].indexOf('?');
    head.path = mark < 0 ? words[1] : words[1].left(mark);
    head.query = mark < 0 ? QByteArray() : words[1].mid(mark + 1);
    head.size = end + 4 + int(length);
    if (received.size() >= head.size)
        head.state = RequestHead::State::Complete;
    return head;
}
