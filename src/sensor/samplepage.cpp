#include "sensor/samplepage.h"

#include "sensor/linepage.h"

#include <QtMath>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

namespace {

struct Column
{
    std::string_view key;
    std::string_view olderKey; // of sensors without pulse slots
    bool required;
    double SamplePoint::*real = nullptr;
    qint32 SamplePoint::*whole = nullptr;
    int counter = -1;
};

using P = SamplePoint;

constexpr int timeColumn = 0;
constexpr int firstSlot2Column = 13;
constexpr int firstCounterColumn = 20;
constexpr int columnCount = 30;

// In the order in which a line's name is tested: the short older keys come after the keys that contain them.
constexpr std::array<Column, columnCount> columns{{
    {"Time_ms", {}, true},
    {"Voltage", {}, true, &P::voltage},
    {"Current_Ir", {}, true, &P::currentReal},
    {"Current_Ii", {}, true, &P::currentImaginary},
    {"nPulses", {}, true, nullptr, &P::numberOfPulses},
    {"P_Period", {}, true, &P::pulsePeriod},
    {"P_1T_on", "P_T_on", true, nullptr, &P::slot1OnTime},
    {"P_1V_max", "P_V_max", true, &P::slot1VoltageMax},
    {"P_1V_min", "P_V_min", true, &P::slot1VoltageMin},
    {"P_1V_avg", "P_V", true, &P::slot1VoltageAvg},
    {"P_1I_max", "P_I_max", true, &P::slot1CurrentMax},
    {"P_1I_min", "P_I_min", true, &P::slot1CurrentMin},
    {"P_1I_avg", "P_I", true, &P::slot1CurrentAvg},
    {"P_2T_on", {}, false, nullptr, &P::slot2OnTime},
    {"P_2V_max", {}, false, &P::slot2VoltageMax},
    {"P_2V_min", {}, false, &P::slot2VoltageMin},
    {"P_2V_avg", {}, false, &P::slot2VoltageAvg},
    {"P_2I_max", {}, false, &P::slot2CurrentMax},
    {"P_2I_min", {}, false, &P::slot2CurrentMin},
    {"P_2I_avg", {}, false, &P::slot2CurrentAvg},
    {"E_11", {}, false, nullptr, nullptr, 0},
    {"E_12", {}, false, nullptr, nullptr, 1},
    {"E_13", {}, false, nullptr, nullptr, 2},
    {"E_21", {}, false, nullptr, nullptr, 3},
    {"E_22", {}, false, nullptr, nullptr, 4},
    {"E_23", {}, false, nullptr, nullptr, 5},
    {"E_31", {}, false, nullptr, nullptr, 6},
    {"E_32", {}, false, nullptr, nullptr, 7},
    {"E_33", {}, false, nullptr, nullptr, 8},
    {"E_PE", {}, false, nullptr, nullptr, 9},
}};

// The usual spellings of names, in the order in which sensors send them; a page is normally read by this list alone.
struct Spelling
{
    std::string_view quoted; // with the quotes and the colon
    int column;
};

constexpr std::array<Spelling, 39> spellings{{
    {"\"Time_ms\":", 0},   {"\"Voltage\":", 1},   {"\"Current_Ir\":", 2}, {"\"Current_Ii\":", 3}, {"\"nPulses\":", 4},
    {"\"P_Period\":", 5},  {"\"P_1T_on\":", 6},   {"\"P_1V_max\":", 7},   {"\"P_1V_min\":", 8},   {"\"P_1V_avg\":", 9},
    {"\"P_1I_max\":", 10}, {"\"P_1I_min\":", 11}, {"\"P_1I_avg\":", 12},  {"\"P_2T_on\":", 13},   {"\"P_2V_max\":", 14},
    {"\"P_2V_min\":", 15}, {"\"P_2V_avg\":", 16}, {"\"P_2I_max\":", 17},  {"\"P_2I_min\":", 18},  {"\"P_2I_avg\":", 19},
    {"\"E_11\":", 20},     {"\"E_12\":", 21},     {"\"E_13\":", 22},      {"\"E_21\":", 23},      {"\"E_22\":", 24},
    {"\"E_23\":", 25},     {"\"E_31\":", 26},     {"\"E_32\":", 27},      {"\"E_33\":", 28},      {"\"E_PE\":", 29},
    {"\"P_T_on\":", 6},    {"\"P_V_max\":", 7},   {"\"P_V_min\":", 8},    {"\"P_V_avg\":", 9},    {"\"P_I_max\":", 10},
    {"\"P_I_min\":", 11},  {"\"P_I_avg\":", 12},  {"\"P_V\":", 9},        {"\"P_I\":", 12},
}};

// Whether the bytes at p are those of the text, of 4 to 16: two compares of a fixed size that may overlap.
inline bool startsWith(const char *p, std::string_view text)
{
    const char *const q = text.data();
    const std::size_t size = text.size();
    if (size >= 8)
        return std::memcmp(p, q, 8) == 0 && std::memcmp(p + size - 8, q + size - 8, 8) == 0;
    return std::memcmp(p, q, 4) == 0 && std::memcmp(p + size - 4, q + size - 4, 4) == 0;
}

// A time beyond these is no time of this world, and leaves room to add a base without overflow.
constexpr double largestRawMs = 4.6e15;
constexpr qint64 largestBaseUs = 4'600'000'000'000'000'000;

int columnOf(std::string_view name)
{
    for (int i = 0; i < columnCount; ++i) {
        const Column &column = columns[std::size_t(i)];
        if (linepage::containsKey(name, column.key) ||
            (!column.olderKey.empty() && linepage::containsKey(name, column.olderKey)))
            return i;
    }
    return -1;
}

// Takes the digits at p into `number` and moves p past them.
inline void takeDigits(const char *&p, std::uint64_t &number)
{
    for (unsigned digit = 0; (digit = static_cast<unsigned char>(*p) - unsigned('0')) < 10; ++p)
        number = number * 10 + digit;
}

// A decimal of few digits is two exact doubles divided, which rounds correctly. Anything else is left to the caller.
bool shortDecimal(const char *&at, double &value)
{
    static constexpr double powers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const char *p = at;
    if (const unsigned digit = static_cast<unsigned char>(*p) - unsigned('0');
        digit < 10 && (p[1] == ',' || p[1] == ']')) { // most counters
        value = digit;
        ++at;
        return true;
    }
    const bool negative = *p == '-';
    p += negative ? 1 : 0;
    const char *const first = p;
    std::uint64_t mantissa = 0;
    takeDigits(p, mantissa);
    std::ptrdiff_t digits = p - first;
    double magnitude = 0;
    if (*p == '.') {
        const char *const fraction = ++p;
        takeDigits(p, mantissa);
        digits += p - fraction;
        if (digits == 0 || digits > 15)
            return false;
        magnitude = double(std::int64_t(mantissa)) / powers[p - fraction];
    } else {
        if (digits == 0 || digits > 15)
            return false;
        magnitude = double(std::int64_t(mantissa));
    }
    if (*p != ',' && *p != ']')
        return false;
    value = negative ? -magnitude : magnitude;
    at = p;
    return true;
}

inline qint32 wholeNumber(double value)
{
    constexpr double low = std::numeric_limits<qint32>::min();
    constexpr double high = std::numeric_limits<qint32>::max();
    if (value >= 0 && value < high)
        return qint32(value + 0.5);
    return qint32(qRound64(std::clamp(value, low, high)));
}

class PageReader
{
public:
    explicit PageReader(std::string_view text) : m_text(text.substr(0, text.find('\0')))
    {
        // Every required column has a comma between two entries, so a valid page has no more samples than this.
        m_capacity = m_text.size() / 13 + 2;
        if (m_capacity > m_local.size()) {
            m_large.reset(new double[m_capacity]);
            m_values = m_large.get();
        }
    }

