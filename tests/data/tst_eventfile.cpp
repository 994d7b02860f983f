#include "data/eventfile.h"
#include "data/eventtypelist.h"
#include "samples.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

EventRecord arc()
{
    EventRecord event;
    event.time = 1700000000123456ULL;
    event.typeCode = eventtype::E23;
    event.snapshot1 = distinctSample(1);
    event.snapshot2 = distinctSample(2);
    event.snapshot3 = distinctSample(3);
    event.samples = {distinctSample(4), distinctSample(5)};
    return event;
}

EventRecord namedArc()
{
    EventRecord event = arc();
    event.named = true;
    event.name = QStringLiteral("Ignition \u00b5-arc");
    event.isOverridden = true;
    event.overrideCode = eventtype::NotAnEvent;
    event.samples.clear();
    return event;
}

EventRecord run()
{
    EventRecord event = arc();
    event.typeCode = eventtype::RfOn;
    event.isOverridden = true;
    event.overrideCode = eventtype::RfOn;
    event.recipe.initDefault(1);
    return event;
}

QByteArray contentOf(const char *name)
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/store/%1").arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Where the fields of an event without a name start.
constexpr int nameLengthAt = 28;
constexpr int sampleCountAt = 32 + 3 * 196;

} // namespace

class TestEventFile : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void bytesAreFixed();
    void withoutSamples();
    void everyCutIsRefused_data() { roundTrip_data(); }
    void everyCutIsRefused();
    void everyFlippedByteIsSurvived();
    void lyingLengths_data();
    void lyingLengths();
    void numbersOfNames_data();
    void numbersOfNames();
    void foldersAreNotRead();
};

Q_DECLARE_METATYPE(EventRecord)

void TestEventFile::roundTrip_data()
{
    QTest::addColumn<EventRecord>("event");
    QTest::newRow("arc") << arc();
    QTest::newRow("user type, overridden, no waveform") << namedArc();
    QTest::newRow("run with its recipe") << run();
}

void TestEventFile::roundTrip()
{
    QFETCH(EventRecord, event);
    EventRecord read;
    QString reason;
    QVERIFY2(eventfile::decode(eventfile::encode(event), read, &reason), qPrintable(reason));
    QCOMPARE(read.time, event.time);
    QCOMPARE(read.typeCode, event.typeCode);
    QCOMPARE(read.isOverridden, event.isOverridden);
    QCOMPARE(read.overrideCode, event.overrideCode);
    QCOMPARE(read.named, event.named);
    QCOMPARE(read.name, event.name);
    QVERIFY(read.snapshot1 == event.snapshot1);
    QVERIFY(read.snapshot2 == event.snapshot2);
    QVERIFY(read.snapshot3 == event.snapshot3);
    QCOMPARE(read.samples, event.samples);
    QVERIFY(read.recipe == event.recipe);
    QVERIFY(read.loaded);
    QVERIFY(!read.isSaved());
}

void TestEventFile::bytesAreFixed()
{
    QCOMPARE(eventfile::encode(arc()), contentOf("arc.norvexevent"));
    QCOMPARE(eventfile::encode(run()), contentOf("run.norvexevent"));
}

void TestEventFile::withoutSamples()
{
    EventRecord read;
    QVERIFY(eventfile::decode(eventfile::encode(run()), read, nullptr, eventfile::Content::WithoutSamples));
    QVERIFY(read.samples.isEmpty());
    QVERIFY(!read.loaded);
    QVERIFY(read.recipe == run().recipe);
}

void TestEventFile::everyCutIsRefused()
{
    QFETCH(EventRecord, event);
    const QByteArray whole = eventfile::encode(event);
    for (int length = 0; length < whole.size(); ++length) {
        EventRecord untouched;
        QString reason;
        QVERIFY2(!eventfile::decode(whole.left(length), untouched, &reason), qPrintable(QString::number(length)));
        QVERIFY(!reason.isEmpty());
        QCOMPARE(untouched.time, quint64(0));
    }
    EventRecord event2;
    QVERIFY(!eventfile::decode(whole + '\0', event2));
}

void TestEventFile::everyFlippedByteIsSurvived()
{
    const QByteArray whole = eventfile::encode(arc());
    for (int i = 0; i < whole.size(); ++i) {
        for (const int bit : {1, 128}) {
            QByteArray damaged = whole;
            damaged[i] = static_cast<char>(damaged.at(i) ^ bit);
            EventRecord event;
            if (eventfile::decode(damaged, event))
                QVERIFY(event.samples.size() == 2);
        }
    }
}

void TestEventFile::lyingLengths_data()
{
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("version 3") << 0 << QByteArray("\0\0\0\3", 4);
    QTest::newRow("version 5") << 0 << QByteArray("\0\0\0\5", 4);
    QTest::newRow("unknown flag") << 20 << QByteArray("\0\0\0\x08", 4);
    QTest::newRow("name of 2 GB") << nameLengthAt << QByteArray("\x7f\xff\xff\xff", 4);
    QTest::newRow("negative name") << nameLengthAt << QByteArray("\xff\xff\xff\xff", 4);
    QTest::newRow("2^31-1 samples") << sampleCountAt << QByteArray("\x7f\xff\xff\xff", 4);
    QTest::newRow("-1 samples") << sampleCountAt << QByteArray("\xff\xff\xff\xff", 4);
    QTest::newRow("one sample too many") << sampleCountAt << QByteArray("\0\0\0\3", 4);
    QTest::newRow("one sample too few") << sampleCountAt << QByteArray("\0\0\0\1", 4);
}

void TestEventFile::lyingLengths()
{
    QFETCH(int, offset);
    QFETCH(QByteArray, bytes);
    QByteArray file = eventfile::encode(arc());
    EventRecord event;
    QVERIFY(eventfile::decode(file, event));
    file.replace(offset, bytes.size(), bytes);
    QVERIFY(!eventfile::decode(file, event));
}

void TestEventFile::numbersOfNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");
    QTest::newRow("first") << "Event_1.norvexevent" << 1;
    QTest::newRow("large") << "Event_2000000000.norvexevent" << 2000000000;
    QTest::newRow("no room for the next") << "Event_2147483647.norvexevent" << 0;
    QTest::newRow("too large") << "Event_2147483648.norvexevent" << 0;
    QTest::newRow("leading zero") << "Event_01.norvexevent" << 0;
    QTest::newRow("sign") << "Event_+1.norvexevent" << 0;
    QTest::newRow("no number") << "Event_.norvexevent" << 0;
    QTest::newRow("copy") << "Event_1 (copy).norvexevent" << 0;
    QTest::newRow("shorter than prefix and extension") << "Event_norvexevent" << 0;
    QTest::newRow("block") << "block_1.norvexdata" << 0;
}

void TestEventFile::numbersOfNames()
{
    QFETCH(QString, name);
    QFETCH(int, number);
    QCOMPARE(eventfile::numberOf(name), number);
    if (number > 0)
        QCOMPARE(eventfile::fileName(number), name);
}

void TestEventFile::foldersAreNotRead()
{
    const QTemporaryDir folder;
    EventRecord event;
    QString reason;
    QVERIFY(!eventfile::read(folder.path(), event, &reason));
    QVERIFY(!eventfile::read(folder.filePath(QStringLiteral("missing")), event, &reason));
    QVERIFY(!reason.isEmpty());
}

QTEST_GUILESS_MAIN(TestEventFile)
#include "tst_eventfile.moc"
