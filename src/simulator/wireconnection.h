#pragma once

#include "simulator/wireserver.h"

#include <QTcpSocket>
#include <QTimer>

/// One accepted connection: requests in, scripts out, one after the other. Deletes itself when the peer has gone or the
/// script ended the connection.
class WireConnection : public QObject
{
    Q_OBJECT

public:
    WireConnection(QTcpSocket *socket, const WireServer::Responder &responder, QObject *parent);

    /// The peer sees a connection reset.
    void reset();

private:
    void read();
    void answerNext();
    void play();
    /// True when the step is done and the next may follow at once.
    bool playStep(const WireStep &step);
    bool drip(const WireStep &step);
    bool flood(const WireStep &step);
    void finish();

    QTcpSocket *m_socket; // child
    const WireServer::Responder &m_responder;
    QTimer m_timer;
    QByteArray m_received;
    WireScript m_script;
    int m_step = 0;
    qint64 m_stepDone = 0; // bytes of a drip or flood that went out
    bool m_playing = false;
    bool m_finished = false;
};
