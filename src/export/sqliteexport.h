#pragma once

#include "base/safefile.h"
#include "export/exporttables.h"

#include <QDateTime>

#include <array>
#include <memory>

class abstractNorvexData;

/// One SQLite database with the tables of an export, a table of the sensors and one of what the export was; its schema
/// is described in docs/formats.md. Written under a temporary name in one transaction. Used by one thread.
class SqliteSink final : public TableSink
{
public:
    SqliteSink(const QString &path, const ExportRequest &request);
    ~SqliteSink() override;

    /// The rows that follow are this sensor's.
    void beginSensor(const abstractNorvexData &data, const ExportRequest &request);
    RowSink &rows(ExportTable table) override;
    bool isGood() const override { return m_error.isEmpty(); }
    ExportedFile finish(bool isCancelled, const QDateTime &exportDate, bool isComplete);

private:
    class Database;
    class Rows;
    void createTables();
    void describe(const QString &key, const QVariant &value);
    void fail(const QString &reason);

    const QString m_path;
    const ExportRequest m_request;
    SafeFile m_file;
    std::unique_ptr<Database> m_database;
    std::array<std::unique_ptr<Rows>, exportTableCount> m_rows;
    qint64 m_sensor = 0; // of the rows that follow
    QString m_error;
};
