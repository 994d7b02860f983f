#include "sensor/sensorrequest.h"

#include <QtTest>

using namespace sensorrequest;

class TestSensorRequest : public QObject
{
    Q_OBJECT

private slots:
    void urls();
    void classified_data();
    void classified();
    void indices();
};

void TestSensorRequest::urls()
{
    const QString host = QStringLiteral("10.0.0.5");
    QCOMPARE(downloadUrl(host, 80, page(eMessage::Info)).toEncoded(),
             QByteArray("http://10.0.0.5:80/service/info.cgi?"));
    QCOMPARE(downloadUrl(host, 8080, dataPage(), dataQuery(40, 5)).toEncoded(),
             QByteArray("http://10.0.0.5:8080/service/pulsedata.cgi?index=40&limit=5"));
    QCOMPARE(downloadUrl(host, 80, page(eMessage::Events), eventQuery(3)).toEncoded(),
             QByteArray("http://10.0.0.5:80/service/events.cgi?index=3&binary=1"));
    QCOMPARE(downloadUrl(host, 80, page(eMessage::Frame), clearQuery(44)).toEncoded(),
             QByteArray("http://10.0.0.5:80/service/frame.cgi?clear_index=44"));
    const QUrl upload = uploadUrl(host, 80, page(eMessage::Recipe));
    QCOMPARE(upload.toEncoded(QUrl::RemoveFragment), QByteArray("http://10.0.0.5:80/service/recipe.cgi?"));
    QVERIFY(isUpload(upload));
    QVERIFY(!isUpload(downloadUrl(host, 80, page(eMessage::Recipe))));
    QCOMPARE(page(eMessage::Data), QStringLiteral("service/pulsedata.cgi"));
    QCOMPARE(oldDataPage(), QStringLiteral("service/databis.cgi"));
    QVERIFY(page(eMessage::ConnectionError).isEmpty());
    QVERIFY(page(eMessage::Unknown).isEmpty());
}

void TestSensorRequest::classified_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("kind");
    const auto row = [](const char *url, eMessage kind) {
        QTest::newRow(url) << QString::fromLatin1(url) << int(kind);
    };
    row("http://1.2.3.4:80/service/info.cgi?", eMessage::Info);
    row("http://1.2.3.4:80/service/frame.cgi?clear_index=3", eMessage::Frame);
    row("http://1.2.3.4:80/service/status.cgi?", eMessage::Status);
    row("http://1.2.3.4:80/service/pulsedata.cgi?index=0&limit=20", eMessage::Data);
    row("http://1.2.3.4:80/service/databis.cgi?index=0&limit=20", eMessage::Data);
    row("http://1.2.3.4:80/SERVICE/Events.cgi?index=0", eMessage::Events);
    row("http://1.2.3.4:80/service/config.cgi?#post", eMessage::Config);
    row("http://1.2.3.4:80/service/recipe.cgi?", eMessage::Recipe);
    row("http://1.2.3.4:80/service/eventtrigger.cgi?#post", eMessage::EventTrigger);
    row("http://1.2.3.4:80/service/info.cgi?x=service/frame.cgi", eMessage::Frame);
    row("ConnectionError", eMessage::ConnectionError);
    row("timeouterror", eMessage::TimedOut);
    row("http://1.2.3.4:80/index.html", eMessage::Unknown);
    row("", eMessage::Unknown);
}

void TestSensorRequest::classified()
{
    QFETCH(QString, url);
    QFETCH(int, kind);
    QCOMPARE(int(classify(QUrl(url))), kind);
}

void TestSensorRequest::indices()
{
    const auto at = [](const char *url) { return index(QUrl(QString::fromLatin1(url))); };
    QCOMPARE(at("http://h/service/pulsedata.cgi?index=40&limit=20").value(), quint64(40));
    QCOMPARE(at("http://h/service/events.cgi?index=18446744073709551615&binary=1").value(), ~quint64(0));
    QVERIFY(!at("http://h/service/frame.cgi?clear_index=44"));
    QVERIFY(!at("http://h/service/pulsedata.cgi?index=-1"));
    QVERIFY(!at("http://h/service/pulsedata.cgi"));
    QVERIFY(runsOnce(QUrl(QStringLiteral("http://h/service/frame.cgi?clear_index=44"))));
    QVERIFY(!runsOnce(QUrl(QStringLiteral("http://h/service/frame.cgi?"))));
    QVERIFY(runsOnce(uploadUrl(QStringLiteral("h"), 80, page(eMessage::EventTrigger))));
    QVERIFY(!runsOnce(uploadUrl(QStringLiteral("h"), 80, page(eMessage::Config))));
}

QTEST_APPLESS_MAIN(TestSensorRequest)
#include "tst_sensorrequest.moc"
