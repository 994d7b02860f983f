#include "base/coretext.h"
#include "data/datanames.h"
#include "data/eventfile.h"
#include "data/indexfile.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace {

using Text = std::string_view;

constexpr int maximumProblems = 20;
constexpr int maximumOutside = 1000;
constexpr char liesOutside[] = QT_TRANSLATE_NOOP("CoreText", "its file lies outside the folder");

QString toString(Text text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

/// For people: the beginning, without the control characters of a damaged line.
QString shown(Text text)
{
    QString plain = toString(text.substr(0, 200));
    for (QChar &c : plain)
        c = c.unicode() < ' ' ? QLatin1Char('?') : c;
    return plain;
}

bool startsWith(Text text, Text prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

bool contains(Text text, Text part)
{
    return text.find(part) != Text::npos;
}

Text trimmed(Text text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

template <typename T>
bool toNumber(Text text, T &value)
{
    text = trimmed(text);
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

/// Everything after the first ";".
Text valueOf(Text line)
{
    const std::size_t end = line.find(';');
    return end == Text::npos ? Text() : line.substr(end + 1);
}

/// The third field of a line of a block or an event.
Text fileOf(Text line)
{
    return valueOf(valueOf(line)).substr(0, valueOf(valueOf(line)).find(';'));
}

constexpr double powersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

/// The ";"-separated fields of one line, one after the other.
class Fields
{
public:
    explicit Fields(Text line) : m_at(line.data()), m_end(line.data() + line.size()) {}

    bool next(Text &field)
    {
        if (m_done)
            return false;
        const std::size_t left = static_cast<std::size_t>(m_end - m_at);
        const auto *stop = left > 0 ? static_cast<const char *>(std::memchr(m_at, ';', left)) : nullptr;
        field = Text(m_at, stop ? static_cast<std::size_t>(stop - m_at) : left);
        skipTo(stop ? stop : m_end);
        return true;
    }

    template <typename T>
    bool nextNumber(T &value)
    {
        if (takePlain(value))
            return true;
        Text field;
        return next(field) && toNumber(field, value);
    }

private:
    void skipTo(const char *stop)
    {
        m_done = stop == m_end;
        m_at = m_done ? m_end : stop + 1;
    }

    bool endsField(const char *at) const { return at == m_end || *at == ';'; }

    /// Digits without a sign, few enough to hold exactly; nearly every field. Takes nothing when it is anything else.
    const char *takeDigits(const char *at, int most, quint64 &value) const
    {
        const char *stop = m_end - at > most ? at + most : m_end;
        for (; at < stop && *at >= '0' && *at <= '9'; ++at)
            value = value * 10 + static_cast<quint64>(*at - '0');
        return at;
    }

    template <typename T>
    bool takePlain(T &value)
    {
        quint64 digits = 0;
        const char *at = takeDigits(m_at, std::is_same_v<T, quint64> ? 18 : 9, digits);
        if (at == m_at || !endsField(at))
            return false;
        value = static_cast<T>(digits);
        skipTo(at);
        return true;
    }

    /// Up to 15 digits with a point among them: digits and power of ten are exact, so their quotient is rounded once.
    bool takePlain(double &value)
    {
        const bool negative = m_at < m_end && *m_at == '-';
        const char *first = m_at + (negative ? 1 : 0);
        quint64 digits = 0;
        const char *at = takeDigits(first, 15, digits);
        int decimals = 0;
        if (at != first && at < m_end && *at == '.') {
            const char *point = at + 1;
            at = takeDigits(point, 15 - static_cast<int>(at - first), digits);
            decimals = static_cast<int>(at - point);
        }
        if (at == first || !endsField(at))
            return false;
        const double number = static_cast<double>(digits) / powersOfTen[decimals];
        value = negative ? -number : number;
        skipTo(at);
        return true;
    }

    const char *m_at;
    const char *m_end;
    bool m_done = false;
};

bool takeSnapshot(Fields &fields, SnapshotSummary &snapshot)
{
    return fields.nextNumber(snapshot.time) && fields.nextNumber(snapshot.frequency) &&
           fields.nextNumber(snapshot.voltage) && fields.nextNumber(snapshot.currentReal) &&
           fields.nextNumber(snapshot.currentImaginary);
}

int builtInCode(Text name)
{
    // The names are compared as bytes: this runs once for each of a hundred thousand lines.
    static const std::vector<QByteArray> names = [] {
        std::vector<QByteArray> list;
        for (const QString &text : eventtype::names())
            list.push_back(text.toUtf8());
        return list;
    }();
    for (std::size_t code = 0; code < names.size(); ++code) {
        if (name == Text(names[code].constData(), static_cast<std::size_t>(names[code].size())))
            return static_cast<int>(code);
    }
    return -1;
}

void setType(EventSummary &event, Text name, bool named, qint32 effectiveCode)
{
    const int code = named ? -1 : builtInCode(name);
    event.named = named;
    if (named)
        event.name = toString(name);
    event.typeCode = code < 0 ? effectiveCode : code;
    event.isOverridden = event.typeCode != effectiveCode || event.typeCode == eventtype::RfOn;
    event.overrideCode = event.isOverridden ? effectiveCode : 0;
}

bool setEventFile(EventSummary &event, Text file)
{
    static const QByteArray extension = datanames::eventExtension().toUtf8();
    constexpr Text prefix = eventfile::namePrefix;
    const Text suffix(extension.constData(), static_cast<std::size_t>(extension.size()));
    if (file.size() > prefix.size() + suffix.size() && startsWith(file, prefix) &&
        file.substr(file.size() - suffix.size()) == suffix) {
        const Text digits = file.substr(prefix.size(), file.size() - prefix.size() - suffix.size());
        if (digits.front() != '0' && digits.front() != '-' && toNumber(digits, event.fileNumber) &&
            event.fileNumber > 0 && event.fileNumber <= eventfile::largestNumber)
            return true;
        event.fileNumber = 0;
    }
    event.otherFile = toString(file);
    return datanames::isPlainFileName(event.otherFile);
}

const char *takeEvent(Text line, EventSummary &event)
{
    Fields fields(line);
    Text field;
    Text file;
    Text name;
    int attribute = 0;
    qint32 code = 0;
    if (!fields.next(field) || !fields.next(field) || !fields.next(file))
        return QT_TRANSLATE_NOOP("CoreText", "too few fields");
    if (!setEventFile(event, file))
        return liesOutside;
    if (!fields.nextNumber(event.time) || !fields.next(name) || !fields.nextNumber(attribute) ||
        !fields.nextNumber(code))
        return QT_TRANSLATE_NOOP("CoreText", "time, type attribute or code is missing or not a number");
    setType(event, name, attribute == 1, code);
    if (!takeSnapshot(fields, event.snapshot2) || !takeSnapshot(fields, event.snapshot1) ||
        !takeSnapshot(fields, event.snapshot3))
        return QT_TRANSLATE_NOOP("CoreText", "a snapshot is missing or not a number");
    return nullptr;
}

const char *takeBlock(Text line, IndexBlock &block)
{
    Fields fields(line);
    Text keyword;
    Text folder;
    Text file;
    Text first;
    Text last;
    if (!fields.next(keyword) || !fields.next(folder) || !fields.next(file))
        return QT_TRANSLATE_NOOP("CoreText", "too few fields");
    block.folder = toString(folder);
    block.file = toString(file);
    if (!datanames::isPlainFileName(block.file))
        return liesOutside;
    if (!fields.next(first) || !fields.next(last))
        return nullptr;
    if (!toNumber(first, block.firstTime) || !toNumber(last, block.lastTime))
        return QT_TRANSLATE_NOOP("CoreText", "a time is not a number");
    block.timesKnown = true;
    return nullptr;
}

enum class Keyword { None, Recipe, Configuration, EndConfiguration, Chamber, Sensor, Blocks, Events, EndEvents };

struct KeywordText
{
    Text text;
    Keyword keyword;
};

// Longest first: a line is what it starts with, and only a line that starts with none may contain one. The recipe comes
// before all others because its value is free text.
constexpr KeywordText keywords[] = {
    {"Recipe Last Data", Keyword::Recipe},
    {"Configuration Data", Keyword::Configuration},
    {"End Block Config", Keyword::EndConfiguration},
    {"Chamber Serial", Keyword::Chamber},
    {"Sensor Serial", Keyword::Sensor},
    {"Block Data", Keyword::Blocks},
    {"Event Data", Keyword::Events},
    {"End Events", Keyword::EndEvents},
};

Keyword keywordOf(Text line)
{
    for (const KeywordText &entry : keywords) {
        if (startsWith(line, entry.text))
            return entry.keyword;
    }
    for (const KeywordText &entry : keywords) {
        if (contains(line, entry.text))
            return entry.keyword;
    }
    return Keyword::None;
}

class Reader
{
public:
    explicit Reader(IndexContent &content) : m_content(content) {}

    /// `left` bytes follow the line: no count makes the reader allocate more than they can hold.
    void takeLine(Text line, std::size_t left)
    {
        m_left = left;
        switch (m_section) {
        case Section::Head:
            return takeHeadLine(line);
        case Section::Configuration:
            return takeConfigurationLine(line);
        case Section::Blocks:
            return takeBlockLine(line);
        case Section::Events:
            return takeEventLine(line);
        }
    }

private:
    enum class Section { Head, Configuration, Blocks, Events };

    void takeHeadLine(Text line)
    {
        switch (keywordOf(line)) {
        case Keyword::Recipe:
            m_content.recipe = QByteArray(valueOf(line).data(), static_cast<int>(valueOf(line).size()));
            break;
        case Keyword::Configuration:
            m_section = Section::Configuration;
            break;
        case Keyword::Chamber:
            m_content.chamberSerial = toString(valueOf(line));
            break;
        case Keyword::Sensor:
            m_content.sensorSerial = toString(valueOf(line));
            break;
        case Keyword::Blocks:
            toNumber(valueOf(line), m_content.announcedBlocks);
            m_section = Section::Blocks;
            break;
        case Keyword::Events:
            toNumber(valueOf(line), m_content.announcedEvents);
            if (m_content.announcedEvents > 0)
                m_content.events.reserve(std::min(static_cast<std::size_t>(m_content.announcedEvents), m_left / 64));
            m_section = Section::Events;
            break;
        case Keyword::EndEvents:
        case Keyword::EndConfiguration:
        case Keyword::None:
            break;
        }
    }

    void takeConfigurationLine(Text line)
    {
        const bool next = startsWith(line, "Recipe Last Data;") || startsWith(line, "Block Data;");
        if (next || contains(line, "End Block Config")) {
            m_section = Section::Head;
            if (next)
                takeHeadLine(line);
            return;
        }
        m_content.configurationText.append(line.data(), static_cast<int>(line.size())).append('\n');
    }

    void takeBlockLine(Text line)
    {
        if (contains(line, "End Blocks") || startsWith(line, "Event Data;")) {
            m_section = Section::Head;
            if (startsWith(line, "Event Data;"))
                takeHeadLine(line);
            return;
        }
        if (!contains(line, "block"))
            return;
        ++m_content.foundBlocks;
        IndexBlock block;
        if (const char *reason = takeBlock(line, block))
            return skip(line, reason);
        // Every line names the same folder: one text serves them all.
        if (!m_content.blocks.isEmpty() && m_content.blocks.constLast().folder == block.folder)
            block.folder = m_content.blocks.constLast().folder;
        m_content.blocks.append(block);
    }

    void takeEventLine(Text line)
    {
        if (startsWith(line, "End Events")) {
            m_content.complete = true;
            m_section = Section::Head;
            return;
        }
        if (!startsWith(line, "Event;")) {
            if (contains(line, "End Events")) {
                m_content.complete = true;
                m_section = Section::Head;
            }
            return;
        }
        ++m_content.foundEvents;
        m_content.events.emplace_back();
        if (const char *reason = takeEvent(line, m_content.events.back())) {
            m_content.events.pop_back();
            skip(line, reason);
        }
    }

    void skip(Text line, const char *reason)
    {
        ++m_content.skippedLines;
        if (reason == liesOutside && m_content.outside.size() < maximumOutside)
            m_content.outside.append(shown(fileOf(line)));
        if (m_content.problems.size() < maximumProblems) {
            m_content.problems.append(QStringLiteral("%1: %2").arg(CoreText::tr(reason), shown(line)));
        }
    }

    IndexContent &m_content;
    Section m_section = Section::Head;
    std::size_t m_left = 0;
};

} // namespace

IndexContent indexfile::read(const QByteArray &bytes)
{
    IndexContent content;
    Reader reader(content);
    Text rest(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        Text line = rest.substr(0, end);
        rest.remove_prefix(end == Text::npos ? rest.size() : end + 1);
        while (!line.empty() && line.back() == '\r') // also where a program has made two of one
            line.remove_suffix(1);
        reader.takeLine(line, rest.size());
    }
    return content;
}
