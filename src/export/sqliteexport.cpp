#include "export/sqliteexport.h"

#include "data/abstractnorvexdata.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <atomic>
#include <cmath>

namespace {

constexpr int schemaVersion = 1;
constexpr int applicationId = 0x4E565844; // "NVXD", shown by programs that tell files apart

QString columnName(const ExportColumn &column)
{
    const bool isTime = column.kind == ExportColumn::Moment || column.kind == ExportColumn::Time;
    return isTime ? column.name + QStringLiteral("_us") : column.name;
}

QString columnType(const ExportColumn &column)
{
    switch (column.kind) {
    case ExportColumn::Tag:
        return QStringLiteral("TEXT NOT NULL");
    case ExportColumn::Number:
        return QStringLiteral("REAL");
    default:
        return QStringLiteral("INTEGER NOT NULL");
    }
}

/// Rows of a sensor carry its number; those of an event or a run have it from there.
bool namesItsSensor(ExportTable table)
{
    return table != ExportTable::Waveforms && table != ExportTable::Steps;
}

/// What stands behind the columns: keys and what they refer to.
QString constraintsOf(ExportTable table)
{
    switch (table) {
    case ExportTable::Samples:
        return QStringLiteral(", PRIMARY KEY (sensor, time_us)) WITHOUT ROWID");
    case ExportTable::Events:
        return QStringLiteral(", PRIMARY KEY (event))");
    case ExportTable::Waveforms:
        return QStringLiteral(", FOREIGN KEY (event) REFERENCES events (event))");
    case ExportTable::Runs:
        return QStringLiteral(", PRIMARY KEY (run))");
    case ExportTable::Steps:
        return QStringLiteral(", PRIMARY KEY (run, step), FOREIGN KEY (run) REFERENCES runs (run)) WITHOUT ROWID");
    }
    return {};
}

QStringList columnsOf(ExportTable table, const ExportRequest &request, bool withTypes)
{
    QStringList columns;
    if (namesItsSensor(table))
        columns.append(withTypes ? QStringLiteral("sensor INTEGER NOT NULL REFERENCES sensors (id)")
                                 : QStringLiteral("sensor"));
    const QVector<ExportColumn> all = exportColumns(table, request);
    for (const ExportColumn &column : all) {
        if (column.isRepeated)
            continue;
        // Only so does a key of one column take no index of its own.
        const bool isOwnKey = column.kind == ExportColumn::Key && namesItsSensor(table);
        const QString type = isOwnKey ? QStringLiteral("INTEGER") : columnType(column);
        columns.append(withTypes ? columnName(column) + QLatin1Char(' ') + type : columnName(column));
    }
    return columns;
}

} // namespace

/// A connection of its own, which goes with the object.
class SqliteSink::Database
{
public:
    explicit Database(const QString &path)
        : m_name(QStringLiteral("norvex-export-%1").arg(s_counter.fetch_add(1))),
          m_database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name))
    {
        m_database.setDatabaseName(path);
    }
    ~Database()
    {
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
    }
    QSqlDatabase &operator*() { return m_database; }
    QSqlDatabase *operator->() { return &m_database; }

private:
    static inline std::atomic<int> s_counter{0};
    const QString m_name;
    QSqlDatabase m_database;
};

class SqliteSink::Rows final : public RowSink
{
public:
    Rows(SqliteSink &sink, ExportTable table)
        : m_sink(sink), m_query(**sink.m_database), m_namesItsSensor(namesItsSensor(table))
    {
        const QStringList columns = columnsOf(table, sink.m_request, false);
        QStringList places;
        for (int i = 0; i < columns.size(); ++i)
            places.append(QStringLiteral("?"));
        const QString insert =
            QStringLiteral("INSERT OR REPLACE INTO %1 (%2) VALUES (%3)")
                .arg(exportTableName(table), columns.join(QStringLiteral(", ")), places.join(QStringLiteral(", ")));
        if (!m_query.prepare(insert))
            m_sink.fail(m_query.lastError().text());
        const QVector<ExportColumn> all = exportColumns(table, sink.m_request);
        for (const ExportColumn &column : all)
            m_isRepeated.append(column.isRepeated);
    }

    void whole(qint64 value) override { bind(value); }
    void number(double value) override { bind(std::isfinite(value) ? QVariant(value) : QVariant(QVariant::Double)); }
    void text(const QString &value) override { bind(value + QStringLiteral("")); }
    void endRow() override
    {
        if (m_namesItsSensor)
            m_query.bindValue(0, m_sink.m_sensor);
        if (m_sink.isGood() && !m_query.exec())
            m_sink.fail(m_query.lastError().text());
        m_cell = 0;
        m_place = 0;
    }

private:
    void bind(const QVariant &value)
    {
        if (m_isRepeated.at(m_cell++))
            return;
        m_query.bindValue(m_place + (m_namesItsSensor ? 1 : 0), value);
        ++m_place;
    }

    SqliteSink &m_sink;
    QSqlQuery m_query;
    QVector<bool> m_isRepeated; // by cell
    const bool m_namesItsSensor;
    int m_cell = 0;
    int m_place = 0;
};