    SamplePage read(qint64 timeBaseUs)
    {
        const std::size_t lastNewline = m_text.rfind('\n');
        const char *p = m_text.data();
        const char *const end = p + m_text.size();
        // Up to the last line end, scanning loops need no bound of their own: the line end stops them.
        const char *const safeEnd = lastNewline == std::string_view::npos ? p : p + lastNewline;
        while (p < end) {
            const char *next = p < safeEnd ? usualLine(p, safeEnd) : nullptr;
            p = next ? next : anyLine(p, end);
        }
        return finished(timeBaseUs);
    }

private:
    // A line as sensors write it. Returns the start of the next one, or nullptr with nothing taken when it is not.
    const char *usualLine(const char *p, const char *safeEnd)
    {
        while (*p == ' ' || *p == '\t')
            ++p;
        const int column = spelledColumn(p, std::size_t(safeEnd - p));
        if (column < 0)
            return nullptr;
        while (*p == ' ')
            ++p;
        if (*p != '[')
            return nullptr;
        startColumn();
        double *out = m_values;
        double *const outEnd = m_values + m_capacity;
        while (*++p == ' ') {
        }
        if (linepage::isSpace(*p)) // rare; the slow way knows when a list is blank
            return nullptr;
        for (; *p != ']'; ++out) {
            if (out == outEnd)
                return nullptr;
            if (!shortDecimal(p, *out) && !otherNumber(p, *out))
                return nullptr;
            if (*p == ']')
                continue;
            while (*++p == ' ') {
            }
            if (*p == ']')
                return nullptr;
        }
        m_count = std::size_t(out - m_values);
        ++p;
        p += *p == ',' ? 1 : 0;
        p += *p == '\r' ? 1 : 0;
        if (*p != '\n')
            return nullptr;
        endColumn(column);
        return p + 1;
    }

