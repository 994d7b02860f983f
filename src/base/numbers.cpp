#include "base/numbers.h"

#include <QtNumeric>

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

constexpr int significantDigits = 6;

// Powers of ten that a double holds exactly.
constexpr double powerOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// One multiplication or division by such a power brings the six digits of these values before the point; values
// beyond are rare and left to the slow way.
constexpr double smallestFast = 1e-15;
constexpr double largestFast = 1e25;

/// The decimal exponent of a normal positive value, or one less.
int estimatedExponent(double value)
{
    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const int binaryExponent = static_cast<int>(bits >> 52) - 1023;
    return static_cast<int>(binaryExponent * 0.30102999566398119 + 100) - 100; // floor, of more than -100
}

/// A positive value as digits * 10^(exponent - 5), digits from 100000 to 999999.
struct Decimal
{
    quint32 digits;
    int exponent;
};

// One correctly rounded operation: order against a representable number such as n + 0.5 is kept, only equality with
// it can be false.
double scaled(double value, int power)
{
    return power >= 0 ? value * powerOfTen[power] : value / powerOfTen[-power];
}

/// Whether the exact product (or quotient) lies below what scaled() returned.
bool liesBelow(double value, int power, double result)
{
    if (power >= 0)
        return std::fma(value, powerOfTen[power], -result) < 0;
    return std::fma(result, powerOfTen[-power], -value) > 0;
}

Decimal sixDigits(double value)
{
    int exponent = estimatedExponent(value);
    double scaledValue = scaled(value, significantDigits - 1 - exponent);
    if (scaledValue >= powerOfTen[significantDigits]) {
        ++exponent;
        scaledValue = scaled(value, significantDigits - 1 - exponent);
    }
    quint32 digits = static_cast<quint32>(scaledValue);
    const double rest = scaledValue - digits;
    digits += rest >= 0.5 ? 1 : 0;
    if (rest == 0.5 && liesBelow(value, significantDigits - 1 - exponent, scaledValue))
        --digits;
    if (digits == 1000000) {
        digits = 100000;
        ++exponent;
    }
    return {digits, exponent};
}

char *writeExponent(char *out, int exponent)
{
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    const int size = std::abs(exponent);
    *out++ = static_cast<char>('0' + size / 10);
    *out++ = static_cast<char>('0' + size % 10);
    return out;
}

void writePair(char *out, quint32 value)
{
    static constexpr char pairs[] = "00010203040506070809101112131415161718192021222324"
                                    "25262728293031323334353637383940414243444546474849"
                                    "50515253545556575859606162636465666768697071727374"
                                    "75767778798081828384858687888990919293949596979899";
    std::memcpy(out, pairs + 2 * value, 2);
}

// Copies eight bytes, of which six at most count: a fixed size is one instruction, and buffers are large enough.
void copyDigits(char *out, const char *digits)
{
    std::memcpy(out, digits, 8);
}

char *writeDecimal(char *out, const Decimal &decimal)
{
    char digits[16] = {};
    writePair(digits, decimal.digits / 10000);
    writePair(digits + 2, decimal.digits / 100 % 100);
    writePair(digits + 4, decimal.digits % 100);
    int count = significantDigits;
    while (count > 1 && digits[count - 1] == '0')
        --count;

    const bool withExponent = decimal.exponent < -4 || decimal.exponent >= significantDigits;
    const int whole = withExponent ? 1 : decimal.exponent + 1;
    if (whole <= 0) {
        std::memcpy(out, "0.000", 5);
        copyDigits(out + 2 - whole, digits);
        return out + 2 - whole + count;
    }
    copyDigits(out, digits); // zeros before the point stay
    out += whole;
    if (count > whole) {
        *out = '.';
        copyDigits(out + 1, digits + whole);
        out += 1 + count - whole;
    }
    return withExponent ? writeExponent(out, decimal.exponent) : out;
}

char *writeSlowly(char *out, double value)
{
    const QByteArray text = QByteArray::number(value, 'g', significantDigits);
    std::memcpy(out, text.constData(), static_cast<size_t>(text.size()));
    return out + text.size();
}

} // namespace

char *writeStreamNumber(char *out, double value)
{
    const double size = std::fabs(value);
    if (size >= smallestFast && size < largestFast) {
        if (value < 0)
            *out++ = '-';
        return writeDecimal(out, sixDigits(size));
    }
    if (!(size > 0) && !qIsNaN(value)) {
        *out++ = '0';
        return out;
    }
    return writeSlowly(out, value);
}

char *writeInteger(char *out, quint64 value)
{
    return std::to_chars(out, out + numberBufferSize, value).ptr;
}

void appendInteger(QByteArray &out, qint64 value)
{
    char buffer[numberBufferSize];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, static_cast<int>(result.ptr - buffer));
}

void appendInteger(QByteArray &out, quint64 value)
{
    char buffer[numberBufferSize];
    out.append(buffer, static_cast<int>(writeInteger(buffer, value) - buffer));
}

void appendStreamNumber(QByteArray &out, double value)
{
    char buffer[numberBufferSize];
    out.append(buffer, static_cast<int>(writeStreamNumber(buffer, value) - buffer));
}

void appendStreamNumber(QByteArray &out, float value)
{
    appendStreamNumber(out, static_cast<double>(value));
}

QString streamNumber(double value)
{
    char buffer[numberBufferSize];
    return QString::fromLatin1(buffer, static_cast<int>(writeStreamNumber(buffer, value) - buffer));
}
