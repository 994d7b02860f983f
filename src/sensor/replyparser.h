#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

/// Takes one HTTP/1 reply out of the bytes of a connection as they come, within fixed bounds. A value: no socket, clock
/// or limit of the body in here.
///
/// A body ends by its length, by its last chunk, or where the peer closes. A length that is no number, or said twice in
/// different ways, counts as none; whoever judges the reply finds it in the headers.
class ReplyParser
{
public:
    struct Limits
    {
        int headBytes = 64 * 1024; // of status line and headers, and of the lines around chunks
        int headers = 256;         // with different names: each line is compared with all before it
    };

    enum class State { Head, Body, Done, Failed };
    using Header = QPair<QByteArray, QByteArray>;

    ReplyParser() = default;
    explicit ReplyParser(const Limits &limits) : m_limits(limits) {}

    /// Returns how many bytes belong to the reply; what follows its end is left.
    int feed(const char *data, int size);
    /// There is nothing more to come.
    void peerClosed();

    State state() const { return m_state; }
    bool hasBegun() const { return m_begun; }
    int status() const { return m_status; }
    const QByteArray &reason() const { return m_reason; }
    const QList<Header> &headers() const { return m_headers; }
    /// Empty when there is none.
    QByteArray header(const QByteArray &lowerCaseName) const;
    /// Whether the peer will take another request on the connection.
    bool keepsConnection() const { return m_state == State::Done && m_keeps; }
    /// The part of the body that came since the last call.
    QByteArray takeBody();

private:
    enum class Part { StatusLine, HeaderLine, Counted, UntilClose, ChunkSize, Chunk, ChunkEnd, Trailer };

    int takeLine(const char *data, int size);
    int takeData(const char *data, int size);
    void lineEnded(const QByteArray &line);
    void statusLine(const QByteArray &line);
    void headerLine(const QByteArray &line);
    void headEnded();
    void chunkSize(const QByteArray &line);
    void fail() { m_state = State::Failed; }

    Limits m_limits;
    State m_state = State::Head;
    Part m_part = Part::StatusLine;
    bool m_begun = false;
    bool m_keeps = false;
    int m_status = 0;
    QByteArray m_reason;
    QList<Header> m_headers;
    QByteArray m_line;
    int m_lineBytes = 0; // of all lines
    qint64 m_left = 0;   // of a counted body or chunk
    QByteArray m_body;
};