    int spelledColumn(const char *&p, std::size_t left)
    {
        for (std::size_t i = 0; i < spellings.size(); ++i, ++m_nextSpelling) {
            if (m_nextSpelling >= spellings.size())
                m_nextSpelling = 0;
            const Spelling &spelling = spellings[m_nextSpelling];
            if (spelling.quoted.size() > left || !startsWith(p, spelling.quoted))
                continue;
            p += spelling.quoted.size();
            ++m_nextSpelling;
            return spelling.column;
        }
        return -1;
    }

    // An entry with an exponent, many digits or no number at all, when its end is plain to see.
    bool otherNumber(const char *&p, double &value)
    {
        const char *const start = p;
        while (*p != ',' && *p != ']' && *p != '[' && *p != ':' && *p != '\n')
            ++p;
        if (*p != ',' && *p != ']')
            return false;
        value = converted({start, std::size_t(p - start)});
        return true;
    }

    // Any line at all, by the letter.
    const char *anyLine(const char *p, const char *end)
    {
        const void *const newline = std::memchr(p, '\n', std::size_t(end - p));
        const char *const lineEnd = newline ? static_cast<const char *>(newline) : end;
        linepage::Lines line({p, std::size_t(lineEnd - p)});
        if (line.next()) {
            const int column = columnOf(line.name());
            if (column >= 0) {
                startColumn();
                takeList(linepage::chopped(line.value()));
                endColumn(column);
            }
        }
        return newline ? lineEnd + 1 : end;
    }

    void takeList(std::string_view list)
    {
        const auto blank = [](char c) { return c == '[' || c == ']' || linepage::isSpace(c); };
        if (std::all_of(list.begin(), list.end(), blank))
            return;
        for (;;) {
            const std::size_t comma = list.find(',');
            const std::string_view entry = list.substr(0, comma);
            if (entry.find_first_of("[]") == std::string_view::npos) {
                take(converted(entry));
            } else {
                std::string bare(entry);
                bare.erase(std::remove_if(bare.begin(), bare.end(), [](char c) { return c == '[' || c == ']'; }),
                           bare.end());
                take(converted(bare));
            }
            if (comma == std::string_view::npos)
                return;
            list.remove_prefix(comma + 1);
        }
    }

    double converted(std::string_view entry)
    {
        bool ok = false;
        const double value = linepage::number(entry, &ok);
        m_allNumbers = m_allNumbers && ok;
        return value;
    }

    void startColumn()
    {
        m_count = 0;
        m_allNumbers = true;
    }

    void take(double value)
    {
        if (m_count < m_capacity)
            m_values[m_count] = value;
        ++m_count;
    }

    // A later line of the same column replaces the earlier one.
    void endColumn(int index)
    {
        m_counts[std::size_t(index)] = m_count;
        m_seen[std::size_t(index)] = true;
        const std::size_t stored = std::min(m_count, m_capacity);
        if (std::size_t(m_points.size()) < stored)
            m_points.resize(int(stored));
        if (index == timeColumn)
            takeTimes(stored);
        else
            scatter(columns[std::size_t(index)], stored);
    }

