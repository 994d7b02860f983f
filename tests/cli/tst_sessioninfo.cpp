#include "cli/sessioninfo.h"

#include <QJsonDocument>
#include <QtTest>

namespace {

SessionSummary example()
{
    SensorSummary first;
    first.serial = QStringLiteral("SN100");
    first.chamber = QStringLiteral("Etch %1");
    first.folder = QStringLiteral("SN100-Etch _1");
    first.firstTime = 1714564800000001;
    first.lastTime = 1714564990000007;
    first.samples = 25000;
    first.blocks = 3;
    first.events = 5;
    first.runs = 2;
    first.eventsByType = {{QStringLiteral("E11"), 4}, {QStringLiteral("%2 mine"), 1}};
    first.recipe = QStringLiteral("Poly");
    SensorSummary second;
    second.serial = QStringLiteral("SN200");
    second.chamber = QStringLiteral("Default");
    second.folder = QStringLiteral("SN200-Default");
    second.problem = QStringLiteral("some of its sample blocks are missing");
    return {QStringLiteral("/data/etch"), {first, second}, {}};
}

} // namespace

class tst_sessioninfo : public QObject
{
    Q_OBJECT

private slots:
    void json()
    {
        const QByteArray expected = R"({"sensors":[
            {"serial":"SN100","chamber":"Etch %1","folder":"SN100-Etch _1","firstTime":1714564800000001,
             "lastTime":1714564990000007,"samples":25000,"blocks":3,"events":5,"runs":2,
             "eventsByType":{"E11":4,"%2 mine":1},"recipe":"Poly","damaged":false},
            {"serial":"SN200","chamber":"Default","folder":"SN200-Default","firstTime":0,"lastTime":0,"samples":0,
             "blocks":0,"events":0,"runs":0,"eventsByType":{},"recipe":"","damaged":true}],
            "session":"/data/etch"})";
        QCOMPARE(QJsonDocument(toJson(example())), QJsonDocument::fromJson(expected));
        QVERIFY(QJsonDocument(toJson(example())).toJson().contains("\"lastTime\": 1714564990000007"));
    }

    void text()
    {
        QCOMPARE(toText(example()),
                 QStringLiteral("Session /data/etch, 2 sensors\n"
                                "\n"
                                "Sensor SN100 in chamber Etch %1\n"
                                "  folder    SN100-Etch _1\n"
                                "  recorded  2024-05-01 12:00:00 UTC to 2024-05-01 12:03:10 UTC (3 min 10 s)\n"
                                "  samples   25000 in 3 blocks\n"
                                "  runs      2\n"
                                "  events    5: %2 mine 1, E11 4\n"
                                "  recipe    Poly\n"
                                "\n"
                                "Sensor SN200 in chamber Default\n"
                                "  folder    SN200-Default\n"
                                "  recorded  nothing yet\n"
                                "  samples   0 in 0 blocks\n"
                                "  runs      0\n"
                                "  events    0\n"
                                "  recipe    -\n"
                                "  damaged   some of its sample blocks are missing\n"));
    }
};

QTEST_GUILESS_MAIN(tst_sessioninfo)
#include "tst_sessioninfo.moc"
