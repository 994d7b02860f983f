#pragma once

#include <QByteArray>
#include <QVector>

/// What is done with a connection in answer to one request, step by step. A plain value, so that every fault is a
/// list that tests can read and any connection can play.
struct WireStep
{
    enum class Action {
        Send,  // bytes
        Drip,  // bytes, one every `number` ms
        Flood, // bytes again and again until `number` bytes went out
        Wait,  // number ms
        Hold,  // say nothing more, keep the connection open until the peer ends it
        Close, // after everything went out
        Reset, // after everything went out: the peer sees a connection reset
    };

    Action action = Action::Send;
    QByteArray bytes;
    qint64 number = 0;
};

using WireScript = QVector<WireStep>;

/// The head of a request, as far as it must be known to cut requests out of the stream and to choose a fault.
struct RequestHead
{
    enum class State { Incomplete, Complete, Bad };

    State state = State::Incomplete;
    QByteArray method;
    QByteArray path;
    QByteArray query;
    int size = 0; // of the whole request, body included
};

/// Looks at the bytes received so far. Complete once the whole body is there; Bad for what cannot be a request, a head
/// over 16 KiB or a body over 1 MiB.
RequestHead parseRequestHead(const QByteArray &received);