    void takeTimes(std::size_t stored)
    {
        m_goodTimes = m_allNumbers;
        P *point = m_points.data();
        for (std::size_t i = 0; i < stored; ++i) {
            const double ms = m_values[i];
            const bool fits = ms >= -largestRawMs && ms <= largestRawMs;
            m_goodTimes = m_goodTimes && fits;
            // Signed until the base is added.
            point[i].time = fits ? quint64(qRound64(ms) * 1000) : 0;
        }
    }

    void scatter(const Column &column, std::size_t stored)
    {
        P *point = m_points.data();
        if (column.real) {
            for (std::size_t i = 0; i < stored; ++i)
                point[i].*column.real = m_values[i];
        } else if (column.whole) {
            for (std::size_t i = 0; i < stored; ++i)
                point[i].*column.whole = wholeNumber(m_values[i]);
        } else {
            for (std::size_t i = 0; i < stored; ++i)
                point[i].eventCounts[std::size_t(column.counter)] = wholeNumber(m_values[i]);
        }
    }

    SamplePage finished(qint64 timeBaseUs)
    {
        SamplePage page;
        const std::size_t n = m_counts[timeColumn];
        for (std::size_t i = 0; i < columnCount; ++i) {
            if (columns[i].required && m_counts[i] != n)
                page.fault = SamplePage::Fault::UnequalColumns;
        }
        if (page.ok() && n > 0 && !m_goodTimes)
            page.fault = SamplePage::Fault::BadTime;
        if (!page.ok())
            return page;
        m_points.resize(int(n));
        for (std::size_t i = 0; i < columnCount; ++i) {
            if (m_counts[i] == n || !m_seen[i])
                continue;
            page.ignoredColumns += m_counts[i] > 0 ? 1 : 0;
            std::fill_n(m_values, n, 0.0);
            scatter(columns[i], n);
        }
        page.isClosed = isClosed();
        page.looksCut = !page.isClosed && hasPartOfAGroup(n);
        addBase(page, timeBaseUs);
        page.points = std::move(m_points);
        return page;
    }

    bool isClosed() const
    {
        const std::string_view text = linepage::trimmed(m_text);
        return !text.empty() && text.back() == '}';
    }

    /// Sensors send all columns of a pulse slot or of the counters or none.
    bool hasPartOfAGroup(std::size_t n) const
    {
        const auto part = [&](int from, int to) {
            const auto first = m_counts.begin() + from;
            const auto whole = std::count(first, m_counts.begin() + to, n);
            const bool any = std::any_of(first, m_counts.begin() + to, [](std::size_t count) { return count > 0; });
            return any && whole < to - from;
        };
        return part(firstSlot2Column, firstCounterColumn) || part(firstCounterColumn, columnCount);
    }

    void addBase(SamplePage &page, qint64 timeBaseUs)
    {
        const qint64 base = std::clamp(timeBaseUs, -largestBaseUs, largestBaseUs);
        qint64 newest = std::numeric_limits<qint64>::min();
        for (P &point : m_points) {
            const qint64 raw = qint64(point.time);
            newest = std::max(newest, raw);
            page.clampedTimes += raw + base < 0 ? 1 : 0;
            point.time = quint64(std::max<qint64>(raw + base, 0));
        }
        page.newestRawUs = m_points.isEmpty() ? 0 : newest;
    }

    const std::string_view m_text;
    std::size_t m_capacity = 0;
    std::array<double, 512> m_local;
    std::unique_ptr<double[]> m_large;
    double *m_values = m_local.data(); // of the column being read
    std::size_t m_count = 0;           // its entries, also those past the capacity
    bool m_allNumbers = true;
    bool m_goodTimes = false;
    std::size_t m_nextSpelling = 0;
    std::array<std::size_t, columnCount> m_counts{};
    std::array<bool, columnCount> m_seen{};
    QVector<P> m_points;
};

} // namespace

SamplePage parseSamplePage(const char *data, std::size_t size, qint64 timeBaseUs)
{
    return PageReader({data, size}).read(timeBaseUs);
}
