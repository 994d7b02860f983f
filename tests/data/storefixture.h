#pragma once

#include "data/norvexdata.h"
#include "samples.h"

#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// Collects the log lines written while it lives.
class LogLines
{
public:
    LogLines()
    {
        s_lines.clear();
        m_previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &line) { s_lines.append(line); });
    }
    ~LogLines() { qInstallMessageHandler(m_previous); }
    LogLines(const LogLines &) = delete;
    LogLines &operator=(const LogLines &) = delete;

    static QStringList all() { return s_lines; }
    static bool hasLineWith(const QString &part) { return !s_lines.filter(part).isEmpty(); }

private:
    static inline QStringList s_lines;
    QtMessageHandler m_previous;
};

/// A session folder with one sensor folder, both removed at the end.
class SensorFolder
{
public:
    SensorFolder() { QDir().mkpath(path()); }

    QString session() const { return m_folder.path(); }
    QString path() const { return m_folder.filePath(name()); }
    QString file(const QString &fileName) const { return path() + QLatin1Char('/') + fileName; }
    QString index() const { return file(QStringLiteral("index.dat")); }
    QString backup() const { return file(QStringLiteral("index.dat.bakup")); }
    QStringList names() const { return QDir(path()).entryList(QDir::Files | QDir::Hidden, QDir::Name); }
    static QString name() { return QStringLiteral("S1-Default"); }

    std::unique_ptr<norvexData> newStore() const
    {
        auto store = std::make_unique<norvexData>();
        store->setSensorSerial(QStringLiteral("S1"));
        store->setFolderName(name());
        return store;
    }

    /// As a session opens a sensor: the index as it stands, then what is newer than it.
    std::unique_ptr<norvexData> load(LoadOutcome *outcome = nullptr, LoadMode mode = LoadMode::Normal) const
    {
        auto store = std::make_unique<norvexData>();
        store->setFolderName(name());
        const LoadOutcome result = store->load(session(), mode);
        store->reconcile();
        if (outcome)
            *outcome = result;
        return store;
    }

private:
    QTemporaryDir m_folder;
};

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

/// Samples at every `step` microseconds from `first`.
inline QVector<SamplePoint> row(quint64 first, int count, quint64 step = 1000, double voltage = 0)
{
    QVector<SamplePoint> list(count);
    for (int i = 0; i < count; ++i) {
        list[i].time = first + static_cast<quint64>(i) * step;
        list[i].voltage = voltage;
    }
    return list;
}

inline EventRecord arcAt(quint64 time, int typeCode = eventtype::E11)
{
    EventRecord event;
    event.time = time;
    event.typeCode = typeCode;
    event.samples = row(time, 5, 1, 100);
    event.samples[2].voltage = 20;
    event.samples[4].voltage = 90;
    return event;
}

inline QVector<SamplePoint> everything(const norvexData &store)
{
    QVector<SamplePoint> all;
    if (!store.samplesInRange(0, store.lastTime() + 1, all))
        all.clear();
    return all;
}
