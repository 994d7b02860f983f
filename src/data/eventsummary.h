#pragma once

#include "data/eventrecord.h"
#include "data/eventtypelist.h"

/// The five values of a snapshot that an event's line in the index carries.
struct SnapshotSummary
{
    quint64 time = 0; // us
    double frequency = 0;
    double voltage = 0;
    double currentReal = 0;
    double currentImaginary = 0;
};

/// What is kept in memory of every stored event: its line in the index, without the waveform and the recipe that its
/// file holds. A plain value.
struct EventSummary
{
    quint64 time = 0; // us
    qint32 typeCode = 0;
    qint32 overrideCode = 0;
    bool isOverridden = false;
    bool named = false;
    qint32 fileNumber = 0; // of "Event_<number>.norvexevent"; 0: see otherFile
    QString otherFile;     // a file of another name; empty with number 0 while the event has no file
    QString name;          // of a user-defined type, when named
    SnapshotSummary snapshot1;
    SnapshotSummary snapshot2;
    SnapshotSummary snapshot3;

    qint32 effectiveCode() const { return isOverridden ? overrideCode : typeCode; }
    bool isRun() const { return effectiveCode() == eventtype::RfOn; }
    quint64 endTime() const { return snapshot3.time > time ? snapshot3.time : time; }
    bool hasFile() const { return fileNumber > 0 || !otherFile.isEmpty(); }
    QString fileName() const;
    void setFileName(const QString &name);
};

inline EventKey keyOf(const EventSummary &event)
{
    return {event.time, event.typeCode};
}

EventSummary summaryOf(const EventRecord &event);
/// The record as far as the summary knows it, with its file in `folder`.
EventRecord recordOf(const EventSummary &event, const QString &folder);
/// The run that an "E_ON" event stands for.
RunRecord runOf(const EventRecord &event);
