#include "sensor/fakepeer.h"
#include "sensor/sensorrequest.h"
#include "sensor/sensorworker.h"

#include <QtTest>

#include <memory>
#include <utility>

namespace {

const QString host = QStringLiteral("127.0.0.1");

/// A worker with its outcomes noted as words: "reply <kind> <body>", "error <kind> <body>", "time-out <kind>".
class Link : public QObject
{
public:
    explicit Link(quint16 port, int timeoutMs = 150) : m_port(port), worker(timeoutMs, 5)
    {
        connect(&worker, &SensorWorker::processReply, this,
                [this](const QByteArray &data, const QUrl &url) { note("reply", url, data); });
        connect(&worker, &SensorWorker::processReplyError, this,
                [this](const QByteArray &data, const QUrl &url) { note("error", url, data); });
        connect(&worker, &SensorWorker::replyTimedOut, this,
                [this] { note("time-out", worker.takeTimedOutUrl(), {}); });
    }

    int get(eMessage kind, const QString &query = {})
    {
        return worker.queueGet(sensorrequest::downloadUrl(host, m_port, sensorrequest::page(kind), query));
    }

    int post(eMessage kind, const QByteArray &body)
    {
        return worker.queuePost(sensorrequest::uploadUrl(host, m_port, sensorrequest::page(kind)), body);
    }

    /// Waits until `count` outcomes came, and a little longer for one too many.
    QStringList outcomes(int count)
    {
        waitUntil([&] { return m_outcomes.size() >= count; }, 2000);
        waitUntil([] { return false; }, 5);
        return std::exchange(m_outcomes, {});
    }

private:
    void note(const char *what, const QUrl &url, const QByteArray &data)
    {
        m_outcomes += QStringLiteral("%1 %2 %3")
                          .arg(QLatin1String(what))
                          .arg(int(sensorrequest::classify(url)))
                          .arg(QString::fromLatin1(data.left(40)))
                          .trimmed();
    }

    const quint16 m_port;
    QStringList m_outcomes;

public:
    SensorWorker worker;
};

PeerAnswer raw(const QByteArray &bytes, PeerAnswer::After after = PeerAnswer::KeepOpen)
{
    PeerAnswer answer;
    answer.bytes = bytes;
    answer.after = after;
    return answer;
}

} // namespace

Q_DECLARE_METATYPE(PeerAnswer)

class TestSensorWorker : public QObject
{
    Q_OBJECT

private slots:
    void requestsOnTheWire();
    void uploadsOvertake();
    void uploadsWithoutContent();
    void outcomes_data();
    void outcomes();
    void sentOnce_data();
    void sentOnce();
    void oversizedReplies();
    void timeOutThenNext();
    void dropsOnlyDownloads();
    void stopsAndStartsAgain();
    void signalOrder();
    void cleanupTestCase();

private:
    std::unique_ptr<FakePeer> m_peer;
    std::unique_ptr<Link> m_link;
};

void TestSensorWorker::requestsOnTheWire()
{
    FakePeer peer([](const PeerRequest &) { return PeerAnswer::ok("{}"); });
    Link link(peer.port());
    QCOMPARE(link.get(eMessage::Info), 1);
    QCOMPARE(link.get(eMessage::Frame, sensorrequest::clearQuery(44)), 2);
    QCOMPARE(link.post(eMessage::EventTrigger, sensorrequest::snapshotTrigger()), 1);
    QCOMPARE(link.post(eMessage::Recipe, "{1}"), 2);
    QCOMPARE(link.worker.pendingCount(), 4);
    QVERIFY(link.worker.busy());
    link.worker.start();
    QCOMPARE(link.outcomes(4).size(), 4);
    QVERIFY(!link.worker.busy());
    QCOMPARE(link.worker.pendingCount(), 0);

    QCOMPARE(peer.requests().size(), 4);
    const PeerRequest &trigger = peer.requests().at(0);
    QCOMPARE(trigger.line, QByteArray("POST /service/eventtrigger.cgi?"));
    QCOMPARE(trigger.body, QByteArray("{\r\n\"trigger\":\"SNAP\"\r\n}"));
    QVERIFY(trigger.head.contains("Content-Type: application/json"));
    QVERIFY(trigger.head.contains("Content-Length: 22"));
    const PeerRequest &recipe = peer.requests().at(1);
    QCOMPARE(recipe.line, QByteArray("POST /service/recipe.cgi?"));
    QCOMPARE(recipe.body, QByteArray("{1}"));
    QCOMPARE(peer.requests().at(2).line, QByteArray("GET /service/info.cgi?"));
    QVERIFY(peer.requests().at(2).head.contains("Accept-Encoding: identity"));
    QCOMPARE(peer.requests().at(3).line, QByteArray("GET /service/frame.cgi?clear_index=44"));
    QVERIFY(peer.requests().at(3).body.isEmpty());
}

