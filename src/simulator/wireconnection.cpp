#include "simulator/wireconnection.h"

#include "base/platform.h"

#include <algorithm>

namespace {
constexpr int floodBuffer = 256 * 1024;
constexpr int receiveLimit = 2 * 1024 * 1024;
} // namespace

WireConnection::WireConnection(QTcpSocket *socket, const WireServer::Responder &responder, QObject *parent)
    : QObject(parent), m_socket(socket), m_responder(responder)
{
    m_socket->setParent(this);
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &WireConnection::play);
    connect(m_socket, &QTcpSocket::readyRead, this, &WireConnection::read);
    connect(m_socket, &QTcpSocket::bytesWritten, this, [this] {
        if (m_playing && !m_timer.isActive())
            play();
    });
    connect(m_socket, &QTcpSocket::disconnected, this, &WireConnection::finish);
}

void WireConnection::read()
{
    m_received.append(m_socket->readAll());
    if (m_received.size() > receiveLimit)
        reset();
    else if (!m_playing)
        answerNext();
}

void WireConnection::answerNext()
{
    while (!m_playing && !m_finished && !m_received.isEmpty()) {
        const RequestHead head = parseRequestHead(m_received);
        if (head.state == RequestHead::State::Incomplete)
            return;
        if (head.state == RequestHead::State::Bad) {
            m_received.clear();
            m_script = {{WireStep::Action::Send, "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n", 0},
                        {WireStep::Action::Close, {}, 0}};
        } else {
            const QByteArray request = m_received.left(head.size);
            m_received.remove(0, head.size);
            m_script = m_responder(head, request);
        }
        m_step = 0;
        m_stepDone = 0;
        m_playing = true;
        play();
    }
}

void WireConnection::play()
{
    while (m_playing && !m_finished) {
        if (m_step >= m_script.size()) {
            m_playing = false;
            m_socket->flush(); // now, not after another turn of the event loop
            answerNext();
            return;
        }
        if (!playStep(m_script[m_step]))
            return;
        ++m_step;
        m_stepDone = 0;
    }
}

bool WireConnection::playStep(const WireStep &step)
{
    switch (step.action) {
    case WireStep::Action::Send:
        m_socket->write(step.bytes);
        return true;
    case WireStep::Action::Drip:
        return drip(step);
    case WireStep::Action::Flood:
        return flood(step);
    case WireStep::Action::Wait:
        if (m_stepDone > 0)
            return true;
        m_stepDone = 1;
        m_timer.start(int(step.number));
        return false;
    case WireStep::Action::Hold:
        return false;
    case WireStep::Action::Close:
        m_socket->disconnectFromHost();
        return false;
    case WireStep::Action::Reset:
        if (m_socket->bytesToWrite() == 0)
            reset();
        return false;
    }
    return true;
}

bool WireConnection::drip(const WireStep &step)
{
    if (m_stepDone >= step.bytes.size())
        return true;
    m_socket->write(step.bytes.constData() + m_stepDone, 1);
    ++m_stepDone;
    m_timer.start(int(step.number));
    return false;
}

bool WireConnection::flood(const WireStep &step)
{
    while (m_stepDone < step.number && m_socket->bytesToWrite() < floodBuffer)
        m_stepDone += std::max<qint64>(1, m_socket->write(step.bytes));
    return m_stepDone >= step.number;
}

void WireConnection::reset()
{
    platform::resetOnClose(m_socket->socketDescriptor());
    m_socket->abort();
    finish();
}

void WireConnection::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_timer.stop();
    deleteLater();
}
