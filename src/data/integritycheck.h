#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// What is wrong with one file of a sensor folder.
struct FileFinding
{
    enum State {
        Short,      // fewer records than it announces
        Unreadable, // cannot be opened, or is not what its name says
        Unlisted,   // sound, but the index does not know it
        Missing,    // listed, but not there
    };

    QString file;
    State state = Unreadable;
    QString detail; // in words, may be empty
};

/// "short", "unreadable", "unlisted", "missing".
QString nameOf(FileFinding::State state);

/// What a check of one sensor folder found.
struct IntegrityReport
{
    QString folder; // its name
    int blocks = 0; // files, sound or not
    int events = 0;
    quint64 samples = 0; // that can be read
    QVector<FileFinding> findings;
    QStringList problems; // of the folder and its index

    bool isDamaged() const { return !findings.isEmpty() || !problems.isEmpty(); }
};

/// Reads every block and event file of a sensor folder and compares them with its index. Changes nothing and holds one
/// file at a time. A folder that is being recorded into may show what is being written at the moment.
IntegrityReport checkSensorFolder(const QString &path);

/// True for a folder with an index, a block or an event file.
bool holdsSensorData(const QString &path);