void TestSensorWorker::uploadsOvertake()
{
    FakePeer peer([](const PeerRequest &) { return PeerAnswer::ok("{}"); });
    Link link(peer.port());
    for (int i = 0; i < 10; ++i)
        link.get(eMessage::Data, sensorrequest::dataQuery(quint64(i), 20));
    connect(&peer, &FakePeer::requested, &peer, [&] {
        if (peer.requests().size() == 3)
            link.post(eMessage::Config, "{}");
    });
    link.worker.start();
    QCOMPARE(link.outcomes(11).size(), 11);
    QStringList order = peer.lines();
    QCOMPARE(order.takeAt(3), QStringLiteral("config.cgi"));
    for (int i = 0; i < 10; ++i)
        QCOMPARE(order.at(i), QStringLiteral("pulsedata.cgi index=%1&limit=20").arg(i));
}

void TestSensorWorker::uploadsWithoutContent()
{
    FakePeer peer([](const PeerRequest &) { return raw("HTTP/1.1 204 x\r\n\r\n"); });
    Link link(peer.port());
    link.post(eMessage::Recipe, "{}");
    link.post(eMessage::EventTrigger, sensorrequest::snapshotTrigger());
    link.worker.start();
    QCOMPARE(link.outcomes(2), QStringList({QStringLiteral("reply 7"), QStringLiteral("reply 8")}));
}

