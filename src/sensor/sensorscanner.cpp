#include "sensor/sensorscanner.h"

#include "sensor/discovery.h"

#include <QNetworkInterface>
#include <QUdpSocket>

namespace {

constexpr int mostSensors = 4096; // whoever answers without end is not listened to without end

} // namespace

SensorScanner::SensorScanner(QObject *parent) : QObject(parent)
{
    m_sendTimer.setInterval(0);
    connect(&m_sendTimer, &QTimer::timeout, this, &SensorScanner::sendNext);
}

SensorScanner::~SensorScanner() = default;

QVector<SensorScanner::Adapter> SensorScanner::systemAdapters()
{
    QVector<Adapter> adapters;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &networkInterface : interfaces) {
        const QList<QNetworkAddressEntry> entries = networkInterface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            QHostAddress broadcast = entry.broadcast();
            if (broadcast.isNull() && entry.ip().isLoopback() && entry.ip().protocol() == QAbstractSocket::IPv4Protocol)
                broadcast = QHostAddress(QStringLiteral("127.255.255.255"));
            if (broadcast.isNull() || entry.ip().protocol() != QAbstractSocket::IPv4Protocol)
                continue; // no IPv4, no broadcast
            adapters.append({networkInterface.humanReadableName(), entry.ip(), broadcast, false, {}});
        }
    }
    return adapters;
}

bool SensorScanner::start()
{
    stop();
    m_found.clear();
    m_adapters = m_fixedAdapters.isEmpty() ? systemAdapters() : m_fixedAdapters;
    auto receiver = std::make_unique<QUdpSocket>();
    for (quint16 port = discovery::firstReplyPort; port <= discovery::lastReplyPort; ++port) {
        // Not shared: on some systems two programs would otherwise take the same port and each half of the answers.
        if (!receiver->bind(QHostAddress::AnyIPv4, port, QAbstractSocket::DontShareAddress))
            continue;
        m_replyPort = port;
        m_receiver = std::move(receiver);
        connect(m_receiver.get(), &QUdpSocket::readyRead, this, &SensorScanner::receive);
        m_sendTimer.start();
        return true;
    }
    return false;
}

void SensorScanner::stop()
{
    m_sendTimer.stop();
    m_receiver.reset();
    m_next = 0;
}

void SensorScanner::sendNext()
{
    if (m_next >= m_adapters.size()) {
        m_sendTimer.stop();
        emit requestsSent();
        return;
    }
    Adapter &adapter = m_adapters[m_next++];
    QUdpSocket sender;
    const QByteArray datagram = discovery::request(adapter.address, m_replyPort);
    // Bound to the adapter's address, or the request would leave by the default route.
    adapter.sent = sender.bind(adapter.address, 0) &&
                   sender.writeDatagram(datagram, adapter.broadcast, discovery::requestPort) == datagram.size();
    if (!adapter.sent)
        adapter.error = sender.errorString();
}

void SensorScanner::receive()
{
    while (m_receiver && m_receiver->hasPendingDatagrams()) {
        QByteArray datagram(discovery::maximumReply, '\0');
        QHostAddress sender;
        const qint64 size = m_receiver->readDatagram(datagram.data(), datagram.size(), &sender);
        datagram.truncate(static_cast<int>(qMax<qint64>(0, size)));
        const std::optional<QString> serial = discovery::serialOf(datagram);
        const Found sensor{serial.value_or(QString()), QHostAddress(sender.toIPv4Address())};
        if (!serial || m_found.contains(sensor) || m_found.size() >= mostSensors)
            continue;
        m_found.append(sensor);
        emit sensorFound(sensor.serial, sensor.address);
    }
}
