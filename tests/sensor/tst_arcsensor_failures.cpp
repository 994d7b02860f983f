#include "sensor/connection.h"
#include "sensor/webservice.h"

#include <QtTest>

namespace {

/// Whole, but its only sample was measured at no time.
QByteArray pageWithoutTime()
{
    QByteArray page = "{\n\"Time_ms\":[never],\n";
    for (const char *column : {"Voltage", "Current_Ir", "Current_Ii", "nPulses", "P_Period", "P_1T_on", "P_1V_max",
                               "P_1V_min", "P_1V_avg", "P_1I_max", "P_1I_min", "P_1I_avg"})
        page += '"' + QByteArray(column) + "\":[1],\n";
    return page + "}\n";
}

} // namespace

/// What goes wrong between a connection and its sensor, and how the download goes on without loss.
class TestArcSensorFailures : public QObject
{
    Q_OBJECT

private slots:
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
    void diskFailsThenRecovers();
    void memoryResetDropsTheFrame();
    void reconnectKeepsTimesAndDoublesNothing_data();
    void reconnectKeepsTimesAndDoublesNothing();
    void restartedSensorGetsANewTimeLine();
    void eventOfAnEarlierStartIsKnown();
    void claimsBeyondReason();
    void unreadablePagesLoseNothing();
};

void TestArcSensorFailures::missingDataPage_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("as an error") << 404;
    QTest::newRow("as an ordinary reply") << 200;
}

void TestArcSensorFailures::missingDataPage()
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

void TestArcSensorFailures::missingBothDataPages()
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

void TestArcSensorFailures::failedDataPageSwitches()
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

void TestArcSensorFailures::pagesWithoutRecord_data()
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

void TestArcSensorFailures::pagesWithoutRecord()
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

void TestArcSensorFailures::configurationFailsForEver()
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

void TestArcSensorFailures::unreachableThenBack()
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

void TestArcSensorFailures::answersTooLate()
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

void TestArcSensorFailures::lostClearIsNotRepeated()
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

void TestArcSensorFailures::diskFailsThenRecovers()
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

void TestArcSensorFailures::memoryResetDropsTheFrame()
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

void TestArcSensorFailures::reconnectKeepsTimesAndDoublesNothing_data()
{
    QTest::addColumn<int>("delayMs"); // of the configuration at the first connect
    QTest::addColumn<int>("moreUptimeMs");
    QTest::newRow("later") << 0 << 700;
    QTest::newRow("uptime in whole seconds") << 60 << 0;
}

void TestArcSensorFailures::reconnectKeepsTimesAndDoublesNothing()
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

void TestArcSensorFailures::restartedSensorGetsANewTimeLine()
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

/// The sensor kept it over a restart, and so did the session over one of the program.
void TestArcSensorFailures::eventOfAnEarlierStartIsKnown()
{
    FakeSensor peer;
    peer.produce(20);
    peer.events = {{5'000'000'000, 0, "E11"}, {6'000'000'000, 0, "E11"}, {1'050'000, 0, "E11"}};
    Connection c(peer);
    c.link.stop();
    const quint64 earlier = quint64(QDateTime::currentMSecsSinceEpoch() - 90'000'000) * 1000;
    for (const quint64 time : {earlier, earlier + 1'000'000'000}) {
        EventRecord event;
        event.time = time;
        event.loaded = true;
        event.samples.resize(2);
        event.samples[0].voltage = 7;
        event.samples[1].voltage = 1;
        QVERIFY(c.store->addEvent(event));
    }
    c.link.reconnect();
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(c.times().size(), 20);
    QCOMPARE(c.store->eventCount(), 3);
}

void TestArcSensorFailures::claimsBeyondReason()
{
    FakeSensor peer;
    peer.uptimeMs = 5'000'000'000'000'000'000; // too much to be counted in us
    peer.serial = QByteArray(300'000, 'S');
    peer.recipe = "{\"recipe_name\":\"Etch\"";
    for (int i = 0; i < 5000; ++i)
        peer.recipe += ",\"" + QByteArray::number(i) + "\":1";
    peer.recipe += '}';
    peer.produce(20);
    Connection c(peer);
    WAIT_FOR(!peer.clears.isEmpty());
    QCOMPARE(c.times().size(), 20);
    const qint64 lastMs = qint64(c.times().last() / 1000);
    QVERIFY(qAbs(lastMs - QDateTime::currentMSecsSinceEpoch()) < 600'000);
    QVERIFY(c.store->recipe().numberOfSteps() < 1000);
    QVERIFY(c.link.info().serial_number.size() < 1000);
}

void TestArcSensorFailures::unreadablePagesLoseNothing()
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

QTEST_GUILESS_MAIN(TestArcSensorFailures)
#include "tst_arcsensor_failures.moc"