void TestSensorWorker::outcomes_data()
{
    QTest::addColumn<PeerAnswer>("answer");
    QTest::addColumn<QString>("outcome");
    const auto row = [](const char *name, const PeerAnswer &answer, const char *outcome) {
        QTest::newRow(name) << answer << QString::fromLatin1(outcome);
    };
    row("body", PeerAnswer::ok("hello"), "reply 2 hello");
    row("empty body", PeerAnswer::ok(""), "reply 2");
    row("chunks", raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"), "reply 2 abc");
    row("body until close", raw("HTTP/1.0 200 OK\r\n\r\nabc", PeerAnswer::Close), "reply 2 abc");
    row("not found", PeerAnswer::status(404, sensorrequest::notFoundPage()),
        "error 2 <html><body><h1>HTTP/1.0 404 - File Not");
    row("server error", PeerAnswer::status(500, "oops"), "error 2 oops");
    row("login wanted", PeerAnswer::status(401, "who"), "error 2 who");
    row("no content", raw("HTTP/1.1 204 x\r\n\r\n"), "error 2");
    row("moved", raw("HTTP/1.1 301 x\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 1\r\n\r\nx"), "error 2 x");
    row("part of a body", raw("HTTP/1.1 206 x\r\nContent-Length: 1\r\n\r\nx"), "error 2 x");
    row("closed before the end", raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", PeerAnswer::Close),
        "error 2 abc");
    row("length is negative", raw("HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nabc", PeerAnswer::Close),
        "error 2 abc");
    row("length is a word", raw("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nabc", PeerAnswer::Close),
        "error 2 abc");
    row("length said twice",
        raw("HTTP/1.1 200 OK\r\nContent-Length: 3\r\nContent-Length: 9\r\n\r\nabc", PeerAnswer::Close), "error 2 abc");
    row("reset", raw("", PeerAnswer::Reset), "error 2");
    row("closed without a word", raw("", PeerAnswer::Close), "error 2");
    row("reset in the head", raw("HTTP/1.1 200 OK\r\nContent-", PeerAnswer::Reset), "error 2");
    const QByteArray much(100'000, 'x');
    row("first line without end", raw("HTTP/1.1 200 " + much), "error 2");
    row("header without end", raw("HTTP/1.1 200 OK\r\n" + QByteArray("X-Filler: 0123\r\n").repeated(10'000)),
        "error 2");
    QByteArray names;
    for (int i = 0; i < 300; ++i)
        names += QByteArray::number(i) + ":\r\n";
    row("too many headers", raw("HTTP/1.1 200 OK\r\n" + names + "Content-Length: 0\r\n\r\n"), "error 2");
    row("chunk size without end", raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3;" + much), "error 2");
    row("chunk size is a word", raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\nx\r\n"),
        "error 2 abc");
    row("after another head", raw("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"),
        "reply 2 abc");
    row("more than announced", raw("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcdef"), "reply 2 abc");
    row("no HTTP", raw("SSH-2.0-x\r\n"), "error 2");
    row("compressed all the same", raw("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc"),
        "error 2 abc");
    row("length of 10^14", raw("HTTP/1.1 200 OK\r\nContent-Length: 100000000000000\r\n\r\nabc"), "time-out 2");
    row("silence", PeerAnswer::silence(), "time-out 2");
    PeerAnswer drip = PeerAnswer::ok("a long answer, one byte at a time");
    drip.dripMs = 10;
    row("drip", drip, "time-out 2");
}

void TestSensorWorker::outcomes()
{
    QFETCH(PeerAnswer, answer);
    QFETCH(QString, outcome);
    // One worker meets all of these in turn; none may leave a trace in the next.
    static FakePeer peer({});
    static Link link(peer.port());
    peer.setScript(
        [&](const PeerRequest &request) { return request.line.contains("frame") ? answer : PeerAnswer::ok("next"); });
    if (!link.worker.isRunning())
        link.worker.start();
    link.get(eMessage::Frame);
    link.get(eMessage::Info);
    QCOMPARE(link.outcomes(2), QStringList({outcome, QStringLiteral("reply 1 next")}));
}

void TestSensorWorker::sentOnce_data()
{
    QTest::addColumn<int>("after");
    QTest::addColumn<bool>("upload");
    for (const bool upload : {false, true}) {
        const char *const what = upload ? "trigger" : "clear";
        QTest::addRow("%s, closed without an answer", what) << int(PeerAnswer::Close) << upload;
        QTest::addRow("%s, reset", what) << int(PeerAnswer::Reset) << upload;
    }
}

// An ordinary request is sent again when the connection turns out to be closed; a repeated clear would let the sensor
// drop samples that were never seen.
void TestSensorWorker::sentOnce()
{
    QFETCH(int, after);
    QFETCH(bool, upload);
    int seen = 0;
    FakePeer peer([&](const PeerRequest &request) {
        if (request.line.contains("info"))
            return PeerAnswer::ok("{}");
        ++seen;
        return raw("", PeerAnswer::After(after));
    });
    Link link(peer.port());
    link.worker.start();
    // A connection that is open already, as in the middle of a download.
    link.get(eMessage::Info);
    QCOMPARE(link.outcomes(1).size(), 1); // its answer
    if (upload)
        link.post(eMessage::EventTrigger, sensorrequest::snapshotTrigger());
    else
        link.get(eMessage::Frame, sensorrequest::clearQuery(44));
    const QStringList outcomes = link.outcomes(1);
    QCOMPARE(outcomes.size(), 1);
    QVERIFY2(outcomes.first().startsWith(QLatin1String("error")), qPrintable(outcomes.first()));
    waitUntil([] { return false; }, 30);
    QCOMPARE(seen, 1);
}

void TestSensorWorker::oversizedReplies()
{
    const QByteArray big(1024 * 1024 + 1, 'x');
    const auto endless = raw("HTTP/1.1 200 OK\r\n\r\n" + big + big);
    FakePeer peer([&](const PeerRequest &request) {
        if (request.line.contains("status"))
            return endless;
        return PeerAnswer::ok(request.line.contains("frame") ? big : big.left(1024 * 1024));
    });
    Link link(peer.port(), 1000);
    link.get(eMessage::Frame);
    link.get(eMessage::Status);
    link.get(eMessage::Info);
    link.get(eMessage::Events, sensorrequest::eventQuery(0));
    link.worker.start();
    const QStringList outcomes = link.outcomes(4);
    QCOMPARE(outcomes.size(), 4);
    QCOMPARE(outcomes.at(0), QStringLiteral("error 2"));
    QCOMPARE(outcomes.at(1), QStringLiteral("error 3"));
    QVERIFY(outcomes.at(2).startsWith(QLatin1String("reply 1 xxx")));
    QVERIFY(outcomes.at(3).startsWith(QLatin1String("reply 5 xxx")));
}

void TestSensorWorker::timeOutThenNext()
{
    FakePeer peer([](const PeerRequest &request) {
        if (!request.line.contains("info"))
            return PeerAnswer::ok("{}");
        // The answer comes after the deadline; it must not be taken for that of the next request.
        PeerAnswer late = PeerAnswer::ok("late");
        late.delayMs = 80;
        return late;
    });
    Link link(peer.port(), 50);
    link.get(eMessage::Info);
    link.get(eMessage::Status);
    QElapsedTimer time;
    time.start();
    link.worker.start();
    QVERIFY(waitUntil([&] { return peer.requests().size() >= 2; }, 1000));
    QVERIFY2(time.elapsed() >= 45, "before its deadline");
    waitUntil([] { return false; }, 50);
    QCOMPARE(link.outcomes(2), QStringList({QStringLiteral("time-out 1"), QStringLiteral("reply 3 {}")}));
}

void TestSensorWorker::dropsOnlyDownloads()
{
    FakePeer peer([](const PeerRequest &) { return PeerAnswer::ok("{}"); });
    Link link(peer.port());
    link.get(eMessage::Info);
    link.get(eMessage::Frame);
    link.post(eMessage::Config, "{}");
    QCOMPARE(link.worker.dropQueuedGets(), 2);
    QCOMPARE(link.worker.pendingCount(), 1);
    link.worker.start();
    QCOMPARE(link.outcomes(1), QStringList(QStringLiteral("reply 6 {}")));
}

void TestSensorWorker::stopsAndStartsAgain()
{
    FakePeer peer([](const PeerRequest &request) {
        return request.line.contains("frame") ? PeerAnswer::silence() : PeerAnswer::ok("{}");
    });
    Link link(peer.port(), 5000);
    link.worker.start();
    link.get(eMessage::Frame);
    link.get(eMessage::Info);
    QTRY_COMPARE(peer.requests().size(), 1);
    QElapsedTimer time;
    time.start();
    link.worker.stop();
    QVERIFY2(time.elapsed() < 1900, "a request in flight held the stop up");
    QVERIFY(!link.worker.busy());
    link.worker.start();
    link.get(eMessage::Status);
    QCOMPARE(link.outcomes(1), QStringList(QStringLiteral("reply 3 {}")));
    link.worker.stop();
    link.worker.stop();
}

void TestSensorWorker::signalOrder()
{
    const QMetaObject &meta = SensorWorker::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names += QString::fromLatin1(meta.method(i).name());
    QCOMPARE(names.mid(0, 7).join(QLatin1Char(' ')),
             QStringLiteral("processReply replyTimedOut processReplyError replyReceived replyError replyTimeout "
                            "dispatchQueuedRequests"));
}

void TestSensorWorker::cleanupTestCase()
{
    m_link.reset();
    m_peer.reset();
}

QTEST_GUILESS_MAIN(TestSensorWorker)
#include "tst_sensorworker.moc"
