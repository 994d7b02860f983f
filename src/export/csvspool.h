#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryFile>

#include <functional>

/// Holds lines that are written before the lines above them are known. A small spool stays in memory, a large one goes
/// to a temporary file beside its target, which disappears with the object. Used by one thread.
class CsvSpool
{
public:
    explicit CsvSpool(const QString &target, int memoryLimit = 8 << 20);

    /// Lines are appended here; call takeIn() now and then.
    QByteArray &lines() { return m_lines; }
    /// Moves the lines to the file when they are many. After a failure lines are dropped; error() says why.
    void takeIn();
    qint64 size() const { return m_fileSize + m_lines.size(); }
    QString error() const { return m_error; }

    /// Hands out everything in order, a piece at a time, until `take` returns false.
    bool forEachPiece(const std::function<bool(const QByteArray &)> &take);

private:
    QTemporaryFile m_file;
    QByteArray m_lines;
    QString m_error;
    qint64 m_fileSize = 0;
    int m_memoryLimit;
};
