#include "compare.h"
#include "recipe/sensorconfiguration.h"
#include "session/recorder.h"
#include "session/session.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int framePoints = 2000;
constexpr int requestsPerRound = 100;
constexpr int savePeriodMs = 1000; // a save in every round

/// A number that two processes share.
class SharedCount
{
public:
    SharedCount(const QString &path, bool create) : m_file(path)
    {
        if (m_file.open(QIODevice::ReadWrite) && (!create || m_file.resize(sizeof(qint64))))
            m_count = reinterpret_cast<std::atomic<qint64> *>(m_file.map(0, sizeof(qint64)));
    }
    bool isThere() const { return m_count != nullptr; }
    std::atomic<qint64> &operator*() const { return *m_count; }

private:
    QFile m_file;
    std::atomic<qint64> *m_count = nullptr;
};

/// Accepts connections whose bytes go out and come in at once, without a buffer and the wake-ups that it costs.
class PeerServer final : public QTcpServer
{
public:
    std::function<void(QTcpSocket *)> readable;

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *const socket = new QTcpSocket(this);
        socket->setSocketDescriptor(descriptor, QAbstractSocket::ConnectedState,
                                    QIODevice::ReadWrite | QIODevice::Unbuffered);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { readable(socket); });
    }
};

/// Sensors that answer at once from prepared pages: every frame holds 2,000 new samples. They live in a process of
/// their own, so that the time measured is that of the recorder alone, and count what they were asked. Both share the
/// processors, so an answer costs as little as can be.
class Peers
{
public:
    Peers(int count, const QString &countPath) : m_requests(countPath, false)
    {
        for (int i = 0; i < count && m_requests.isThere(); ++i) {
            m_servers.push_back(std::make_unique<Peer>(*m_requests));
            std::printf("%d\n", int(m_servers.back()->server.serverPort()));
        }
        std::fflush(stdout);
    }

private:
    struct Peer
    {
        explicit Peer(std::atomic<qint64> &count) : requests(count)
        {
            server.readable = [this](QTcpSocket *socket) { read(socket); };
            server.listen(QHostAddress::LocalHost);
        }

        void read(QTcpSocket *socket)
        {
            std::array<char, 4096> request;
            const auto size = socket->read(request.data(), request.size());
            const auto line = QByteArray::fromRawData(request.data(), int(std::max<qint64>(size, 0)));
            if (line.endsWith("\r\n\r\n"))
                reply(socket, line.left(line.indexOf('\r')));
            else if (size < 0)
                socket->deleteLater();
        }

        void reply(QTcpSocket *socket, const QByteArray &line)
        {
            QByteArray body = "{}";
            if (line.contains("data.cgi"))
                body = samples(line.mid(line.indexOf("index=") + 6).split('&').first().toInt());
            else if (line.contains("info.cgi"))
                body = "{\n\"serial_number\":\"SN" + QByteArray::number(server.serverPort()) + "\"\n}";
            else if (line.contains("status.cgi"))
                body = "{\"uptime\":\"99999999\",\"fifo_resets\":0}";
            else if (line.contains("frame.cgi"))
                body = frame(line.contains("clear_index"));
            else if (line.contains("config.cgi"))
                body = SensorConfiguration().configToJSON().replace("signalLock", "signal_lock");
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
            ++requests;
        }

        QByteArray frame(bool clear)
        {
            if (clear)
                first += framePoints;
            return "{\"start\":0,\"number_of_points\":" + QByteArray::number(framePoints) + ",\"number_of_events\":0}";
        }

        QByteArray samples(int index) const
        {
            static const QByteArray others = otherColumns();
            QByteArray page = "{\n\"Time_ms\":[";
            page.reserve(others.size() + 512);
            for (int i = index; i < index + 20; ++i)
                page.append(i > index ? "," : "").append(QByteArray::number(first + i));
            return page.append("],\n").append(others);
        }

