#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "sensor/arcsensor.h"
#include "sensor/fakesensor.h"
#include "sensor/sensorrequest.h"
#include "sensor/webservice.h"

#include <QtTest>

namespace {

LinkTimings quick()
{
    LinkTimings timings;
    timings.retryWait = 40;
    timings.pollPeriod = 20;
    timings.replyTimeout = 400;
    timings.dispatchInterval = 1;
    return timings;
}

/// A log that keeps its answers back until the test gives them.
class HeldLog final : public DurableLog
{
public:
    void append(const QString &, Record, const QByteArray &) override {}
    void whenDurable(QObject *context, std::function<void(bool)> done) override
    {
        waiting.append({QPointer<QObject>(context), std::move(done)});
    }
    void answer(bool ok)
    {
        const auto now = std::exchange(waiting, {});
        for (const auto &request : now) {
            if (request.first)
                request.second(ok);
        }
    }

    QVector<std::pair<QPointer<QObject>, std::function<void(bool)>>> waiting;
};

/// A connection to a fake sensor with what it said.
class Connection
{
public:
    explicit Connection(FakeSensor &peer, bool withStore = true)
        : store(std::make_shared<norvexData>()), link(QStringLiteral("127.0.0.1"), peer.port(), quick())
    {
        store->setSensorSerial(QStringLiteral("SN1"));
        store->setFolderName(QStringLiteral("SN1"));
        if (withStore)
            link.setStore(store);
        QObject::connect(&link, &arcSensor::stateChange, &link,
                         [this](int state) { states += QString::number(state); });
        QObject::connect(&link, &arcSensor::statusUpdate, &link, [this](const QString &text) {
            if (text != QLatin1String("New Frame") && text != QLatin1String("New Status"))
                texts += text;
        });
        QObject::connect(&link, &arcSensor::downloadStatus, &link, [this](int a, int b, int c, int e) {
            progress += QStringLiteral("%1/%2 %3/%4").arg(a).arg(b).arg(c).arg(e);
        });
        QObject::connect(&link, &arcSensor::uploadFinished, &link, [this](int kind, bool ok, const QString &) {
            uploads += QStringLiteral("%1 %2").arg(kind).arg(ok ? QLatin1String("ok") : QLatin1String("failed"));
        });
        QObject::connect(&link, &arcSensor::configUpdated, &link, [this] { ++configurations; });
        QObject::connect(&link, &arcSensor::recipeUpdated, &link, [this] { ++recipes; });
    }

    QVector<quint64> times() const
    {
        QVector<SamplePoint> samples;
        store->samplesInRange(0, ~quint64(0), samples);
        QVector<quint64> out;
        for (const SamplePoint &sample : samples)
            out += sample.time;
        return out;
    }

    std::shared_ptr<norvexData> store;
    QString states;
    QStringList texts;
    QStringList progress;
    QStringList uploads;
    int configurations = 0;
    int recipes = 0;
    arcSensor link;
};

PeerAnswer failure(const PeerRequest &)
{
    return PeerAnswer::status(500, "no");
}

PeerAnswer notFound(const PeerRequest &)
{
    return PeerAnswer::status(404, sensorrequest::notFoundPage());
}

PeerAnswer hangUp(const PeerRequest &)
{
    PeerAnswer answer;
    answer.after = PeerAnswer::Close;
    return answer;
}

/// Whole, but its only sample was measured at no time.
QByteArray pageWithoutTime()
{
    QByteArray page = "{\n\"Time_ms\":[never],\n";
    for (const char *column : {"Voltage", "Current_Ir", "Current_Ii", "nPulses", "P_Period", "P_1T_on", "P_1V_max",
                               "P_1V_min", "P_1V_avg", "P_1I_max", "P_1I_min", "P_1I_avg"})
        page += '"' + QByteArray(column) + "\":[1],\n";
    return page + "}\n";
}

const QString firstPage = QStringLiteral("pulsedata.cgi index=0&limit=20");
constexpr int patience = 3000;

} // namespace

