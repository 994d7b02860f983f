#include "sensor/replyparser.h"

#include <algorithm>
#include <cstring>

namespace {

bool hasNoBody(int status)
{
    return status == 204 || status == 304;
}

} // namespace

QByteArray ReplyParser::header(const QByteArray &lowerCaseName) const
{
    for (const Header &one : m_headers) {
        if (one.first.compare(lowerCaseName, Qt::CaseInsensitive) == 0)
            return one.second;
    }
    return {};
}

QByteArray ReplyParser::takeBody()
{
    QByteArray body;
    body.swap(m_body);
    return body;
}

int ReplyParser::feed(const char *data, int size)
{
    m_begun = m_begun || size > 0;
    int taken = 0;
    while (taken < size && m_state != State::Done && m_state != State::Failed) {
        const bool inData = m_part == Part::Counted || m_part == Part::UntilClose || m_part == Part::Chunk;
        taken += inData ? takeData(data + taken, size - taken) : takeLine(data + taken, size - taken);
    }
    return taken;
}

void ReplyParser::peerClosed()
{
    if (m_state == State::Body && m_part == Part::UntilClose)
        m_state = State::Done;
    else if (m_state != State::Done)
        fail();
}

int ReplyParser::takeLine(const char *data, int size)
{
    const void *const end = std::memchr(data, '\n', std::size_t(size));
    const int taken = end ? int(static_cast<const char *>(end) - data) + 1 : size;
    m_lineBytes += taken;
    if (m_lineBytes > m_limits.headBytes) {
        fail();
        return taken;
    }
    QByteArray line;
    line.swap(m_line);
    if (line.isEmpty() && end) // the usual case: the whole line lies in the piece at hand
        line = QByteArray::fromRawData(data, taken);
    else
        line.append(data, taken);
    if (m_part == Part::StatusLine &&
        std::memcmp(line.constData(), "HTTP/", std::size_t(std::min(line.size(), 5))) != 0)
        fail();
    else if (end)
        lineEnded(QByteArray::fromRawData(line.constData(), line.size() - (line.endsWith("\r\n") ? 2 : 1)));
    else
        m_line.swap(line);
    return taken;
}

int ReplyParser::takeData(const char *data, int size)
{
    const int taken = m_part == Part::UntilClose ? size : int(std::min<qint64>(size, m_left));
    m_body.append(data, taken);
    if (m_part == Part::UntilClose)
        return taken;
    m_left -= taken;
    if (m_left == 0 && m_part == Part::Counted)
        m_state = State::Done;
    else if (m_left == 0)
        m_part = Part::ChunkEnd;
    return taken;
}

void ReplyParser::lineEnded(const QByteArray &line)
{
    switch (m_part) {
    case Part::StatusLine:
        statusLine(line);
        break;
    case Part::HeaderLine:
        if (line.isEmpty())
            headEnded();
        else
            headerLine(line);
        break;
    case Part::ChunkSize:
        chunkSize(line);
        break;
    case Part::ChunkEnd:
        m_part = Part::ChunkSize;
        if (!line.isEmpty())
            fail();
        m_lineBytes = 0;
        break;
    case Part::Trailer:
        if (line.isEmpty())
            m_state = State::Done;
        break;
    case Part::Counted:
    case Part::UntilClose:
    case Part::Chunk:
        break;
    }
}

void ReplyParser::statusLine(const QByteArray &line)
{
    const QByteArray text = line.simplified();
    const int space = text.indexOf(' ');
    bool ok = false;
    m_status = text.mid(space + 1, 3).toInt(&ok);
    m_reason = text.mid(space + 5);
    m_keeps = text.startsWith("HTTP/1.1");
    if (!ok || space < 0 || !text.startsWith("HTTP/1.") || m_status < 100 || m_status > 599)
        fail();
    m_part = Part::HeaderLine;
}

/// A name that comes again adds to its value.
void ReplyParser::headerLine(const QByteArray &line)
{
    const int colon = line.indexOf(':');
    if (colon <= 0)
        return;
    const QByteArray name = line.left(colon).trimmed();
    const QByteArray value = line.mid(colon + 1).trimmed();
    for (Header &one : m_headers) {
        if (one.first.compare(name, Qt::CaseInsensitive) == 0) {
            one.second += ", " + value;
            return;
        }
    }
    m_headers.append({name, value});
    if (m_headers.size() > m_limits.headers)
        fail();
}

void ReplyParser::headEnded()
{
    if (m_status < 200) { // the reply itself comes after this
        m_headers.clear();
        m_part = Part::StatusLine;
        return;
    }
    const QByteArray connection = header("connection").toLower();
    m_keeps = m_keeps ? !connection.contains("close") : connection.contains("keep-alive");
    m_state = State::Body;
    m_lineBytes = 0;
    bool isLength = false;
    m_left = header("content-length").toLongLong(&isLength);
    if (hasNoBody(m_status)) {
        m_state = State::Done;
    } else if (header("transfer-encoding").toLower().contains("chunked")) {
        m_part = Part::ChunkSize;
    } else if (isLength && m_left >= 0) {
        m_part = Part::Counted;
        m_state = m_left == 0 ? State::Done : State::Body;
    } else {
        m_part = Part::UntilClose;
        m_keeps = false;
    }
}

void ReplyParser::chunkSize(const QByteArray &line)
{
    bool ok = false;
    m_left = line.split(';').constFirst().trimmed().toLongLong(&ok, 16);
    m_part = m_left > 0 ? Part::Chunk : Part::Trailer;
    if (!ok || m_left < 0)
        fail();
}
