#include "simulator/sensorsimulator.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QTest>

#include <algorithm>

namespace {

constexpr int patienceMs = 3000;
constexpr int shortMs = 20; // for connections that stay silent
constexpr int afterMs = 4;  // for what follows a complete reply

/// What a client saw of one reply.
struct Seen
{
    QByteArray bytes;
    QString end; // "open" or "closed"; the toolkit does not tell a reset from a close
    qint64 firstByteMs = -1;
    int pieces = 0;

    QByteArray head() const { return bytes.left(bytes.indexOf("\r\n\r\n") + 4); }
    QByteArray body() const { return bytes.mid(head().size()); }
};

/// What is still missing of a reply by its Content-Length; -1 when it does not say.
qint64 missing(const Seen &seen)
{
    const int at = seen.head().indexOf("Content-Length: ");
    if (at < 0)
        return -1;
    const int value = at + 16;
    return seen.head().mid(value, seen.head().indexOf('\r', value) - value).toLongLong() - seen.body().size();
}

/// Sends one GET and collects what comes until the connection ends, the reply is complete and nothing follows, nothing
/// came for `quietMs`, or enough came.
Seen see(quint16 port, const QByteArray &target, int quietMs, int enough)
{
    Seen seen;
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    if (!socket.waitForConnected(patienceMs))
        return seen;
    QElapsedTimer timer;
    timer.start();
    socket.write("GET /service/" + target + " HTTP/1.1\r\nHost: sensor\r\n\r\n");
    int waitMs = quietMs;
    while (seen.bytes.size() < enough && socket.waitForReadyRead(waitMs)) {
        if (seen.firstByteMs < 0)
            seen.firstByteMs = timer.elapsed();
        seen.bytes += socket.readAll();
        ++seen.pieces;
        const bool complete =
            seen.bytes.contains("\r\n\r\n") && seen.bytes.size() < 65536 && missing(seen) <= 0 && missing(seen) != -1;
        waitMs = complete ? std::min(afterMs, quietMs) : quietMs;
    }
    seen.bytes += socket.readAll();
    const bool open = socket.state() == QAbstractSocket::ConnectedState;
    seen.end = open ? QStringLiteral("open") : QStringLiteral("closed");
    return seen;
}

struct Bench
{
    SimulatorOptions options;
    std::unique_ptr<SensorSimulator> simulator;

    explicit Bench(const QByteArray &plan)
    {
        options.rate = 1;
        options.arcsPerMinute = 0;
        options.faultPlan = QString::fromLatin1(plan);
        simulator = std::make_unique<SensorSimulator>(options);
        QString error;
        if (!simulator->start(&error))
            qFatal("%s", qPrintable(error));
        simulator->preload(40, 2);
    }
    Seen see(const QByteArray &target, int quietMs = patienceMs, int enough = 1 << 20)
    {
        return ::see(simulator->port(), target, quietMs, enough);
    }
};

const char dataTarget[] = "pulsedata.cgi?index=0&limit=20";

} // namespace

class tst_FaultsOnTheWire : public QObject
{
    Q_OBJECT

private slots:
    void withoutFaultsTheReplyIsGood()
    {
        Bench bench("data@2=reset");
        const Seen seen = bench.see(dataTarget);
        QVERIFY(seen.head().startsWith("HTTP/1.1 200 OK\r\n"));
        QVERIFY(seen.head().contains("Content-Length: " + QByteArray::number(seen.body().size()) + "\r\n"));
        QCOMPARE(seen.end, QStringLiteral("open"));
        QCOMPARE(bench.simulator->faultCount(), qint64(0));
    }

