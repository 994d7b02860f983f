#include "export/tidyexport.h"

#include "base/numbers.h"
#include "base/safefile.h"
#include "data/abstractnorvexdata.h"
#include "export/exportnames.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>

namespace {

constexpr int pieceSize = 256 * 1024;

/// One file: it takes its place when complete.
class CsvTable final : public RowSink
{
public:
    CsvTable(const QString &path, const QVector<ExportColumn> &columns) : m_path(path), m_columns(columns), m_file(path)
    {
        m_isGood = m_file.open();
        const QStringList names = columnNames();
        for (const QString &name : names)
            cell(name.toLatin1());
        m_lines.append("\r\n");
        m_isFirstCell = true;
    }

    bool isGood() const { return m_isGood; }

    void whole(qint64 value) override
    {
        if (m_columns.at(m_at++).kind == ExportColumn::Moment)
            moment(static_cast<quint64>(value));
        cell({});
        appendInteger(m_lines, value);
    }
    /// In the fewest digits that read back as the same value; empty when it is none.
    void number(double value) override
    {
        ++m_at;
        cell({});
        char buffer[numberBufferSize];
        if (std::isfinite(value))
            m_lines.append(buffer, static_cast<int>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer));
    }
    void text(const QString &value) override
    {
        ++m_at;
        static const QString formula = QStringLiteral("=+-@\t\r");
        QString shown = value;
        if (!shown.isEmpty() && formula.contains(shown.at(0)))
            shown.prepend(QLatin1Char('\''));
        const bool quoted = std::any_of(shown.begin(), shown.end(), [](QChar c) {
            return c == QLatin1Char(',') || c == QLatin1Char('"') || c == QLatin1Char('\r') || c == QLatin1Char('\n');
        });
        if (quoted)
            shown = QLatin1Char('"') + shown.replace(QLatin1Char('"'), QLatin1String("\"\"")) + QLatin1Char('"');
        cell(shown.toUtf8());
    }
    void endRow() override
    {
        m_lines.append("\r\n");
        m_isFirstCell = true;
        m_at = 0;
        ++m_rows;
        if (m_lines.size() >= pieceSize)
            flush();
    }

    ExportedFile finish(bool isCancelled)
    {
        if (isCancelled)
            return {m_path, ExportedFile::Cancelled, QString()};
        if (flush() && m_file.commit())
            return {m_path, ExportedFile::Written, QString()};
        return {m_path, ExportedFile::CannotWrite, m_file.error()};
    }
    QJsonObject description() const
    {
        return {{QStringLiteral("file"), QFileInfo(m_path).fileName()},
                {QStringLiteral("rows"), m_rows},
                {QStringLiteral("columns"), QJsonArray::fromStringList(columnNames())}};
    }

private:
    QStringList columnNames() const
    {
        QStringList names;
        for (const ExportColumn &column : m_columns) {
            if (column.kind == ExportColumn::Moment)
                names.append(column.name + QStringLiteral("_utc"));
            const bool isTime = column.kind == ExportColumn::Moment || column.kind == ExportColumn::Time;
            names.append(isTime ? column.name + QStringLiteral("_us") : column.name);
        }
        return names;
    }
    /// "2024-02-05T13:45:10.123005Z".
    void moment(quint64 time)
    {
        const quint64 second = time / 1000000;
        if (second != m_second || m_secondText.isEmpty()) {
            m_second = second;
            m_secondText = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(second) * 1000, Qt::UTC)
                               .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss."))
                               .toLatin1();
        }
        cell(m_secondText);
        m_lines.append(QByteArray::number(time % 1000000).rightJustified(6, '0')).append('Z');
    }
    void cell(const QByteArray &bytes)
    {
        if (!m_isFirstCell)
            m_lines.append(',');
        m_isFirstCell = false;
        m_lines.append(bytes);
    }
    bool flush()
    {
        m_isGood = m_isGood && m_file.write(m_lines);
        m_lines.resize(0);
        return m_isGood;
    }

    const QString m_path;
    const QVector<ExportColumn> m_columns;
    SafeFile m_file;
    QByteArray m_lines;
    QByteArray m_secondText;
    quint64 m_second = 0;
    qint64 m_rows = 0;
    int m_at = 0; // in the columns
    bool m_isFirstCell = true;
    bool m_isGood = false;
};

