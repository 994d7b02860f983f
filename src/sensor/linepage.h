#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Replies that are JSON laid out one key a line. They are read line by line, as the sensors' own tools do, so the
/// layout matters and a JSON parser would refuse pages that are fine. Pure functions over the reply's bytes.
namespace linepage {

/// White space of the Latin-1 set.
bool isSpace(char c);
std::string_view trimmed(std::string_view text);

/// Walks the lines of a reply up to its first NUL byte. A line without ":" is passed over; the value ends at a second
/// ":".
class Lines
{
public:
    explicit Lines(std::string_view reply);
    /// The next line that has a value. False at the end.
    bool next();
    std::string_view name() const { return m_name; }
    std::string_view value() const { return m_value; }

private:
    std::string_view m_rest;
    std::string_view m_name;
    std::string_view m_value;
};

/// Whether `name` contains `key`, whatever the case of ASCII letters.
bool containsKey(std::string_view name, std::string_view key);

/// A raw value without surrounding white space and without its last character, which is the comma that ends every line
/// but the last one (there it is a bracket or a digit). Brackets are still in it.
std::string_view chopped(std::string_view value);
/// A raw value as text: chopped, brackets removed, trimmed, and one double quote taken off each end independently.
std::string text(std::string_view value);
/// A raw value as the entries of a list, as many as `most`; an empty list has none. Entries keep their white space.
std::vector<std::string> list(std::string_view value, std::size_t most = std::string_view::npos);

/// The number a text stands for; 0 when it is none or not a finite one. White space around it does not matter.
double number(std::string_view text, bool *ok = nullptr);
/// The whole number a text stands for, exactly. Not ok for a fraction or one outside 64 bits.
long long integer(std::string_view text, bool *ok = nullptr);

} // namespace linepage
