#include "export/lineexport.h"

#include "base/numbers.h"
#include "data/abstractnorvexdata.h"

#include <charconv>
#include <cmath>

namespace {

constexpr int pieceSize = 256 * 1024;

/// A tag's value: what separates is escaped. Line ends cannot be, and readers disagree on backslashes.
QByteArray tagText(QString text)
{
    for (QChar &c : text) {
        if (c < QLatin1Char(' ') || c == QChar(0x7f) || c == QLatin1Char('\\'))
            c = QLatin1Char('_');
    }
    QByteArray escaped;
    const QByteArray bytes = text.toUtf8();
    for (const char c : bytes) {
        if (c == ',' || c == '=' || c == ' ')
            escaped.append('\\');
        escaped.append(c);
    }
    return escaped;
}

void appendTag(QByteArray &out, const QByteArray &name, const QString &text)
{
    if (!text.isEmpty()) // a tag without a value is not allowed
        out.append(',').append(name).append('=').append(tagText(text));
}

} // namespace

class LineSink::Rows final : public RowSink
{
public:
    Rows(LineSink &sink, ExportTable table, const ExportRequest &request)
        : m_sink(sink), m_measurement("norvex_" + exportTableName(table).toLatin1())
    {
        const QVector<ExportColumn> columns = exportColumns(table, request);
        for (const ExportColumn &column : columns)
            m_columns.append({column.name.toLatin1(), column.kind});
    }

    void beginSensor(const abstractNorvexData &data)
    {
        m_head = m_measurement;
        appendTag(m_head, "sensor", data.sensorSerial());
        appendTag(m_head, "chamber", data.chamberSerial());
        m_tags = m_head;
    }

    void whole(qint64 value) override
    {
        const Column &column = m_columns.at(m_at++);
        switch (column.kind) {
        case ExportColumn::Moment:
        case ExportColumn::Time:
            m_time = value;
            break;
        case ExportColumn::Key:
            m_tags.append(',').append(column.name).append('=');
            appendInteger(m_tags, value);
            break;
        default:
            beginField(column.name);
            appendInteger(m_fields, value);
            m_fields.append('i');
        }
    }
    void number(double value) override
    {
        const Column &column = m_columns.at(m_at++);
        if (!std::isfinite(value))
            return;
        beginField(column.name);
        char buffer[numberBufferSize];
        m_fields.append(buffer, static_cast<int>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer));
    }
    void text(const QString &value) override { appendTag(m_tags, m_columns.at(m_at++).name, value); }
    void endRow() override
    {
        if (!m_fields.isEmpty()) {
            m_tags.append(' ').append(m_fields).append(' ');
            appendInteger(m_tags, m_time);
            m_tags.append(m_time == 0 ? "\n" : "000\n"); // microseconds to nanoseconds, whatever their size
            m_sink.append(m_tags);
        }
        m_tags = m_head;
        m_fields.resize(0);
        m_at = 0;
    }

private:
    struct Column
    {
        QByteArray name;
        ExportColumn::Kind kind;
    };
    void beginField(const QByteArray &name)
    {
        if (!m_fields.isEmpty())
            m_fields.append(',');
        m_fields.append(name).append('=');
    }

    LineSink &m_sink;
    const QByteArray m_measurement;
    QVector<Column> m_columns;
    QByteArray m_head; // measurement and the sensor's tags
    QByteArray m_tags;
    QByteArray m_fields;
    qint64 m_time = 0;
    int m_at = 0; // in the columns
};

LineSink::LineSink(const QString &path, const ExportRequest &request) : m_path(path), m_file(path)
{
    m_isGood = m_file.open();
    for (int i = 0; i < exportTableCount; ++i)
        m_rows[std::size_t(i)] = std::make_unique<Rows>(*this, static_cast<ExportTable>(i), request);
}

LineSink::~LineSink() = default;

void LineSink::beginSensor(const abstractNorvexData &data, const ExportRequest &)
{
    for (const auto &rows : m_rows)
        rows->beginSensor(data);
}

RowSink &LineSink::rows(ExportTable table)
{
    return *m_rows[static_cast<std::size_t>(table)];
}

void LineSink::append(const QByteArray &line)
{
    m_lines.append(line);
    if (m_lines.size() >= pieceSize)
        flush();
}

bool LineSink::flush()
{
    m_isGood = m_isGood && m_file.write(m_lines);
    m_lines.resize(0);
    return m_isGood;
}

ExportedFile LineSink::finish(bool isCancelled, const QDateTime &, bool)
{
    if (isCancelled)
        return {m_path, ExportedFile::Cancelled, QString()};
    if (flush() && m_file.commit())
        return {m_path, ExportedFile::Written, QString()};
    return {m_path, ExportedFile::CannotWrite, m_file.error()};
}