        static QByteArray otherColumns()
        {
            QByteArray page;
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

        std::atomic<qint64> &requests;
        PeerServer server;
        int first = 1000;
    };

    SharedCount m_requests;
    std::vector<std::unique_ptr<Peer>> m_servers;
};

/// A recorder that downloads from so many sensors without end, journals and saves.
class Recording
{
public:
    explicit Recording(int count) : m_count(count), m_requests(m_folder.filePath(QStringLiteral("requests")), true)
    {
        m_session = Session::create(m_folder.filePath(QStringLiteral("session")), nullptr);
        Recorder::Options options;
        options.savePeriodMs = savePeriodMs;
        options.lockFolder = m_folder.filePath(QStringLiteral("locks"));
        m_recorder = std::make_unique<Recorder>(m_session.get(), options);
        QProcessEnvironment lean = QProcessEnvironment::systemEnvironment();
        lean.insert(QStringLiteral("QT_NO_GLIB"), QStringLiteral("1"));
        m_peers.setProcessEnvironment(lean);
        m_peers.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--peers"), QString::number(count),
                                                                m_folder.filePath(QStringLiteral("requests"))});
        int found = 0;
        while (found < count && (m_peers.canReadLine() || m_peers.waitForReadyRead(5000))) {
            while (m_peers.canReadLine()) {
                m_recorder->addSensor(QStringLiteral("127.0.0.1"), quint16(m_peers.readLine().trimmed().toUInt()),
                                      QStringLiteral("Etch"));
                ++found;
            }
        }
        while (m_requests.isThere() && found == count && m_session->sensors().size() < count)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }

    ~Recording()
    {
        m_recorder->stop();
        m_peers.kill();
        m_peers.waitForFinished();
    }

    /// Runs until every sensor, on average, was asked so many times more. Gives the requests.
    qint64 download(int perSensor)
    {
        const qint64 before = *m_requests;
        QEventLoop loop;
        const auto check = [&] {
            if (*m_requests >= before + qint64(perSensor) * m_count)
                loop.quit();
        };
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, &loop, check);
        timer.start(5);
        loop.exec();
        return *m_requests - before;
    }

private:
    const int m_count;
    QTemporaryDir m_folder;
    SharedCount m_requests;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<Recorder> m_recorder;
    QProcess m_peers;
};

void requests(benchmark::State &state, int sensors)
{
    Recording recording(sensors);
    recording.download(20);
    for (auto _ : state)
        recording.download(requestsPerRound);
}

/// Of all threads: link, decoding, store, journal and saves.
double cpuMsPerRequest(int sensors)
{
    Recording recording(sensors);
    recording.download(20);
    const std::clock_t before = std::clock();
    const qint64 done = recording.download(3 * requestsPerRound);
    return 1000.0 * double(std::clock() - before) / CLOCKS_PER_SEC / double(done);
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
    if (argc == 4 && QByteArray(argv[1]) == "--peers") {
        const Peers peers(QByteArray(argv[2]).toInt(), QString::fromLocal8Bit(argv[3]));
        return QCoreApplication::exec();
    }
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    for (const auto &[sensors, goal] : {std::pair{1, 0.98}, std::pair{16, 0.98}, std::pair{64, 0.9}}) {
        const std::string who = sensors == 1 ? "one sensor" : "each of " + std::to_string(sensors) + " sensors";
        bench::compare(
            "100 requests of " + who + ", saving", goal, "100 ticks of 10 ms",
            [sensors = sensors](benchmark::State &state) { requests(state, sensors); }, ticks);
    }
    bench::atMost("CPU of a request, 16 sensors", 0.4, "ms", [](benchmark::State &) { return cpuMsPerRequest(16); });
    bench::atMost("CPU of a request, 64 sensors", 0.4, "ms", [](benchmark::State &) { return cpuMsPerRequest(64); });
    return bench::run(argc, argv);
}
