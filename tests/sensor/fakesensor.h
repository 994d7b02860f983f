#pragma once

#include "sensor/fakepeer.h"

#include <QHash>
#include <QVector>

/// A sensor for conversations: serves every page from a few fields, notes what is asked, and answers single pages
/// differently when a test says so.
class FakeSensor
{
public:
    struct Event
    {
        qint64 rawUs;
        qint16 code;
        QByteArray name;
    };

    FakeSensor();

    quint16 port() const { return m_peer.port(); }
    /// What was asked so far: "info.cgi", "pulsedata.cgi index=0&limit=20", ...; uploads as "POST recipe.cgi".
    QStringList asked() const;
    int count(const QString &line) const { return asked().count(line); }
    const FakePeer &peer() const { return m_peer; }
    void dropConnections() { m_peer.dropConnections(); }
    /// Appends n samples of a spacing of 10 ms.
    void produce(int n);
    /// Starts anew: empty memory, uptime from 0.
    void restart();

    /// Answers a page ("frame.cgi") in another way; an empty function brings the normal answer back.
    QHash<QByteArray, std::function<PeerAnswer(const PeerRequest &)>> other;

    QByteArray serial = "SN1";
    QByteArray frequencies = "12882000,13560000,14238000";
    qint64 uptimeMs = 60'000;
    int fifoResets = 0;
    QVector<qint64> rawMs; // times of the samples it holds
    QVector<Event> events;
    QByteArray configuration;
    QByteArray recipe = "{\"recipe_name\":\"Etch\",\"number_of_steps\":1,\"step_01\":{\"frequency\":13000000}}";
    QVector<int> clears; // every clear_index received

private:
    PeerAnswer answer(const PeerRequest &request);
    QByteArray samples(int from, int limit) const;
    QByteArray event(int index) const;

    qint64 m_nextRawMs = 1000;
    FakePeer m_peer;
};
