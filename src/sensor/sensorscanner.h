#pragma once

#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVector>

#include <memory>

class QUdpSocket;

/// Finds sensors on the local networks: one broadcast per address of every network adapter, sent one at a time from the
/// event loop, and a socket that takes the answers. No widgets; the dialog and the command line stand on it. Lives in
/// one thread with an event loop.
class SensorScanner : public QObject
{
    Q_OBJECT

public:
    /// One address of an adapter that a request leaves from.
    struct Adapter
    {
        QString name;
        QHostAddress address;
        QHostAddress broadcast;
        bool sent = false;
        QString error; // why it could not be sent
    };
    struct Found
    {
        QString serial;
        QHostAddress address;

        friend bool operator==(const Found &a, const Found &b)
        {
            return a.serial == b.serial && a.address == b.address;
        }
    };

    explicit SensorScanner(QObject *parent = nullptr);
    ~SensorScanner() override;

    /// Every IPv4 address of this computer that can broadcast.
    static QVector<Adapter> systemAdapters();
    /// Instead of the computer's own, for tests.
    void setAdapters(const QVector<Adapter> &adapters) { m_fixedAdapters = adapters; }

    /// Begins a new scan; what an earlier one found is forgotten. False when no port for replies can be bound.
    bool start();
    void stop();
    bool isSending() const { return m_next < m_adapters.size() && m_receiver; }

    quint16 replyPort() const { return m_replyPort; }
    const QVector<Adapter> &adapters() const { return m_adapters; }
    const QVector<Found> &found() const { return m_found; }

signals:
    /// Each sensor once per address.
    void sensorFound(const QString &serial, const QHostAddress &address);
    /// The last request has left.
    void requestsSent();

private:
    void sendNext();
    void receive();

    std::unique_ptr<QUdpSocket> m_receiver;
    quint16 m_replyPort = 0;
    QTimer m_sendTimer;
    int m_next = 0;
    QVector<Adapter> m_fixedAdapters;
    QVector<Adapter> m_adapters;
    QVector<Found> m_found;
};
