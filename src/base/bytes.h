#pragma once

#include <QByteArray>
#include <QtEndian>

#include <cstring>

/// Reads big-endian values from bytes it does not own. The first read past the end fails the reader: from then on every
/// value is zero and ok() is false, so that a decoder checks once.
class ByteReader
{
public:
    ByteReader(const char *data, qint64 size) : m_at(data), m_end(data + size) {}

    template <typename T>
    T take()
    {
        const char *at = takeBytes(sizeof(T));
        return at ? qFromBigEndian<T>(at) : T{};
    }

    /// The next `count` bytes, or nullptr when so many are not left.
    const char *takeBytes(qint64 count)
    {
        if (!m_ok || count < 0 || count > remaining()) {
            m_ok = false;
            return nullptr;
        }
        const char *at = m_at;
        m_at += count;
        return at;
    }

    qint64 remaining() const { return m_end - m_at; }
    bool ok() const { return m_ok; }

private:
    const char *m_at;
    const char *m_end;
    bool m_ok = true;
};

/// Appends a value in big-endian order.
template <typename T>
void appendBigEndian(QByteArray &out, T value)
{
    char bytes[sizeof(T)];
    qToBigEndian<T>(value, bytes);
    out.append(bytes, static_cast<int>(sizeof(T)));
}
