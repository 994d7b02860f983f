#include "data/samples.h"
#include "events/eventtype.h"

#include <QTextStream>
#include <QtTest>

#include <cmath>
#include <random>

namespace {

eventType type(const QString &name, double magnitude, qint32 duration, qint32 direction)
{
    eventType result;
    result.name = name;
    result.magnitude = magnitude;
    result.duration = duration;
    result.direction = direction;
    return result;
}

QString text(const eventType &type)
{
    QString out;
    QTextStream stream(&out);
    type.toText(stream);
    return out;
}

} // namespace

class tst_EventType : public QObject
{
    Q_OBJECT

private slots:
    void textForm();
    void readsBack_data();
    void readsBack();
    void readsOddLines_data();
    void readsOddLines();
    void description_data();
    void description();
    void matches_data();
    void matches();
    void firstMatchNamesTheEvent();
    void firstAndPeakNeverHideAMatch();
};

void tst_EventType::textForm()
{
    QCOMPARE(text(type(QStringLiteral("arc"), 1.5, 20, 2)),
             QStringLiteral("name;arc\nmagnitude;1.5\nduration;20\ndirection;2\nendEvent;\n"));
    QCOMPARE(text(type(QStringLiteral("a;b\r\nc"), 1e6, 0, 0)),
             QStringLiteral("name;a;b  c\nmagnitude;1e+06\nduration;0\ndirection;0\nendEvent;\n"));
}

void tst_EventType::readsBack_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("magnitude");
    QTest::newRow("plain") << "arc" << 1.5;
    QTest::newRow("a name that looks like a key") << "duration;7" << 2.0;
    QTest::newRow("a name that looks like the end") << "endEvent;" << 2.0;
    QTest::newRow("no name") << "" << -0.25;
    QTest::newRow("beyond ASCII") << QStringLiteral("Bogen 50 µs") << 0.1;
    QTest::newRow("more than six digits") << "x" << 12345.678901;
}

void tst_EventType::readsBack()
{
    QFETCH(QString, name);
    QFETCH(double, magnitude);
    const eventType written = type(name, magnitude, -2147483647, 1);
    QString lines = text(written) + QStringLiteral("name;next\n");
    QTextStream stream(&lines);
    eventType read;
    QVERIFY(read.fromText(stream));
    QVERIFY(read == written);
    QCOMPARE(stream.readLine(), QStringLiteral("name;next"));
}

void tst_EventType::readsOddLines_data()
{
    QTest::addColumn<QString>("lines");
    QTest::addColumn<bool>("ended");
    QTest::addColumn<qint32>("duration");
    QTest::addColumn<double>("magnitude");
    QTest::newRow("no end") << "duration;7\n" << false << 7 << 0.0;
    QTest::newRow("end without a semicolon") << "duration;7\nendEvent" << true << 7 << 0.0;
    QTest::newRow("no number") << "duration;many\nmagnitude;x\nendEvent;" << true << 0 << 0.0;
    QTest::newRow("beyond 32 bits") << "duration;4294967303\nendEvent;" << true << 0 << 0.0;
    QTest::newRow("not finite") << "magnitude;nan\nendEvent;" << true << 0 << 0.0;
    QTest::newRow("infinite") << "magnitude;1e999\nendEvent;" << true << 0 << 0.0;
    QTest::newRow("keys are compared whole") << "my duration;7\nduration2;8\nDuration;9\nendEvent;" << true << 0 << 0.0;
    QTest::newRow("lines without a value") << "\nduration\n;\nmagnitude;3\nendEvent;" << true << 0 << 3.0;
}

void tst_EventType::readsOddLines()
{
    QFETCH(QString, lines);
    QTextStream stream(&lines);
    eventType read;
    QTEST(read.fromText(stream), "ended");
    QTEST(read.duration, "duration");
    QTEST(read.magnitude, "magnitude");
}

void tst_EventType::description_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<qint32>("direction");
    QTest::addColumn<QString>("text");
    QTest::newRow("superior") << "arc" << 0 << "Type : arc Mag : 1.5 Min-dur : 20 us Dir :>";
    QTest::newRow("inferior") << "arc" << 1 << "Type : arc Mag : 1.5 Min-dur : 20 us Dir :<";
    QTest::newRow("either") << "arc" << 2 << "Type : arc Mag : 1.5 Min-dur : 20 us Dir :><";
    QTest::newRow("unknown direction") << "arc" << 3 << "Type : arc Mag : 1.5 Min-dur : 20 us Dir :";
    QTest::newRow("markers in the name") << "%2%4" << 0 << "Type : %2%4 Mag : 1.5 Min-dur : 20 us Dir :>";
}

