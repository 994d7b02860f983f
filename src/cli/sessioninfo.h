#pragma once

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QVector>

class Session;

/// What "norvex-cli info" says about one sensor. Times are microseconds UTC, 0 while nothing is recorded.
struct SensorSummary
{
    QString serial;
    QString chamber;
    QString folder;
    quint64 firstTime = 0;
    quint64 lastTime = 0;
    quint64 samples = 0;
    int blocks = 0;
    int events = 0; // runs excluded
    int runs = 0;
    QMap<QString, int> eventsByType;
    QString recipe;
    QString problem; // what is damaged, in words
};

struct SessionSummary
{
    QString session; // the folder
    QVector<SensorSummary> sensors;
    QStringList problems; // of the session file
};

SessionSummary summaryOf(const Session &session);

/// The object that scripts read.
QJsonObject toJson(const SessionSummary &summary);
/// The same for people.
QString toText(const SessionSummary &summary);