#define WAIT_FOR(condition) QVERIFY(waitUntil([&] { return condition; }, patience))

class TestArcSensor : public QObject
{
    Q_OBJECT

private slots:
    void downloadsAFrame();
    void smallFramesStay();
    void eventsInStep();
    void missingDataPage_data();
    void missingDataPage();
    void missingBothDataPages();
    void failedDataPageSwitches();
    void pagesWithoutRecord_data();
    void pagesWithoutRecord();
    void configurationFailsForEver();
    void unreachableThenBack();
    void answersTooLate();
    void lostClearIsNotRepeated();
    void clearWaitsForTheDisk();
    void diskFailsThenRecovers();
    void memoryResetDropsTheFrame();
    void reconnectKeepsTimesAndDoublesNothing_data();
    void reconnectKeepsTimesAndDoublesNothing();
    void restartedSensorGetsANewTimeLine();
    void unreadablePagesLoseNothing();
    void strayRepliesChangeNothing();
    void uploads();
    void uploadsThatFail();
    void recipeFrequencies_data();
    void recipeFrequencies();
    void clearsOnRequest();
    void anotherSerial();
    void verifiesWithoutAStore();
    void stopIsSilentAndFinal();
    void receiversMayDoAnything();
    void signalOrder();
};

void TestArcSensor::downloadsAFrame()
{
    FakeSensor peer;
    peer.produce(45);
    Connection c(peer);
    QCOMPARE(c.link.state(), 0);
    WAIT_FOR(!peer.clears.isEmpty() && c.states == QLatin1String("121"));
    QCOMPARE(
        peer.asked().mid(0, 9),
        QStringList({QStringLiteral("info.cgi"), QStringLiteral("status.cgi"), QStringLiteral("config.cgi"),
                     QStringLiteral("recipe.cgi"), QStringLiteral("frame.cgi"), firstPage,
                     QStringLiteral("pulsedata.cgi index=20&limit=20"),
                     QStringLiteral("pulsedata.cgi index=40&limit=5"), QStringLiteral("frame.cgi clear_index=44")}));
    QCOMPARE(peer.clears, QVector<int>({44}));
    QCOMPARE(c.times().size(), 45);
    QCOMPARE(c.texts, QStringList({QStringLiteral("Connecting"), QStringLiteral("Connected")}));
    QCOMPARE(c.progress,
             QStringList({QStringLiteral("0/45 0/0"), QStringLiteral("20/45 0/0"), QStringLiteral("40/45 0/0")}));
    QCOMPARE(c.configurations, 1);
    QCOMPARE(c.recipes, 1);
    QCOMPARE(c.store->recipe().recipeName(), QStringLiteral("Etch"));
    QCOMPARE(c.link.operatingFrequency(), 13000000);
    QVERIFY(c.store->isConnected());
    // The sensor is up for a minute, so its clock began a minute ago.
    const qint64 base = c.store->timeLine().baseUs;
    QVERIFY(qAbs(base / 1000 + 60'000 - QDateTime::currentMSecsSinceEpoch()) < 2000);
    QCOMPARE(c.times().first(), quint64(base + 1'000'000));
}

void TestArcSensor::smallFramesStay()
{
    FakeSensor peer;
    peer.produce(6);
    Connection c(peer);
    WAIT_FOR(peer.count(QStringLiteral("frame.cgi")) >= 4);
    QCOMPARE(c.states, QStringLiteral("1"));
    QVERIFY(peer.clears.isEmpty());
    QVERIFY(c.progress.isEmpty());
    peer.produce(1);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.clears, QVector<int>({6}));
}

void TestArcSensor::eventsInStep()
{
    FakeSensor peer;
    peer.produce(30);
    for (int i = 0; i < 12; ++i)
        peer.events.append({1'000'000 + i, 4, "E22"});
    peer.events[1].name = "E99"; // no type of ours: counted and dropped
    peer.events[2].code = 300;   // its name decides
    peer.events[4] = peer.events[3];
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    QStringList expected;
    for (int i = 0; i < 10; ++i)
        expected += QStringLiteral("events.cgi index=%1&binary=1").arg(i);
    expected +=
        {firstPage, QStringLiteral("pulsedata.cgi index=20&limit=10"), QStringLiteral("events.cgi index=10&binary=1"),
         QStringLiteral("events.cgi index=11&binary=1"), QStringLiteral("frame.cgi clear_index=29")};
    QCOMPARE(peer.asked().mid(5, expected.size()), expected);
    QCOMPARE(c.progress.first(), QStringLiteral("0/30 0/10"));
    const QVector<EventRecord> events = c.store->eventsInRange(0, ~quint64(0));
    QCOMPARE(events.size(), 10);
    for (const EventRecord &event : events)
        QCOMPARE(event.typeCode, int(eventtype::E22));
    QCOMPARE(events.first().time, quint64(c.store->timeLine().baseUs + 1'000'000));
    const QVector<SamplePoint> waveform = c.store->waveform(keyOf(events.first()));
    QCOMPARE(waveform.size(), 2);
    QCOMPARE(waveform.at(0).voltage, 7.0);
    QCOMPARE(waveform.at(1).time, events.first().time + 1);
    QCOMPARE(waveform.at(1).currentImaginary, 3.0);
}

void TestArcSensor::missingDataPage_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("as an error") << 404;
    QTest::newRow("as an ordinary reply") << 200;
}

