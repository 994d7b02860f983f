#pragma once

#include "base/safefile.h"
#include "export/exporttables.h"

#include <QDateTime>

#include <array>
#include <memory>

class abstractNorvexData;

/// One file of line protocol, as time-series databases read it: "norvex_samples,sensor=...,chamber=... voltage_V=...
/// 1707140710123005000". A table is a measurement, keys and texts are tags, everything else is a field; times are in
/// nanoseconds. Used by one thread.
class LineSink final : public TableSink
{
public:
    LineSink(const QString &path, const ExportRequest &request);
    ~LineSink() override;

    /// The rows that follow are this sensor's.
    void beginSensor(const abstractNorvexData &data, const ExportRequest &request);
    RowSink &rows(ExportTable table) override;
    bool isGood() const override { return m_isGood; }
    ExportedFile finish(bool isCancelled, const QDateTime &exportDate, bool isComplete);

private:
    class Rows;
    void append(const QByteArray &line);
    bool flush();

    const QString m_path;
    SafeFile m_file;
    QByteArray m_lines;
    std::array<std::unique_ptr<Rows>, exportTableCount> m_rows;
    bool m_isGood = false;
};
