#include "base/numbers.h"

#include <charconv>

void appendInteger(QByteArray &out, qint64 value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, static_cast<int>(result.ptr - buffer));
}

void appendInteger(QByteArray &out, quint64 value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, static_cast<int>(result.ptr - buffer));
}

void appendStreamNumber(QByteArray &out, double value)
{
    out.append(QByteArray::number(value, 'g', 6));
}

void appendStreamNumber(QByteArray &out, float value)
{
    appendStreamNumber(out, static_cast<double>(value));
}

QString streamNumber(double value)
{
    QByteArray text;
    appendStreamNumber(text, value);
    return QString::fromLatin1(text);
}