void TestArcSensor::missingDataPage()
{
    QFETCH(int, code);
    FakeSensor peer;
    peer.produce(25);
    peer.other["pulsedata.cgi"] = [code](const PeerRequest &) {
        return PeerAnswer::status(code, sensorrequest::notFoundPage());
    };
    Connection c(peer);
    QTest::ignoreMessage(QtDebugMsg, "arcSensor::processDownloadState: sensor page for eMessage=4 does not exist");
    QTest::ignoreMessage(QtDebugMsg,
                         "arcSensor::replyError: data recieve error. Webservice service/pulsedata.cgi did not reply, "
                         "probably because an old norvex is being used. Switching to alternative data webservice: "
                         "service/databis.cgi");
    WAIT_FOR(!peer.clears.isEmpty());
    QVERIFY(c.link.usesOldDataPage());
    QCOMPARE(peer.count(firstPage), 1);
    QCOMPARE(peer.count(QStringLiteral("databis.cgi index=0&limit=20")), 1);
    QCOMPARE(c.states, QStringLiteral("121"));
    QCOMPARE(c.times().size(), 25);
}

void TestArcSensor::missingBothDataPages()
{
    FakeSensor peer;
    peer.produce(25);
    int failures = 1;
    peer.other["pulsedata.cgi"] = [&](const PeerRequest &request) {
        if (failures-- > 0)
            return failure(request);
        peer.other.remove("pulsedata.cgi");
        return PeerAnswer::status(503, "again");
    };
    peer.other["databis.cgi"] = notFound;
    Connection c(peer);
    // A glitch of a sensor without the older page: it must come back to the current one by itself.
    WAIT_FOR(!peer.clears.isEmpty());
    QVERIFY(!c.link.usesOldDataPage());
    QCOMPARE(c.times().size(), 25);
}

void TestArcSensor::failedDataPageSwitches()
{
    FakeSensor peer;
    peer.produce(7);
    peer.other["pulsedata.cgi"] = failure;
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    QVERIFY(c.link.usesOldDataPage());
    QCOMPARE(c.states, QStringLiteral("120121"));
    QCOMPARE(c.texts.mid(2), QStringList({QStringLiteral("Disconnected"), QStringLiteral("Reconnecting"),
                                          QStringLiteral("Connecting"), QStringLiteral("Connected")}));
}

