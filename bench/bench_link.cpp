#include "compare.h"
#include "data/norvexdata.h"
#include "recipe/sensorconfiguration.h"
#include "sensor/arcsensor.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <ctime>
#include <memory>
#include <vector>

namespace {

constexpr int framePoints = 2000;
constexpr int requestsPerRound = 100;

/// Sensors that answer at once from prepared pages: every frame holds 2,000 new samples. They live in a process of
/// their own, so that the time measured is that of the recorder alone.
class Peers
{
public:
    explicit Peers(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_servers.push_back(std::make_unique<Peer>());
            std::printf("%d\n", int(m_servers.back()->server.serverPort()));
        }
        std::fflush(stdout);
    }

private:
    struct Peer
    {
        Peer()
        {
            server.listen(QHostAddress::LocalHost);
            QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
                QTcpSocket *const socket = server.nextPendingConnection();
                socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    const QByteArray request = socket->readAll();
                    if (request.endsWith("\r\n\r\n"))
                        reply(socket, request.left(request.indexOf("\r\n")));
                });
            });
        }

        void reply(QTcpSocket *socket, const QByteArray &line)
        {
            QByteArray body = "{}";
            if (line.contains("info.cgi"))
                body = "{\n\"serial_number\":\"SN\"\n}";
            else if (line.contains("status.cgi"))
                body = "{\"uptime\":\"99999999\",\"fifo_resets\":0}";
            else if (line.contains("frame.cgi"))
                body = frame(line.contains("clear_index"));
            else if (line.contains("data.cgi"))
                body = samples(line.mid(line.indexOf("index=") + 6).split('&').first().toInt());
            else if (line.contains("config.cgi"))
                body = SensorConfiguration().configToJSON().replace("signalLock", "signal_lock");
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        }

        QByteArray frame(bool clear)
        {
            if (clear)
                first += framePoints;
            return "{\"start\":0,\"number_of_points\":" + QByteArray::number(framePoints) + ",\"number_of_events\":0}";
        }

        QByteArray samples(int index) const
        {
            QByteArrayList times;
            for (int i = index; i < index + 20; ++i)
                times += QByteArray::number(first + i);
            QByteArray page = "{\n\"Time_ms\":[" + times.join(',') + "],\n";
            for (const char *key :
                 {"Voltage",  "Current_Ir", "Current_Ii", "nPulses",  "P_Period", "P_1T_on",  "P_1V_max", "P_1V_min",
                  "P_1V_avg", "P_1I_max",   "P_1I_min",   "P_1I_avg", "P_2T_on",  "P_2V_max", "P_2V_min", "P_2V_avg",
                  "P_2I_max", "P_2I_min",   "P_2I_avg",   "E_11",     "E_12",     "E_13",     "E_21",     "E_22",
                  "E_23",     "E_31",       "E_32",       "E_33",     "E_PE"})
                page += QByteArray("\"") + key +
                        "\":[1.234,1.234,1.234,1.234,1.234,1.234,1.234,1.234,1.234,1.234,"
                        "1.234,1.234,1.234,1.234,1.234,1.234,1.234,1.234,1.234,1.234],\n";
            return page + "}\n";
        }

        QTcpServer server;
        int first = 1000;
    };

    std::vector<std::unique_ptr<Peer>> m_servers;
};

/// Connections that download without end, each into a store of its own.
class Recorders
{
public:
    explicit Recorders(int count)
    {
        m_peers.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--peers"), QString::number(count)});
        while (int(m_links.size()) < count && (m_peers.canReadLine() || m_peers.waitForReadyRead(5000))) {
            while (m_peers.canReadLine())
                add(quint16(m_peers.readLine().trimmed().toUInt()));
        }
    }

    ~Recorders()
    {
        m_links.clear();
        m_peers.kill();
        m_peers.waitForFinished();
    }

    /// Runs until every sensor was asked so many times more.
    void download(qint64 pages)
    {
        const qint64 until = m_pages + pages * qint64(m_links.size());
        QEventLoop loop;
        const auto check = [&] {
            if (m_pages >= until)
                loop.quit();
        };
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &loop, check);
        timer.start(5);
        loop.exec();
    }

private:
    void add(quint16 port)
    {
        m_stores.push_back(std::make_shared<norvexData>());
        m_links.push_back(std::make_unique<arcSensor>(QStringLiteral("127.0.0.1"), port));
        m_links.back()->setStore(m_stores.back());
        QObject::connect(m_links.back().get(), &arcSensor::downloadStatus, m_links.back().get(), [this] { ++m_pages; });
    }

    QProcess m_peers;
    std::vector<std::shared_ptr<norvexData>> m_stores;
    std::vector<std::unique_ptr<arcSensor>> m_links;
    qint64 m_pages = 0;
};

void requests(benchmark::State &state, int sensors)
{
    Recorders recorders(sensors);
    recorders.download(10);
    const std::clock_t before = std::clock();
    for (auto _ : state)
        recorders.download(requestsPerRound);
    const double cpu = double(std::clock() - before) / CLOCKS_PER_SEC;
    state.counters["cpu_ms_per_request"] = 1000 * cpu / double(state.iterations() * requestsPerRound * sensors);
}

/// The tick itself: so many intervals of 10 ms.
void ticks(benchmark::State &state)
{
    for (auto _ : state)
        QThread::msleep(10 * requestsPerRound);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--peers") {
        const Peers peers(QByteArray(argv[2]).toInt());
        return QCoreApplication::exec();
    }
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    bench::compare(
        "100 data pages of one sensor, saving apart", 0.98, "100 ticks of 10 ms",
        [](benchmark::State &state) { requests(state, 1); }, ticks);
    bench::compare(
        "100 data pages of each of 16 sensors", 0.98, "100 ticks of 10 ms",
        [](benchmark::State &state) { requests(state, 16); }, ticks);
    bench::compare(
        "100 data pages of each of 64 sensors", 0.9, "100 ticks of 10 ms",
        [](benchmark::State &state) { requests(state, 64); }, ticks);
    return bench::run(argc, argv);
}
