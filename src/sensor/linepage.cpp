#include "sensor/linepage.h"

#include <charconv>
#include <cmath>

namespace linepage {
namespace {

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::string withoutBrackets(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c != '[' && c != ']')
            out.push_back(c);
    }
    return out;
}

// std::from_chars takes no plus sign, and takes "inf" and "nan", which are no measurements.
std::string_view plainNumber(std::string_view text)
{
    text = trimmed(text);
    if (text.empty())
        return {};
    const bool sign = text.front() == '+' || text.front() == '-';
    const char c = text.size() > (sign ? 1 : 0) ? text[sign ? 1 : 0] : ' ';
    if ((c < '0' || c > '9') && c != '.')
        return {};
    return text.front() == '+' ? text.substr(1) : text;
}

} // namespace

bool isSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r') || c == '\x85' || c == '\xa0';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

Lines::Lines(std::string_view reply) : m_rest(reply.substr(0, reply.find('\0'))) {}

bool Lines::next()
{
    while (!m_rest.empty()) {
        const std::size_t end = m_rest.find('\n');
        const std::string_view line = m_rest.substr(0, end);
        m_rest.remove_prefix(end == std::string_view::npos ? m_rest.size() : end + 1);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        m_name = line.substr(0, colon);
        m_value = line.substr(colon + 1);
        m_value = m_value.substr(0, m_value.find(':'));
        return true;
    }
    return false;
}

bool containsKey(std::string_view name, std::string_view key)
{
    for (std::size_t start = 0; start + key.size() <= name.size(); ++start) {
        std::size_t i = 0;
        while (i < key.size() && lower(name[start + i]) == lower(key[i]))
            ++i;
        if (i == key.size())
            return true;
    }
    return false;
}

std::string_view chopped(std::string_view value)
{
    value = trimmed(value);
    if (!value.empty())
        value.remove_suffix(1);
    return value;
}

std::string text(std::string_view value)
{
    const std::string bare = withoutBrackets(chopped(value));
    std::string_view view = trimmed(bare);
    if (!view.empty() && view.front() == '"')
        view.remove_prefix(1);
    if (!view.empty() && view.back() == '"')
        view.remove_suffix(1);
    return std::string(view);
}

std::vector<std::string> list(std::string_view value, std::size_t most)
{
    const std::string bare = withoutBrackets(chopped(value));
    std::vector<std::string> entries;
    if (trimmed(bare).empty())
        return entries;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = bare.find(',', start);
        entries.push_back(bare.substr(start, comma - start));
        if (comma == std::string::npos || entries.size() >= most)
            return entries;
        start = comma + 1;
    }
}

double number(std::string_view text, bool *ok)
{
    const std::string_view digits = plainNumber(text);
    double value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool good = !digits.empty() && result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    if (ok)
        *ok = good;
    return good ? value : 0;
}

long long integer(std::string_view text, bool *ok)
{
    const std::string_view digits = plainNumber(text);
    long long value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool good = !digits.empty() && result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    if (ok)
        *ok = good;
    return good ? value : 0;
}

} // namespace linepage