class CsvTables final : public TableSink
{
public:
    CsvTables(const ExportRequest &request, const TidyNames &names)
    {
        for (int i = 0; i < exportTableCount; ++i) {
            const auto table = static_cast<ExportTable>(i);
            if (isExported(table, request))
                m_tables[std::size_t(i)] = std::make_unique<CsvTable>(names.of(table), exportColumns(table, request));
        }
    }

    RowSink &rows(ExportTable table) override { return *m_tables[static_cast<std::size_t>(table)]; }
    /// One file that cannot be written does not stop the others.
    bool isGood() const override
    {
        return std::any_of(m_tables.begin(), m_tables.end(),
                           [](const auto &table) { return table && table->isGood(); });
    }

    void finish(bool isCancelled, ExportOutcome &outcome)
    {
        for (const auto &table : m_tables) {
            if (table)
                outcome.files.append(table->finish(isCancelled));
        }
    }
    QJsonObject description() const
    {
        QJsonObject all;
        for (int i = 0; i < exportTableCount; ++i) {
            if (m_tables[std::size_t(i)])
                all.insert(exportTableName(static_cast<ExportTable>(i)), m_tables[std::size_t(i)]->description());
        }
        return all;
    }

private:
    std::array<std::unique_ptr<CsvTable>, exportTableCount> m_tables;
};

QByteArray metaJson(const abstractNorvexData &data, const ExportRequest &request, const QDateTime &exportDate,
                    bool isComplete, const QJsonObject &tables)
{
    QJsonObject meta{
        {QStringLiteral("format"), QStringLiteral("norvex-tidy")},
        {QStringLiteral("version"), 1},
        {QStringLiteral("session"), request.sessionName},
        {QStringLiteral("sensor"), data.sensorSerial()},
        {QStringLiteral("chamber"), data.chamberSerial()},
        {QStringLiteral("from_us"), static_cast<qint64>(request.from)},
        {QStringLiteral("to_us"), static_cast<qint64>(request.to)},
        {QStringLiteral("to_included"), request.toIncluded},
        {QStringLiteral("times"), QStringLiteral("UTC; _us: microseconds since 1970-01-01")},
        {QStringLiteral("exported_utc"), exportDate.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("complete"), isComplete},
        {QStringLiteral("tables"), tables},
    };
    if (request.binWidth > 0)
        meta.insert(QStringLiteral("bin_us"), static_cast<qint64>(request.binWidth));
    return QJsonDocument(meta).toJson();
}

} // namespace

TidyNames tidyNames(const QString &chosen)
{
    const QString stem = exportStem(chosen);
    TidyNames names;
    for (int i = 0; i < exportTableCount; ++i) {
        const auto table = static_cast<ExportTable>(i);
        const QString kind = table == ExportTable::Samples ? QString() : QLatin1Char('.') + exportTableName(table);
        names.tables[std::size_t(i)] = stem + kind + QStringLiteral(".csv");
    }
    names.meta = stem + QStringLiteral(".meta.json");
    return names;
}

QStringList TidyNames::written(const ExportRequest &request) const
{
    QStringList files{meta};
    for (int i = 0; i < exportTableCount; ++i) {
        if (isExported(static_cast<ExportTable>(i), request))
            files.append(tables[std::size_t(i)]);
    }
    return files;
}

ExportOutcome exportTidy(const abstractNorvexData &data, const ExportRequest &request, const TidyNames &names,
                         const QDateTime &exportDate, const ExportProgress &progress)
{
    ExportOutcome outcome;
    ExportKeys keys;
    CsvTables tables(request, names);
    const bool isCancelled = !writeTables(data, request, tables, keys, progress, outcome);
    tables.finish(isCancelled, outcome);
    ExportedFile meta{names.meta, isCancelled ? ExportedFile::Cancelled : ExportedFile::Written, QString()};
    if (!isCancelled &&
        !writeFileSafely(names.meta, metaJson(data, request, exportDate, !outcome.isIncomplete, tables.description()),
                         &meta.error))
        meta.result = ExportedFile::CannotWrite;
    outcome.files.append(meta);
    return outcome;
}