void tst_EventType::description()
{
    QFETCH(QString, name);
    QFETCH(qint32, direction);
    QTEST(type(name, 1.5, 20, direction).description(), "text");
}

void tst_EventType::matches_data()
{
    QTest::addColumn<QString>("waveform"); // s:V
    QTest::addColumn<double>("magnitude");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<QString>("directions"); // those that match: S, I, E
    const QString pulse = QStringLiteral("0:100 1:100 2:110 3:110 4:110 5:100 6:110");
    QTest::newRow("long enough") << pulse << 10.0 << 2 << "SE";
    QTest::newRow("not long enough at a stretch") << pulse << 10.0 << 3 << "";
    QTest::newRow("not far enough") << pulse << 10.5 << 0 << "";
    QTest::newRow("a single sample lasts no time") << QStringLiteral("0:1 1:5 2:1") << 4.0 << 0 << "SE";
    QTest::newRow("below") << QStringLiteral("0:100 1:20 2:20 3:100") << 80.0 << 1 << "IE";
    QTest::newRow("both ways count for either") << QStringLiteral("0:0 1:9 2:-9 3:0") << 9.0 << 1 << "E";
    QTest::newRow("base is the first tenth")
        << QStringLiteral(
               "0:10 1:20 2:25 3:0 4:0 5:0 6:0 7:0 8:0 9:0 10:0 11:0 12:0 13:0 14:0 15:0 16:0 17:0 18:0 19:0")
        << 10.0 << 0 << "SIE";
    QTest::newRow("time going back") << QStringLiteral("5:0 4:9 3:9 2:0") << 9.0 << 1 << "";
    QTest::newRow("not a number") << QStringLiteral("0:0 1:nan 2:0") << 1.0 << 0 << "";
    QTest::newRow("no waveform") << QString() << 0.0 << 0 << "";
}

void tst_EventType::matches()
{
    QFETCH(QString, waveform);
    QFETCH(double, magnitude);
    QFETCH(int, seconds);
    QString matching;
    const QString letters = QStringLiteral("SIE");
    for (const int direction : {0, 1, 2}) {
        if (type(QString(), magnitude, seconds * 1000000, direction).matches(samples(waveform)))
            matching += letters.at(direction);
    }
    QTEST(matching, "directions");
    QVERIFY(!type(QString(), 0, 0, 3).matches(samples(waveform)));
}

void tst_EventType::firstMatchNamesTheEvent()
{
    const QVector<eventType> types = {eventType::builtIn(QStringLiteral("E11")),
                                      type(QStringLiteral("huge"), 1000, 0, 0), type(QStringLiteral("some"), 5, 0, 0),
                                      type(QStringLiteral("any"), 0, 0, 2)};
    QCOMPARE(eventtype::firstMatch(types, samples("0:0 1:7")), QStringLiteral("some"));
    QCOMPARE(eventtype::firstMatch(types, samples("0:0 1:-7")), QStringLiteral("any"));
    QCOMPARE(eventtype::firstMatch(types, {}), QString());
}

void tst_EventType::firstAndPeakNeverHideAMatch()
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> volts(-300, 300);
    int matched = 0;
    int spared = 0;
    for (int round = 0; round < 2000; ++round) {
        QVector<SamplePoint> waveform(40);
        for (SamplePoint &sample : waveform)
            sample.voltage = volts(random) * (round % 3 == 0 ? 0.1 : 1);
        const double first = waveform.first().voltage;
        double peak = first;
        for (const SamplePoint &sample : waveform)
            peak = std::abs(sample.voltage - first) > std::abs(peak - first) ? sample.voltage : peak;
        const QVector<eventType> types{type(QString(), std::abs(volts(random)) * 4, 0, int(random() % 3))};
        const bool matches = types.first().matches(waveform);
        matched += matches;
        if (!eventtype::canMatch(types, first, peak)) {
            ++spared;
            QVERIFY(!matches);
        }
    }
    QVERIFY(matched > 100 && spared > 100);
    QVERIFY(eventtype::canMatch({type(QString(), 1e9, 0, 2)}, std::nan(""), 0)); // neither is known
    QVERIFY(!eventtype::canMatch({eventType::builtIn(QStringLiteral("E11"))}, std::nan(""), 0));
}

QTEST_GUILESS_MAIN(tst_EventType)
#include "tst_eventtype.moc"
