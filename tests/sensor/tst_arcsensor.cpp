#include "data/eventtypelist.h"
#include "sensor/connection.h"
#include "sensor/webservice.h"

#include <QtTest>

class TestArcSensor : public QObject
{
    Q_OBJECT

private slots:
    void downloadsAFrame();
    void smallFramesStay();
    void eventsInStep();
    void clearWaitsForTheDisk();
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