void TestArcSensor::pagesWithoutRecord_data()
{
    QTest::addColumn<QByteArray>("page");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("states");
    const auto row = [](const char *name, const char *page, const QByteArray &body, int code, const char *states) {
        QTest::newRow(name) << QByteArray(page) << body << code << QString::fromLatin1(states);
    };
    row("no configuration page", "config.cgi", sensorrequest::notFoundPage(), 404, "121");
    row("no recipe page", "recipe.cgi", sensorrequest::notFoundPage(), 404, "121");
    row("unreadable configuration", "config.cgi", "{\"a\":1}", 200, "121");
    row("unreadable recipe", "recipe.cgi", "{\"result\":\"ok\"}", 200, "121");
    row("unreadable status", "status.cgi", "<html>", 200, "10121"); // a failed reply, but only once
    row("no status page", "status.cgi", sensorrequest::notFoundPage(), 404, "121");
}

void TestArcSensor::pagesWithoutRecord()
{
    QFETCH(QByteArray, page);
    QFETCH(QByteArray, body);
    QFETCH(int, code);
    FakeSensor peer;
    peer.produce(20);
    peer.other[page] = [=](const PeerRequest &) { return PeerAnswer::status(code, body); };
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    QTEST(c.states, "states");
    QCOMPARE(c.times().size(), 20);
    QCOMPARE(c.store->recipe().recipeName(), page != "recipe.cgi" ? QStringLiteral("Etch")
                                             : code == 404        ? QStringLiteral("DefaultRecipe")
                                                                  : QString());
}

void TestArcSensor::configurationFailsForEver()
{
    FakeSensor peer;
    peer.produce(20);
    peer.other["config.cgi"] = failure;
    peer.other["recipe.cgi"] = failure;
    Connection c(peer);
    // Each of the two costs one reconnect and no more.
    WAIT_FOR(!peer.clears.isEmpty());
    QVERIFY2(c.states.count(QLatin1Char('0')) <= 3, qPrintable(c.states));
    QCOMPARE(c.store->recipe().recipeName(), QStringLiteral("DefaultRecipe"));
    QCOMPARE(c.times().size(), 20);
}

void TestArcSensor::unreachableThenBack()
{
    FakeSensor peer;
    peer.produce(20);
    peer.other["info.cgi"] = hangUp;
    Connection c(peer);
    WAIT_FOR(c.texts.count(QStringLiteral("Connecting")) >= 2);
    QCOMPARE(c.texts.mid(0, 4), QStringList({QStringLiteral("Connecting"), QStringLiteral("Disconnected"),
                                             QStringLiteral("Reconnecting"), QStringLiteral("Connecting")}));
    QCOMPARE(c.states.left(1), QStringLiteral("0"));
    peer.other.clear();
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(c.link.retryRemainingMs(), -1);
}

void TestArcSensor::answersTooLate()
{
    FakeSensor peer;
    peer.produce(20);
    bool slow = true;
    peer.other["pulsedata.cgi"] = [&](const PeerRequest &) {
        slow = false;
        peer.other.remove("pulsedata.cgi");
        return PeerAnswer::silence();
    };
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    QVERIFY(!slow);
    QVERIFY2(!c.link.usesOldDataPage(), "a late answer is no missing page");
    QVERIFY(c.texts.contains(QStringLiteral("Connection timed out")));
    QVERIFY(!c.texts.contains(QStringLiteral("Disconnected")));
    QCOMPARE(c.states, QStringLiteral("120121"));
}

void TestArcSensor::lostClearIsNotRepeated()
{
    FakeSensor peer;
    peer.produce(45);
    bool lost = false;
    peer.other["frame.cgi"] = [&](const PeerRequest &request) {
        if (!request.line.contains("clear_index"))
            return PeerAnswer::ok("{\"start\":0,\"number_of_points\":" + QByteArray::number(peer.rawMs.size()) + "}");
        // The sensor carries the clear out, new samples come, and the answer is lost.
        lost = true;
        peer.clears.append(-1);
        peer.rawMs.clear();
        peer.produce(30);
        peer.other.clear();
        return hangUp(request);
    };
    Connection c(peer);
    WAIT_FOR(peer.clears.size() >= 2);
    QVERIFY(lost);
    QCOMPARE(peer.count(QStringLiteral("frame.cgi clear_index=44")), 1);
    QCOMPARE(peer.clears, QVector<int>({-1, 29}));
    QCOMPARE(c.times().size(), 75);
    QCOMPARE(c.states, QStringLiteral("1210121"));
}