    void connectionFaults_data()
    {
        QTest::addColumn<QByteArray>("startsWith"); // of the head
        QTest::addColumn<QString>("end");
        QTest::addColumn<int>("bodySize"); // -1: half of the good one, -2: the good one
        const auto row = [](const char *fault, const char *head, const char *end, int bodySize) {
            QTest::newRow(fault) << QByteArray(head) << QString(QLatin1String(end)) << bodySize;
        };
        row("hang", "", "open", 0);
        row("hang-after", "", "open", 0);
        row("reset", "", "closed", 0);
        row("reset-after", "", "closed", 0);
        row("close", "", "closed", 0);
        row("close-after", "", "closed", 0);
        row("404", "HTTP/1.1 404 ", "open", 0);
        row("500", "HTTP/1.1 500 ", "open", 0);
        row("401", "HTTP/1.1 401 ", "open", 0);
        row("204", "HTTP/1.1 204 ", "open", 0);
        row("empty", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n", "open", 0);
        row("reset-body", "HTTP/1.1 200 OK\r\n", "closed", -1);
        row("close-body:7", "HTTP/1.1 200 OK\r\n", "closed", 7);
        row("close-body", "HTTP/1.1 200 OK\r\n", "closed", -1);
        row("cut", "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n", "closed", -1);
        row("cut:0", "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n", "closed", 0);
        row("no-length", "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n", "closed", -2);
        row("negative-length", "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: -1\r\n", "closed", -2);
        row("short-length", "HTTP/1.1 200 OK\r\n", "open", -2);
        row("huge-length", "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 100000000000000\r\n", "open",
            -2);
    }

    void connectionFaults()
    {
        QFETCH(QByteArray, startsWith);
        QFETCH(int, bodySize);
        Bench bench(QByteArray("data@2=") + QTest::currentDataTag());
        const int good = bench.see(dataTarget).body().size();
        QFETCH(QString, end);
        const QByteArray fault = QTest::currentDataTag();
        const bool silent = fault.startsWith("hang") || fault == "huge-length" || fault == "204";
        const Seen seen = bench.see(dataTarget, silent ? shortMs : patienceMs);
        QVERIFY2(seen.head().startsWith(startsWith), seen.head().constData());
        QCOMPARE(seen.body().size(), bodySize == -1 ? good / 2 : bodySize == -2 ? good : bodySize);
        QCOMPARE(seen.end, end);
        QCOMPARE(bench.simulator->faultCount(), qint64(1));
        QCOMPARE(bench.see(dataTarget).body().size(), good);
    }

    void announcedLengths()
    {
        Bench bench("data@1=short-length;data@2=double-length;data@3=close-body;data@4=301");
        const Seen tooShort = bench.see(dataTarget);
        QVERIFY(tooShort.head().contains("Content-Length: " + QByteArray::number(tooShort.body().size() / 2) + "\r\n"));
        QCOMPARE(bench.see(dataTarget).head().count("Content-Length: "), 2);
        const Seen closed = bench.see(dataTarget);
        QVERIFY(!closed.head().contains("Content-Length: " + QByteArray::number(closed.body().size()) + "\r\n"));
        QVERIFY(bench.see(dataTarget).head().contains("\r\nLocation: "));
    }

    void chunks()
    {
        Bench bench("info@2=chunked;info@3=bad-chunks;info@4=missing-chunks");
        const QByteArray good = bench.see("info.cgi?").body();
        const int half = good.size() / 2;
        const auto chunk = [](const QByteArray &part) {
            return QByteArray::number(part.size(), 16) + "\r\n" + part + "\r\n";
        };
        QCOMPARE(bench.see("info.cgi?", shortMs).body(), chunk(good.left(half)) + chunk(good.mid(half)) + "0\r\n\r\n");
        QVERIFY(bench.see("info.cgi?").body().startsWith(chunk(good.left(half)) + "xyz\r\n"));
        QCOMPARE(bench.see("info.cgi?").body(), chunk(good.left(half)));
    }

    void gzipUnpacksToThePage()
    {
        Bench bench("info@2=gzip");
        const QByteArray good = bench.see("info.cgi?").body();
        const Seen seen = bench.see("info.cgi?");
        QVERIFY(seen.head().contains("Content-Encoding: gzip\r\n"));
        QVERIFY(seen.body().startsWith("\x1F\x8B\x08"));
        // The toolkit unpacks the zlib form: length first, then two bytes before the same deflated data.
        QByteArray zlib(4, '\0');
        zlib[3] = char(good.size());
        zlib += "\x78\x9C" + seen.body().mid(10, seen.body().size() - 18);
        QVERIFY(qCompress(good).mid(6, zlib.size() - 6) == zlib.mid(6));
    }

    void lfOnlyHasNoCarriageReturnInItsHead()
    {
        Bench bench("info@1=lf-only");
        const QByteArray bytes = bench.see("info.cgi?", shortMs).bytes;
        QVERIFY(bytes.startsWith("HTTP/1.1 200 OK\n"));
        QVERIFY(!bytes.left(bytes.indexOf("\n\n")).contains('\r'));
    }

    void garbageIsNoHttp()
    {
        Bench bench("info@1=garbage");
        const Seen seen = bench.see("info.cgi?");
        QCOMPARE(seen.bytes.size(), 600);
        QVERIFY(!seen.bytes.startsWith("HTTP"));
    }

    void delayAndDripTakeTheirTime()
    {
        Bench bench("info@1=delay:60;info@2=drip-header:2;info@3=drip-body:2");
        const Seen late = bench.see("info.cgi?", 200);
        QVERIFY2(late.firstByteMs >= 55, qPrintable(QString::number(late.firstByteMs)));
        QVERIFY(late.body().contains("serial_number"));
        const Seen head = bench.see("info.cgi?", 200, 20);
        QVERIFY(head.pieces >= 10 && head.bytes.startsWith("HTTP/1.1 200 OK"));
        const Seen body = bench.see("info.cgi?", 200, 120);
        QVERIFY(body.pieces >= 5 && body.head().contains("Content-Length"));
    }

    void endlessRepliesGoOn_data()
    {
        QTest::addColumn<int>("emptyLines");
        QTest::newRow("endless-line") << 0;
        QTest::newRow("endless-header") << 0;
        QTest::newRow("endless-body") << 1;
    }

    void endlessRepliesGoOn()
    {
        QFETCH(int, emptyLines);
        Bench bench(QByteArray("info@1=") + QTest::currentDataTag());
        const Seen seen = bench.see("info.cgi?", 500, 4 << 20);
        QVERIFY(seen.bytes.size() >= 4 << 20);
        QCOMPARE(seen.bytes.count("\r\n\r\n"), emptyLines);
        QVERIFY(bench.see("info.cgi?").body().contains("serial_number"));
    }

    void whatIsCarriedOut_data()
    {
        QTest::addColumn<bool>("carriedOut");
        for (const char *fault : {"reset", "close", "hang", "404", "garbage", "empty"})
            QTest::newRow(fault) << false;
        for (const char *fault : {"reset-after", "close-after", "hang-after", "cut", "bad-chunks", "garble"})
            QTest::newRow(fault) << true;
    }

    void whatIsCarriedOut()
    {
        QFETCH(bool, carriedOut);
        Bench bench(QByteArray("clear@1=") + QTest::currentDataTag());
        bench.see("frame.cgi?clear_index=39", shortMs);
        QCOMPARE(bench.simulator->storedSamples(), carriedOut ? 0 : 40);
    }

    void pageFaults_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("has");
        QTest::addColumn<QByteArray>("lacks");
        const QByteArray nothing("(nothing of the kind)");
        const auto row = [](const char *fault, const char *target, const QByteArray &has, const QByteArray &lacks) {
            QTest::newRow(fault) << QByteArray(target) << has << lacks;
        };
        row("nan", dataTarget, "\"Voltage\":[NaN,", nothing);
        row("inf", "status.cgi?", "\"pcb_temperature\":Inf,\r\n", nothing);
        row("overflow", "config.cgi?", "\"signal_base_threshold\":1e400,\n", nothing);
        row("nan", "events.cgi?index=0&binary=1", QByteArray("\0\0\xC0\x7F\0\0\xC0\x7F", 8), nothing);
        row("missing-column", dataTarget, "\"P_Period\":", "nPulses");
        row("missing-column:start", "frame.cgi?", "number_of_points", "start");
        row("big-count", "frame.cgi?", "\"number_of_points\":2147483648,\r\n\"number_of_events\":2147483648\r\n",
            nothing);
        row("negative-count", "frame.cgi?", "\"number_of_points\":-1,\r\n\"number_of_events\":-1\r\n", nothing);
        row("big-count", "events.cgi?index=0&binary=1",
            "\xFF\xFF\x03"
            "E11",
            nothing);
        row("shrink", "frame.cgi?", "\"number_of_points\":20,", nothing);
        row("deep-json:5", "frame.cgi?", "[[[[[]]]]]", "[[[[[[");
        row("times-equal", "pulsedata.cgi?index=0&limit=3", "\"Time_ms\":[1000,1000,1000],", nothing);
        row("times-back", "pulsedata.cgi?index=0&limit=3", "\"Time_ms\":[3000,2000,1000],", nothing);
        row("serial:SN99", "info.cgi?", "\"serial_number\":\"SN99\",\r\n", "NVX-SIM");
    }

