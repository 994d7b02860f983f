#pragma once

#include "data/folderinspection.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

class JobProgress;

/// What is wrong with one file of a sensor folder.
struct FileFinding
{
    QString file;
    FileState state = FileState::Unreadable;
    QString detail; // in words, may be empty
};

/// What a check of one sensor folder found.
struct IntegrityReport
{
    static constexpr int maximumFindings = 1000; // of each state; beyond, files are counted only

    QString folder; // its name
    int blocks = 0; // files, sound or not
    int events = 0;
    quint64 samples = 0;           // that can be read
    QMap<FileState, int> counts;   // files of each state
    QVector<FileFinding> findings; // of the files that are not sound
    QStringList problems;          // of the folder and its index
    bool cancelled = false;

    bool isDamaged() const { return !findings.isEmpty() || !problems.isEmpty(); }
};

/// Reads every block and event file of a sensor folder and compares them with its index. Changes nothing and holds one
/// file at a time. A folder that is being recorded into may show what is being written at the moment.
IntegrityReport checkSensorFolder(const QString &path, JobProgress *progress = nullptr);
/// The report of an inspection that was made already.
IntegrityReport reportOf(const FolderInspection &inspection);

/// True for a folder with an index, a block or an event file.
bool holdsSensorData(const QString &path);