SqliteSink::SqliteSink(const QString &path, const ExportRequest &request)
    : m_path(path), m_request(request), m_file(path)
{
    if (!m_file.open()) {
        fail(m_file.error());
        return;
    }
    m_database = std::make_unique<Database>(m_file.temporaryPath());
    if (!(*m_database)->isValid())
        fail(QStringLiteral("the SQLite driver of the toolkit is not installed"));
    else if (!(*m_database)->open())
        fail((*m_database)->lastError().text());
    else
        createTables();
}

SqliteSink::~SqliteSink()
{
    m_rows = {};
    m_database.reset();
}

void SqliteSink::fail(const QString &reason)
{
    if (m_error.isEmpty())
        m_error = reason.isEmpty() ? QStringLiteral("the database failed") : reason;
}

void SqliteSink::createTables()
{
    // The file is nobody's before it is complete, so nothing has to be undone or forced to the disk on the way.
    QStringList statements{QStringLiteral("PRAGMA page_size = 16384"),
                           QStringLiteral("PRAGMA journal_mode = OFF"),
                           QStringLiteral("PRAGMA synchronous = OFF"),
                           QStringLiteral("PRAGMA application_id = %1").arg(applicationId),
                           QStringLiteral("PRAGMA user_version = %1").arg(schemaVersion),
                           QStringLiteral("BEGIN"),
                           QStringLiteral("CREATE TABLE export (key TEXT PRIMARY KEY, value) WITHOUT ROWID"),
                           QStringLiteral("CREATE TABLE sensors (id INTEGER PRIMARY KEY, serial TEXT NOT NULL, chamber "
                                          "TEXT NOT NULL, from_us INTEGER NOT NULL, to_us INTEGER NOT NULL)")};
    for (int i = 0; i < exportTableCount; ++i) {
        const auto table = static_cast<ExportTable>(i);
        statements.append(QStringLiteral("CREATE TABLE %1 (%2%3")
                              .arg(exportTableName(table), columnsOf(table, m_request, true).join(QStringLiteral(", ")),
                                   constraintsOf(table)));
    }
    statements.append({QStringLiteral("CREATE INDEX events_by_time ON events (sensor, time_us)"),
                       QStringLiteral("CREATE INDEX events_by_type ON events (type, time_us)"),
                       QStringLiteral("CREATE INDEX waveforms_by_event ON waveforms (event, time_us)"),
                       QStringLiteral("CREATE INDEX runs_by_time ON runs (sensor, start_us)"),
                       QStringLiteral("CREATE INDEX runs_by_recipe ON runs (recipe, start_us)")});
    for (const QString &statement : qAsConst(statements)) {
        QSqlQuery query(**m_database);
        if (isGood() && !query.exec(statement))
            fail(query.lastError().text());
    }
    for (int i = 0; i < exportTableCount && isGood(); ++i)
        m_rows[std::size_t(i)] = std::make_unique<Rows>(*this, static_cast<ExportTable>(i));
}

void SqliteSink::beginSensor(const abstractNorvexData &data, const ExportRequest &request)
{
    ++m_sensor;
    if (!isGood())
        return;
    QSqlQuery query(**m_database);
    query.prepare(QStringLiteral("INSERT INTO sensors VALUES (?, ?, ?, ?, ?)"));
    const QString empty = QStringLiteral(""); // a text that is null would be no value
    const QVariantList values{m_sensor, data.sensorSerial() + empty, data.chamberSerial() + empty, qint64(request.from),
                              qint64(request.to)};
    for (const QVariant &value : values)
        query.addBindValue(value);
    if (!query.exec())
        fail(query.lastError().text());
}

RowSink &SqliteSink::rows(ExportTable table)
{
    return *m_rows[static_cast<std::size_t>(table)];
}

void SqliteSink::describe(const QString &key, const QVariant &value)
{
    QSqlQuery query(**m_database);
    query.prepare(QStringLiteral("INSERT INTO export VALUES (?, ?)"));
    query.addBindValue(key);
    query.addBindValue(value);
    if (!query.exec())
        fail(query.lastError().text());
}

ExportedFile SqliteSink::finish(bool isCancelled, const QDateTime &exportDate, bool isComplete)
{
    if (isCancelled)
        return {m_path, ExportedFile::Cancelled, QString()};
    if (isGood()) {
        describe(QStringLiteral("format"), QStringLiteral("norvex-sqlite"));
        describe(QStringLiteral("version"), schemaVersion);
        describe(QStringLiteral("session"), m_request.sessionName);
        describe(QStringLiteral("exported_utc"), exportDate.toUTC().toString(Qt::ISODateWithMs));
        describe(QStringLiteral("complete"), isComplete ? 1 : 0);
        describe(QStringLiteral("bin_us"), qint64(m_request.binWidth));
    }
    m_rows = {};
    if (isGood()) {
        QSqlQuery query(**m_database);
        if (!query.exec(QStringLiteral("COMMIT")))
            fail(query.lastError().text());
    }
    m_database.reset();
    if (isGood() && !m_file.commit())
        fail(m_file.error());
    return {m_path, isGood() ? ExportedFile::Written : ExportedFile::CannotWrite, m_error};
}