void TestArcSensor::clearWaitsForTheDisk()
{
    FakeSensor peer;
    peer.produce(20);
    HeldLog log;
    Connection c(peer);
    c.store->setDurableLog(&log);
    WAIT_FOR(!log.waiting.isEmpty());
    const int before = peer.asked().size();
    waitUntil([] { return false; }, 100);
    QCOMPARE(peer.asked().size(), before);
    QVERIFY(peer.clears.isEmpty());
    log.answer(true);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.clears, QVector<int>({19}));
    c.link.stop();
    c.store->setDurableLog(nullptr);
}

void TestArcSensor::diskFailsThenRecovers()
{
    FakeSensor peer;
    peer.produce(20);
    HeldLog log;
    Connection c(peer);
    c.store->setDurableLog(&log);
    WAIT_FOR(!log.waiting.isEmpty());
    log.answer(false);
    // The frame is downloaded again and nothing is doubled by that.
    WAIT_FOR(!log.waiting.isEmpty());
    QCOMPARE(peer.count(firstPage), 2);
    QVERIFY(peer.clears.isEmpty());
    log.answer(true);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(c.times().size(), 20);
    QVERIFY(!c.states.contains(QLatin1Char('0')));
    c.link.stop();
    c.store->setDurableLog(nullptr);
}

void TestArcSensor::memoryResetDropsTheFrame()
{
    FakeSensor peer;
    peer.produce(45);
    HeldLog log;
    Connection c(peer);
    c.store->setDurableLog(&log);
    WAIT_FOR(!log.waiting.isEmpty());
    // While the disk works the sensor throws its memory away; the indices now mean other samples.
    peer.fifoResets = 1;
    peer.rawMs.clear();
    peer.produce(60);
    waitUntil([] { return false; }, 350);
    log.answer(true);
    WAIT_FOR(!log.waiting.isEmpty());
    QVERIFY(peer.clears.isEmpty());
    log.answer(true);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.clears.first(), 59);
    QCOMPARE(c.times().size(), 105);
    c.link.stop();
    c.store->setDurableLog(nullptr);
}

void TestArcSensor::reconnectKeepsTimesAndDoublesNothing_data()
{
    QTest::addColumn<int>("delayMs"); // of the configuration at the first connect
    QTest::addColumn<int>("moreUptimeMs");
    QTest::newRow("later") << 0 << 700;
    QTest::newRow("uptime in whole seconds") << 60 << 0;
}

void TestArcSensor::reconnectKeepsTimesAndDoublesNothing()
{
    QFETCH(int, delayMs);
    QFETCH(int, moreUptimeMs);
    FakeSensor peer;
    peer.other["config.cgi"] = [&](const PeerRequest &) {
        PeerAnswer answer = PeerAnswer::ok(peer.configuration);
        answer.delayMs = delayMs;
        return answer;
    };
    peer.produce(45);
    peer.events.append({1'000'000, 0, "E11"});
    Connection c(peer);
    const auto cut = QObject::connect(&c.link, &arcSensor::dataUpdated, &c.link, [&] {
        peer.other["pulsedata.cgi"] = [](const PeerRequest &) { return PeerAnswer::silence(); };
    });
    WAIT_FOR(c.states.contains(QLatin1Char('0')));
    const qint64 base = c.store->timeLine().baseUs;
    QCOMPARE(c.times().size(), 20);
    QVERIFY(peer.clears.isEmpty());
    QObject::disconnect(cut);
    peer.other.clear();
    peer.uptimeMs += moreUptimeMs;
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(c.store->timeLine().baseUs, base);
    QCOMPARE(c.times().size(), 45);
    QCOMPARE(c.store->eventCount(), 1);
}

