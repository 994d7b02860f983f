#include "base/log.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

namespace {

constexpr qint64 rotateAtBytes = 5 * 1000 * 1000;

struct LogFile
{
    QMutex lock; // guards file and size
    QFile file;
    QtMessageHandler previous = nullptr;
    bool echo = true;
};

LogFile &logFile()
{
    static LogFile *const log = new LogFile; // outlives every static object that might still log
    return *log;
}

void openOrRotate(LogFile &log)
{
    if (log.file.isOpen() && log.file.size() < rotateAtBytes)
        return;
    log.file.close();
    if (QFileInfo(log.file.fileName()).size() >= rotateAtBytes) {
        const QString older = log.file.fileName() + QStringLiteral(".1");
        QFile::remove(older);
        QFile::rename(log.file.fileName(), older);
    }
    log.file.open(QIODevice::WriteOnly | QIODevice::Append);
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    LogFile &log = logFile();
    if (log.echo && log.previous)
        log.previous(type, context, message);
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("dd-MM-yyyy HH:mm:ss.zzz"));
    const QMutexLocker locker(&log.lock);
    openOrRotate(log);
    log.file.write((stamp + QLatin1Char(' ') + message + QLatin1Char('\n')).toUtf8());
    log.file.flush();
}

} // namespace

void logDebug(const QString &line)
{
    qDebug().noquote() << line;
}

void logInfo(const QString &line)
{
    qInfo().noquote() << line;
}

void logWarning(const QString &line)
{
    qWarning().noquote() << line;
}

bool startLogFile(const QString &path, bool echo)
{
    LogFile &log = logFile();
    {
        const QMutexLocker locker(&log.lock);
        QDir().mkpath(QFileInfo(path).absolutePath());
        log.file.setFileName(path);
        log.echo = echo;
        openOrRotate(log);
        if (!log.file.isOpen())
            return false;
    }
    log.previous = qInstallMessageHandler(handleMessage);
    return true;
}
