#pragma once

#include "base/clock.h"
#include "session/session.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

/// Collects the log lines of every thread while it lives.
class LogLines
{
public:
    LogLines()
    {
        s_lines.clear();
        m_previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &line) {
            static const char letters[] = {'D', 'W', 'C', 'F', 'I'};
            const QMutexLocker locker(&s_lock);
            s_lines.append(QString(QLatin1Char(letters[type])) + QLatin1Char(' ') + line);
        });
    }
    ~LogLines() { qInstallMessageHandler(m_previous); }
    LogLines(const LogLines &) = delete;
    LogLines &operator=(const LogLines &) = delete;

    /// Lines that contain `part`, each after its level: "I ..." or "W ...".
    static QStringList with(const QString &part)
    {
        const QMutexLocker locker(&s_lock);
        return s_lines.filter(part);
    }

private:
    static inline QMutex s_lock;
    static inline QStringList s_lines;
    QtMessageHandler m_previous;
};

class FakeClock : public Clock
{
public:
    qint64 utcMs() const override { return now; }
    qint64 steadyMs() const override { return now; }
    std::atomic<qint64> now{1700000000000};
};

/// Samples one second apart from `firstSecond` on.
inline QVector<SamplePoint> samplesFrom(int firstSecond, int count)
{
    QVector<SamplePoint> samples(count);
    for (int i = 0; i < count; ++i) {
        samples[i].time = 1700000000000000ULL + quint64(firstSecond + i) * 1000000;
        samples[i].voltage = i;
    }
    return samples;
}

/// Every file below a folder with its size, to see whether anything was written.
inline QStringList filesBelow(const QString &folder)
{
    QStringList files;
    QStringList folders{QString()};
    while (!folders.isEmpty()) {
        const QString at = folders.takeFirst();
        const QFileInfoList entries =
            QDir(folder + at).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo &entry : entries) {
            const QString name = at + QLatin1Char('/') + entry.fileName();
            if (entry.isDir())
                folders.append(name);
            else
                files.append(name + QLatin1Char(' ') + QString::number(entry.size()) +
                             entry.lastModified().toString(Qt::ISODateWithMs));
        }
    }
    return files;
}

/// The session as it lies on disk at this moment, as a kill leaves it.
inline bool copySession(const QString &from, const QString &to)
{
    for (const QString &file : filesBelow(from)) {
        const QString name = file.section(QLatin1Char(' '), 0, 0);
        QDir().mkpath(QFileInfo(to + name).path());
        if (!name.endsWith(QStringLiteral("norvex.lock")) && !QFile::copy(from + name, to + name))
            return false;
    }
    return true;
}

/// Waits until everything that a store has accepted is on disk.
inline bool settle(norvexData &store)
{
    QObject context;
    int answer = -1;
    store.whenDurable(&context, [&](bool ok) { answer = ok ? 1 : 0; });
    for (int i = 0; i < 4000 && answer < 0; ++i)
        QTest::qWait(5);
    return answer == 1;
}