void TestArcSensor::restartedSensorGetsANewTimeLine()
{
    FakeSensor peer;
    peer.produce(20);
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    const qint64 base = c.store->timeLine().baseUs;
    peer.restart();
    peer.produce(20);
    WAIT_FOR(peer.clears.size() >= 2);
    QVERIFY(c.store->timeLine().baseUs > base + 50'000'000);
    QCOMPARE(c.times().size(), 40);
}

void TestArcSensor::unreadablePagesLoseNothing()
{
    FakeSensor peer;
    peer.produce(20);
    int bad = 7;
    peer.other["pulsedata.cgi"] = [&](const PeerRequest &) {
        if (--bad == 0)
            peer.other.clear();
        return PeerAnswer::ok(bad % 2 ? QByteArray("{\n\"Time_ms\":[1,2],\n\"Voltage\":[1],\n}\n") : pageWithoutTime());
    };
    for (int i = 0; i < 7; ++i)
        QTest::ignoreMessage(QtWarningMsg, "arcSensor::parseData: ERROR - Check the JSON headers of the data received");
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    // Five in a row cost the connection; nothing was cleared meanwhile.
    QCOMPARE(c.states, QStringLiteral("120121"));
    QCOMPARE(peer.count(firstPage), 8);
    QCOMPARE(c.times().size(), 20);
}

void TestArcSensor::strayRepliesChangeNothing()
{
    FakeSensor peer;
    peer.produce(45);
    HeldLog log;
    Connection c(peer);
    c.store->setDurableLog(&log);
    WAIT_FOR(!log.waiting.isEmpty());
    const QUrl frame = sensorrequest::downloadUrl(c.link.address(), c.link.port(), QStringLiteral("service/frame.cgi"));
    const QUrl page = sensorrequest::downloadUrl(c.link.address(), c.link.port(), sensorrequest::dataPage(),
                                                 QStringLiteral("index=40&limit=5"));
    const int before = peer.asked().size();
    c.link.processReply("{\"start\":0,\"number_of_points\":9}", frame);
    c.link.processReply("{\n\"Time_ms\":[1],\n}", page);
    waitUntil([] { return false; }, 60);
    QCOMPARE(peer.asked().size(), before);
    log.answer(true);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.clears, QVector<int>({44}));
    QCOMPARE(c.times().size(), 45);
    c.link.stop();
    c.store->setDurableLog(nullptr);
}

void TestArcSensor::uploads()
{
    FakeSensor peer;
    Connection c(peer);
    Recipe recipe;
    recipe.initDefault(2);
    recipe.setRecipeName(QStringLiteral("Mine"));
    QCOMPARE(c.link.postRecipe(recipe), PostOutcome::NotConnected);
    QCOMPARE(c.link.triggerSnapshot(), PostOutcome::NotConnected);
    WAIT_FOR(c.recipes == 1 && c.configurations == 1);

    // An acknowledgement confirms what was sent.
    QCOMPARE(c.link.postRecipe(recipe), PostOutcome::Sent);
    SensorConfiguration configuration;
    configuration.refreshRate = 250;
    QCOMPARE(c.link.postConfiguration(configuration), PostOutcome::Sent);
    QCOMPARE(c.link.triggerSnapshot(), PostOutcome::Sent);
    WAIT_FOR(c.uploads.size() == 3);
    QCOMPARE(c.uploads, QStringList({QStringLiteral("7 ok"), QStringLiteral("6 ok"), QStringLiteral("8 ok")}));
    QVERIFY(c.store->recipe() == recipe);
    QCOMPARE(c.store->configuration().refreshRate, 250);
    QCOMPARE(c.recipes, 2);
    QCOMPARE(c.configurations, 2);
    for (const PeerRequest &request : peer.peer().requests()) {
        if (request.line.startsWith("POST") && request.line.contains("recipe"))
            QCOMPARE(request.body, recipe.toJSON());
    }

    // A whole record is what the sensor runs now.
    peer.other["recipe.cgi"] = [&](const PeerRequest &) { return PeerAnswer::ok(peer.recipe); };
    QCOMPARE(c.link.postRecipe(recipe), PostOutcome::Sent);
    WAIT_FOR(c.uploads.size() == 4);
    QCOMPARE(c.store->recipe().recipeName(), QStringLiteral("Etch"));
    QCOMPARE(c.states, QStringLiteral("1"));
}