    void pageFaults()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, has);
        QFETCH(QByteArray, lacks);
        Bench bench(QByteArray("all@1=") + QTest::currentDataTag());
        const Seen seen = bench.see(target);
        QVERIFY2(seen.body().contains(has), seen.body().constData());
        QVERIFY2(!seen.body().contains(lacks), seen.body().constData());
        QVERIFY(seen.head().contains("Content-Length: " + QByteArray::number(seen.body().size()) + "\r\n"));
    }

    void columnsAndKeys()
    {
        Bench bench("all@1=unequal-columns;all@2=duplicate-keys:3;all@4=garble");
        const QList<QByteArray> lines = bench.see(dataTarget).body().split('\n');
        QCOMPARE(lines[1].count(','), 20);
        QCOMPARE(lines[2].count(','), 19);
        QCOMPARE(bench.see("frame.cgi?").body().count("\"start\":"), 3);
        const QByteArray good = bench.see("info.cgi?").body();
        const QByteArray garbled = bench.see("info.cgi?").body();
        QCOMPARE(garbled.size(), good.size());
        QVERIFY(garbled != good);
    }

    void planChangesWhileItRuns()
    {
        Bench bench("");
        QString error;
        QVERIFY(!bench.simulator->setFaultPlan(QStringLiteral("info@1=nonsense"), &error));
        QVERIFY(error.contains(QStringLiteral("nonsense")));
        QVERIFY(bench.simulator->setFaultPlan(QStringLiteral("info@*=500")));
        QVERIFY(bench.see("info.cgi?").head().contains(" 500 "));
        QVERIFY(bench.simulator->setFaultPlan(QString()));
        QVERIFY(bench.see("info.cgi?").head().contains(" 200 "));
    }

    void newPlanEndsAnAbsence()
    {
        Bench bench("off@0s=1000s");
        QTRY_COMPARE_WITH_TIMEOUT(bench.see("info.cgi?").end, QString(), patienceMs);
        QVERIFY(bench.simulator->setFaultPlan(QString()));
        QVERIFY(bench.see("info.cgi?").head().contains(" 200 "));
    }

    void badPlanDoesNotStart()
    {
        SimulatorOptions options;
        options.faultPlan = QStringLiteral("data@x=reset");
        SensorSimulator simulator(options);
        QString error;
        QVERIFY(!simulator.start(&error));
        QVERIFY(error.contains(QStringLiteral("'x'")));
    }

    void plannedReboot()
    {
        Bench bench("reboot@10ms");
        QTRY_COMPARE_WITH_TIMEOUT(bench.simulator->ledger().samples.value(0).lost, true, patienceMs);
        QCOMPARE(bench.simulator->storedSamples(), 0);
    }

    void plannedAbsenceAndOtherSerial()
    {
        Bench bench("off@0s=600ms;serial@0s=SN2");
        QTRY_COMPARE_WITH_TIMEOUT(bench.see("info.cgi?").end, QString(), patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(bench.see("info.cgi?").body().contains("\"SN2\""), patienceMs);
        QCOMPARE(bench.simulator->storedSamples(), 40);
    }
};

QTEST_GUILESS_MAIN(tst_FaultsOnTheWire)
#include "tst_faultsonthewire.moc"
