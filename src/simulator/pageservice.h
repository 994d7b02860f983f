#pragma once

#include <QByteArray>
#include <QMap>

class SimulatedSensor;

/// What a request asks for. A frame request that clears is a kind of its own, because faults on it matter most.
enum class PageKind { Info, Frame, Clear, Status, Data, Events, Config, Recipe, Trigger, Unknown };

struct PageRequest
{
    QByteArray method; // "GET" or "POST"
    QByteArray path;   // "/service/info.cgi"
    QMap<QByteArray, QByteArray> query;
    QByteArray body;

    bool isPost() const { return method == "POST"; }
};

struct PageReply
{
    int status = 200;
    QByteArray contentType;
    QByteArray body;
};

/// The kind of page behind a path and query.
PageKind pageKind(const QByteArray &path, bool clears);

/// The name by which a fault plan calls a kind: "info", "frame", "clear", "status", "data", "events", "config",
/// "recipe", "trigger".
QByteArray pageName(PageKind kind);
/// The reverse; Unknown for any other name.
PageKind pageFromName(const QByteArray &name);

/// Answers one request from the sensor's state: the good page, or the sensor's not-found page.
PageReply answerPage(SimulatedSensor &sensor, const PageRequest &request);