void TestArcSensor::uploadsThatFail()
{
    FakeSensor peer;
    Connection c(peer);
    WAIT_FOR(c.recipes == 1 && c.configurations == 1);
    const Recipe before = c.store->recipe();
    Recipe recipe;
    recipe.initDefault(2);
    peer.other["recipe.cgi"] = [&](const PeerRequest &request) {
        return request.line.startsWith("POST") ? failure(request) : PeerAnswer::ok(peer.recipe);
    };
    QCOMPARE(c.link.postRecipe(recipe), PostOutcome::Sent);
    WAIT_FOR(c.uploads.size() == 1 && c.link.state() == 0);
    WAIT_FOR(c.link.state() == 1);
    // The first failure costs the connection, further ones do not.
    QCOMPARE(c.link.postRecipe(recipe), PostOutcome::Sent);
    WAIT_FOR(c.uploads.size() == 2);
    QCOMPARE(c.uploads.last(), QStringLiteral("7 failed"));
    QCOMPARE(c.states, QStringLiteral("101"));
    QVERIFY(c.store->recipe() == before);
}

void TestArcSensor::recipeFrequencies_data()
{
    QTest::addColumn<QByteArray>("supported");
    QTest::addColumn<int>("frequency");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("inside") << QByteArray("100,150,200") << 160 << true;
    QTest::newRow("lower bound") << QByteArray("100,200") << 100 << true;
    QTest::newRow("upper bound") << QByteArray("100,200") << 200 << true;
    QTest::newRow("below") << QByteArray("100,200") << 99 << false;
    QTest::newRow("above") << QByteArray("100,200") << 201 << false;
    QTest::newRow("descending list") << QByteArray("200,100") << 150 << true;
    QTest::newRow("single entry") << QByteArray("100") << 101 << false;
    QTest::newRow("no list") << QByteArray() << 5 << true;
}

void TestArcSensor::recipeFrequencies()
{
    QFETCH(QByteArray, supported);
    QFETCH(int, frequency);
    QFETCH(bool, accepted);
    FakeSensor peer;
    peer.frequencies = supported;
    Connection c(peer);
    WAIT_FOR(c.recipes == 1);
    Recipe recipe;
    recipe.initDefault(2);
    recipe.setFrequency(0, supported.isEmpty() ? 1 : supported.split(',').first().toInt());
    recipe.setFrequency(1, frequency);
    FrequencyRange range;
    QCOMPARE(c.link.postRecipe(recipe, &range), accepted ? PostOutcome::Sent : PostOutcome::FrequencyOutOfRange);
    QVERIFY(range.low <= range.high);
    QCOMPARE(range.low, supported.isEmpty() ? 0 : 100);
    WAIT_FOR(c.uploads.size() == (accepted ? 1 : 0));
}

void TestArcSensor::clearsOnRequest()
{
    FakeSensor peer;
    peer.produce(45);
    Connection c(peer);
    QObject::connect(&c.link, &arcSensor::dataUpdated, &c.link, [&] {
        QTest::ignoreMessage(QtDebugMsg, "arcSensor::clearData: cleared remaining 25/45 data points");
        c.link.clearData();
    });
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.clears, QVector<int>({44}));
    QCOMPARE(c.times().size(), 20);
    WAIT_FOR(peer.count(QStringLiteral("frame.cgi")) >= 2);
    QCOMPARE(c.times().size(), 20);
}

