#include "fuzz.h"
#include "sensor/replyparser.h"

#include <algorithm>

namespace {

/// Pieces of 1 to 2^(seed % 8) bytes, the same for the same seed: '0' in an input gives single bytes.
class PieceSizes
{
public:
    explicit PieceSizes(quint8 seed) : m_most(1U << (seed % 8)), m_state(seed) {}

    int next()
    {
        m_state = m_state * 1664525U + 1013904223U;
        return int(1 + (m_state >> 16) % m_most);
    }

private:
    quint32 m_most;
    quint32 m_state;
};

/// Small, so that short inputs reach them.
constexpr ReplyParser::Limits limits{300, 6};

struct Outcome
{
    ReplyParser parser;
    QByteArray body;
    int taken = 0;
};

Outcome fedWhole(const QByteArray &bytes)
{
    Outcome out{ReplyParser(limits), {}, 0};
    out.taken = out.parser.feed(bytes.constData(), bytes.size());
    out.body = out.parser.takeBody();
    return out;
}

Outcome fedInPieces(const ReplyParser &parser, const QByteArray &bytes, PieceSizes sizes)
{
    Outcome out{parser, {}, 0};
    for (int at = 0; at < bytes.size();) {
        const int size = std::min(sizes.next(), bytes.size() - at);
        out.taken += out.parser.feed(bytes.constData() + at, size);
        out.body += out.parser.takeBody();
        at += size;
    }
    return out;
}

void checkSame(const Outcome &a, const Outcome &b)
{
    FUZZ_CHECK(a.parser.state() == b.parser.state());
    FUZZ_CHECK(a.parser.hasBegun() == b.parser.hasBegun());
    FUZZ_CHECK(a.parser.status() == b.parser.status());
    FUZZ_CHECK(a.parser.reason() == b.parser.reason());
    FUZZ_CHECK(a.parser.headers() == b.parser.headers());
    FUZZ_CHECK(a.parser.keepsConnection() == b.parser.keepsConnection());
    FUZZ_CHECK(a.body == b.body);
    FUZZ_CHECK(a.taken == b.taken || a.parser.state() == ReplyParser::State::Failed);
}

void checkBounds(const Outcome &out, const QByteArray &bytes)
{
    const ReplyParser::State state = out.parser.state();
    const bool headRead = state == ReplyParser::State::Body || state == ReplyParser::State::Done;
    FUZZ_CHECK(!headRead || (out.parser.status() >= 200 && out.parser.status() <= 599));
    FUZZ_CHECK(out.taken == bytes.size() || !(state == ReplyParser::State::Head || state == ReplyParser::State::Body));
    FUZZ_CHECK(out.body.size() <= out.taken);
    const QList<ReplyParser::Header> headers = out.parser.headers();
    int named = 0;
    for (const ReplyParser::Header &header : headers) {
        FUZZ_CHECK(!header.first.contains('\n') && !header.second.contains('\n'));
        named += header.first.size();
    }
    FUZZ_CHECK(named <= limits.headBytes && headers.size() <= limits.headers + 1);
    FUZZ_CHECK(!headRead || headers.size() <= limits.headers);
}

/// `tail` follows the reply in the connection.
void checkArrives(const QByteArray &reply, const QByteArray &tail, const QByteArray &body, PieceSizes sizes)
{
    const Outcome out = fedInPieces(ReplyParser(), reply + tail, sizes);
    FUZZ_CHECK(out.parser.state() == ReplyParser::State::Done);
    FUZZ_CHECK(out.parser.keepsConnection());
    FUZZ_CHECK(out.body == body);
    FUZZ_CHECK(out.taken == reply.size());
}

void checkChunked(const QByteArray &body, PieceSizes sizes)
{
    QByteArray chunked = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    PieceSizes chunkSizes = sizes;
    for (int at = 0; at < body.size();) {
        const QByteArray chunk = body.mid(at, chunkSizes.next());
        chunked += QByteArray::number(chunk.size(), 16) + ";x\r\n" + chunk + "\r\n";
        at += chunk.size();
    }
    checkArrives(chunked + "0\r\nTrailer: 1\r\n\r\n", "HTTP", body, sizes);
}

void checkUntilClose(const QByteArray &body, PieceSizes sizes)
{
    Outcome untilClose = fedInPieces(ReplyParser(), "HTTP/1.1 200 OK\r\n\r\n" + body, sizes);
    FUZZ_CHECK(untilClose.parser.state() == ReplyParser::State::Body);
    untilClose.parser.peerClosed();
    FUZZ_CHECK(untilClose.parser.state() == ReplyParser::State::Done);
    FUZZ_CHECK(!untilClose.parser.keepsConnection());
    FUZZ_CHECK(untilClose.body == body);
}

/// A body sent in any of the three ways arrives as it was, whatever it holds, and nothing behind it is taken.
void checkCarried(const QByteArray &body, PieceSizes sizes, int way)
{
    if (way == 0)
        return checkChunked(body, sizes);
    if (way == 1)
        return checkUntilClose(body, sizes);
    const QByteArray head = "HTTP/1.1 200 OK\nContent-Length: " + QByteArray::number(body.size()) + "\n\n";
    checkArrives(head + body, "HTTP", body, sizes);
}

} // namespace

/// The first byte says how the reply in the others is cut into pieces, and in which way they are sent as a body.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const PieceSizes sizes(data[0]);
    const QByteArray bytes = bytesOf(data + 1, size - 1);
    Outcome whole = fedWhole(bytes);
    Outcome pieces = fedInPieces(ReplyParser(limits), bytes, sizes);
    checkSame(whole, pieces);
    checkBounds(whole, bytes);
    whole.parser.peerClosed();
    pieces.parser.peerClosed();
    checkSame(whole, pieces);
    FUZZ_CHECK(whole.parser.state() == ReplyParser::State::Done || whole.parser.state() == ReplyParser::State::Failed);
    checkCarried(bytes.left(64), sizes, data[0] / 8 % 3);
    return 0;
}
