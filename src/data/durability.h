#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>

/// The promise that lets a sensor forget: what a store accepted is on disk before the sensor's clear is sent. A store
/// without one keeps its data in memory until the next save and calls every request durable at once.
class DurableLog
{
public:
    /// What a record holds. The numbers are part of the file format.
    enum class Record : quint8 { Samples = 1, Event = 2, Configuration = 3, Recipe = 4, TimeLine = 5, Sensor = 6 };

    virtual ~DurableLog() = default;

    /// Appends one record for a sensor folder. Never waits for the disk's sync. A failure is remembered: no later
    /// request succeeds until everything unsaved has been written again.
    virtual void append(const QString &sensorFolder, Record type, const QByteArray &payload) = 0;

    /// Asks that every record appended so far is on disk, then calls `done(ok)` once, in the thread of `context` and only
    /// while `context` lives. Requests that arrive during a sync share the next one.
    virtual void whenDurable(QObject *context, std::function<void(bool)> done) = 0;

    /// False while so much waits for a disk that takes nothing that no more should be appended. Any thread.
    virtual bool takesMore() const { return true; }
};
