#include "display/sensors/sensorcardpresenter.h"

#include <QtTest>

using Presenter = SensorCardPresenter;

class TestSensorCardPresenter : public QObject
{
    Q_OBJECT

private slots:
    void everyStateHasItsLightAndEffects();
    void repeatedStatesAreIgnoredButErrorsCount();
    void theLightBlinksWhileDownloading();
    void progress_data();
    void progress();
    void words();
    void agesNeverLookLiveWhenOld();
    void frequencies();
};

void TestSensorCardPresenter::everyStateHasItsLightAndEffects()
{
    Presenter card;
    Presenter::Change change = card.setConnectionState(1);
    QVERIFY(change.acted && change.clearProgress && change.markConnection && change.connected);
    QCOMPARE(change.light, QStringLiteral("Images/light_on.png"));

    change = card.setConnectionState(2);
    QVERIFY(change.acted && change.startBlinking);
    QVERIFY(!change.clearProgress && !change.markConnection && change.light.isEmpty());

    change = card.setConnectionState(0);
    QVERIFY(change.acted && change.clearProgress && change.markConnection && !change.connected);
    QCOMPARE(change.light, QStringLiteral("Images/light_error.png"));
    QVERIFY(!change.disconnectActively);

    QTest::ignoreMessage(QtDebugMsg, "7::CALLING BAD STATE");
    change = card.setConnectionState(7);
    QVERIFY(change.disconnectActively && change.markConnection && !change.connected);
    QCOMPARE(change.light, QStringLiteral("Images/light_off.png"));
}

void TestSensorCardPresenter::repeatedStatesAreIgnoredButErrorsCount()
{
    Presenter card;
    QVERIFY(card.setConnectionState(1).acted);
    QVERIFY(!card.setConnectionState(1).acted);
    QVERIFY(card.setConnectionState(0).acted);
    QVERIFY(card.setConnectionState(0).acted); // shown twice, counted twice
    QCOMPARE(card.consecutiveErrors(), 2);
    card.setConnectionState(1);
    QCOMPARE(card.consecutiveErrors(), 0);
}

void TestSensorCardPresenter::theLightBlinksWhileDownloading()
{
    Presenter card;
    card.setConnectionState(2);
    QCOMPARE(card.toggleBlink(), Presenter::lightOn());
    QCOMPARE(card.toggleBlink(), Presenter::lightOff());
    card.toggleBlink();
    card.setConnectionState(1);
    card.setConnectionState(2); // begins with the same phase again
    QCOMPARE(card.toggleBlink(), Presenter::lightOn());
}

void TestSensorCardPresenter::progress_data()
{
    QTest::addColumn<int>("done");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("value");
    QTest::newRow("nothing yet") << 0 << 45 << 0;
    QTest::newRow("two fifths") << 20 << 50 << 40;
    QTest::newRow("rounds") << 1 << 3 << 33;
    QTest::newRow("rounds up") << 2 << 3 << 67;
    QTest::newRow("finished is empty") << 45 << 45 << 0;
    QTest::newRow("no frame") << 3 << 0 << 0;
}

void TestSensorCardPresenter::progress()
{
    QFETCH(int, done);
    QFETCH(int, total);
    QTEST(Presenter::progressValue(done, total), "value");
}

void TestSensorCardPresenter::words()
{
    Presenter card;
    QCOMPARE(card.word(false, -1, -1, {}).text, QStringLiteral("Stored data only"));
    QCOMPARE(card.word(true, -1, -1, {}).text, QStringLiteral("Connecting"));
    card.setConnectionState(0);
    Presenter::Word word = card.word(true, 6100, 3000, QStringLiteral("The sensor did not answer in time."));
    QCOMPARE(word.text, QStringLiteral("Next try in 7 s"));
    QCOMPARE(word.level, Presenter::Level::Bad);
    QVERIFY(word.reason.contains(QStringLiteral("did not answer")));
    QVERIFY(word.reason.contains(QStringLiteral("Connection errors: 1")));
    card.setConnectionState(1);
    QCOMPARE(card.word(true, -1, 400, {}).text, QStringLiteral("Recording"));
    card.setConnectionState(2);
    QCOMPARE(card.word(true, -1, 60000, {}).text, QStringLiteral("Catching up"));
    card.setConnectionState(1);
    QCOMPARE(card.word(true, -1, 60000, {}).text, QStringLiteral("Connected"));
    card.activelyDisconnected();
    QCOMPARE(card.word(true, -1, 400, {}).text, QStringLiteral("Disconnected"));
    QCOMPARE(Presenter::progressTip(20, 45, 1, 10), QStringLiteral("20/45 Samples\n1/10 Events"));
}

void TestSensorCardPresenter::agesNeverLookLiveWhenOld()
{
    QVERIFY(Presenter::age(1499, true).live);
    QVERIFY(!Presenter::age(1500, true).live);
    QVERIFY(!Presenter::age(100, false).live);
    QCOMPARE(Presenter::age(-1, true).text, QStringLiteral("no data"));
    QCOMPARE(Presenter::age(65000, true).text, QStringLiteral("1 min ago"));
    QCOMPARE(Presenter::duration(7500 * 1000), QStringLiteral("2 h 05 min"));
}

void TestSensorCardPresenter::frequencies()
{
    QCOMPARE(Presenter::frequencyText(13560000), QStringLiteral("13MHz"));
    QCOMPARE(Presenter::frequencyText(400000), QStringLiteral("400kHz"));
    QCOMPARE(Presenter::frequencyText(0), QString());
}

QTEST_APPLESS_MAIN(TestSensorCardPresenter)
#include "tst_sensorcardpresenter.moc"