void TestArcSensor::anotherSerial()
{
    FakeSensor peer;
    peer.produce(45);
    peer.serial = "SN2";
    Connection c(peer);
    c.link.setExpectedSerial(QStringLiteral("SN1"));
    QStringList found;
    QObject::connect(&c.link, &arcSensor::wrongSerial, &c.link, [&](const QString &serial) { found += serial; });
    WAIT_FOR(found.size() == 2);
    QCOMPARE(found.first(), QStringLiteral("SN2"));
    QCOMPARE(c.link.state(), 0);
    QVERIFY(c.states.isEmpty());
    QCOMPARE(peer.count(QStringLiteral("info.cgi")), peer.asked().size());
    peer.serial = "SN1";
    WAIT_FOR(!peer.clears.isEmpty());
}

void TestArcSensor::verifiesWithoutAStore()
{
    FakeSensor peer;
    peer.produce(45);
    Connection c(peer, false);
    WAIT_FOR(c.link.state() == 1);
    QCOMPARE(c.link.info().serial_number, QStringLiteral("SN1"));
    QElapsedTimer time;
    time.start();
    WAIT_FOR(peer.count(QStringLiteral("frame.cgi")) == 2);
    QVERIFY2(time.elapsed() >= 110, "frames are asked for every three poll periods");
    QCOMPARE(c.states, QStringLiteral("1"));
    QVERIFY(!peer.asked().contains(QStringLiteral("config.cgi")));
    c.link.setStore(c.store);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.count(QStringLiteral("config.cgi")), 1);
    QCOMPARE(c.times().size(), 45);
}

void TestArcSensor::stopIsSilentAndFinal()
{
    FakeSensor peer;
    peer.produce(200);
    Connection c(peer);
    WAIT_FOR(c.progress.size() >= 3);
    const QString states = c.states;
    const QStringList texts = c.texts;
    c.link.stop();
    QCOMPARE(c.link.state(), 0);
    QVERIFY(!c.store->isConnected());
    const int asked = peer.asked().size();
    waitUntil([] { return false; }, 100);
    QVERIFY(peer.asked().size() <= asked + 1);
    QCOMPARE(c.states, states);
    QCOMPARE(c.texts, texts);
    c.link.reconnect();
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(peer.clears, QVector<int>({199}));
    QCOMPARE(c.times().size(), 200);
    QCOMPARE(c.texts.mid(texts.size()), QStringList({QStringLiteral("Connecting"), QStringLiteral("Connected")}));
}

void TestArcSensor::receiversMayDoAnything()
{
    FakeSensor peer;
    peer.produce(45);
    auto *const gone = new arcSensor(QStringLiteral("127.0.0.1"), peer.port(), quick());
    QPointer<arcSensor> watch(gone);
    QObject::connect(gone, &arcSensor::statusUpdate, gone, [gone](const QString &text) {
        if (text == QLatin1String("Connected"))
            gone->deleteLater();
    });
    WAIT_FOR(!watch);

    Connection c(peer);
    int stops = 0;
    QObject::connect(&c.link, &arcSensor::dataUpdated, &c.link, [&] {
        c.link.stop();
        ++stops;
    });
    WAIT_FOR(stops == 1);
    waitUntil([] { return false; }, 50);
    QCOMPARE(c.link.state(), 0);
    QObject::connect(&c.link, &arcSensor::stateChange, &c.link, [&](int state) {
        if (state == 1)
            c.link.setStore(nullptr);
    });
    c.link.reconnect();
    WAIT_FOR(c.link.state() == 1);
    waitUntil([] { return false; }, 50);
    QCOMPARE(stops, 1);
}

void TestArcSensor::signalOrder()
{
    const QMetaObject &meta = arcSensor::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names += QString::fromLatin1(meta.method(i).name());
    QCOMPARE(names.mid(0, 6).join(QLatin1Char(' ')),
             QStringLiteral("stateChange statusUpdate downloadStatus dataUpdated configUpdated recipeUpdated"));
    for (const char *slot : {"processReply", "replyTimedOut", "processReplyError"})
        QVERIFY(names.contains(QLatin1String(slot)));
}

QTEST_GUILESS_MAIN(TestArcSensor)
#include "tst_arcsensor.moc"
