#include "data/norvexdata.h"
#include "display/records/sessionrecords.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"

#include <QtTest>

namespace {

constexpr int patience = 20000;
constexpr quint64 start = 1709290800000000ULL;

eventType dip(const char *name, double magnitude)
{
    eventType type;
    type.name = QLatin1String(name);
    type.magnitude = magnitude;
    type.direction = eventType::Inferior;
    return type;
}

/// 400 V that fall to `low`.
EventRecord fallingEvent(double low, quint64 time = start)
{
    EventRecord event;
    event.time = time;
    event.typeCode = eventtype::E21;
    event.samples.resize(100);
    for (int i = 0; i < event.samples.size(); ++i) {
        event.samples[i].time = event.time + quint64(i);
        event.samples[i].voltage = i < 50 ? 400 : low;
    }
    return event;
}

std::shared_ptr<norvexData> storeWith(const QString &serial, const EventRecord &event)
{
    auto store = std::make_shared<norvexData>();
    store->setSensorSerial(serial);
    store->addEvent(event);
    return store;
}

} // namespace

class TestSessionRecords : public QObject
{
    Q_OBJECT

private slots:
    void theFirstEnabledTypeNames();
    void lateEventsAreFound();
    void endsWhileReading();
};

void TestSessionRecords::theFirstEnabledTypeNames()
{
    eventTypeNames dictionary;
    eventTypeFilter filter(dictionary);
    dictionary.add(dip("deep", 200));
    dictionary.add(dip("any", 10));
    SessionRecords records;
    connect(&filter, &eventTypeFilter::newFilter, &records, [&] { records.setUserTypes(filter.enabledUserTypes()); });
    records.setUserTypes(filter.enabledUserTypes());
    // The same moment and code on two sensors are two events.
    const auto one = storeWith(QStringLiteral("SN1"), fallingEvent(100));
    const auto other = storeWith(QStringLiteral("SN2"), fallingEvent(350));
    records.setSensors({{QStringLiteral("SN1"), {}, one, {}, true}, {QStringLiteral("SN2"), {}, other, {}, true}});
    const auto names = [&records] {
        QStringList list;
        for (const SessionRecords::Sensor &sensor : records.sensors())
            for (const EventRow &event : sensor.records->events)
                list.append(sensor.records->nameOf(event));
        return list.join(QLatin1Char(' '));
    };
    QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("deep any"), patience);
    QCOMPARE(records.counts().value(QStringLiteral("any")), 1);
    const std::shared_ptr<const RecordSet> before = records.sensors().first().records;

    filter.setEnabled(QStringLiteral("deep"), false); // no event has come meanwhile
    QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("any any"), patience);
    QCOMPARE(records.counts().value(QStringLiteral("any")), 2);
    QCOMPARE(before->nameOf(before->events.first()), QStringLiteral("deep")); // whoever holds them keeps them
    dictionary.remove(1);
    QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("E21 E21"), patience);

    // A name of its own, and a code that was changed in place.
    EventRecord named = fallingEvent(100, start + 1);
    named.named = true;
    named.name = QStringLiteral("arc of 2019");
    QVERIFY(other->addEvent(named));
    QSignalSpy added(&records, &SessionRecords::eventsAdded);
    QSignalSpy reset(&records, &SessionRecords::eventsReset);
    QTRY_COMPARE_WITH_TIMEOUT((records.refresh(), names()), QStringLiteral("E21 E21 arc of 2019"), patience);
    QCOMPARE(added.size(), 1);
    QVERIFY(reset.isEmpty());
    filter.setEnabled(QStringLiteral("deep"), true);
    QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("deep E21 deep"), patience);
    QVERIFY(!reset.isEmpty());
}

void TestSessionRecords::lateEventsAreFound()
{
    const auto store = storeWith(QStringLiteral("SN1"), fallingEvent(100, start + 3600000000));
    SessionRecords records;
    records.setSensors({{QStringLiteral("SN1"), {}, store, {}, true}});
    const auto read = [&records] {
        records.refresh();
        return records.sensors().first().records->events.size();
    };
    QTRY_COMPARE_WITH_TIMEOUT(read(), 1, patience);
    store->addEvent(fallingEvent(100)); // long before what is known
    store->addEvent(fallingEvent(100, start + 3600000001));
    QTRY_COMPARE_WITH_TIMEOUT(read(), 3, patience);
    QCOMPARE(records.sensors().first().records->events.first().time, start);
    QVERIFY(records.isUpToDate());
}

void TestSessionRecords::endsWhileReading()
{
    const auto store = storeWith(QStringLiteral("SN1"), fallingEvent(100));
    for (quint64 i = 1; i < 300; ++i)
        store->addEvent(fallingEvent(100, start + i * 1000));
    for (int i = 0; i < 20; ++i) {
        SessionRecords records;
        records.setUserTypes({dip("deep", 200)});
        records.setSensors({{QStringLiteral("SN1"), {}, store, {}, true}});
    }
    QCoreApplication::processEvents();
}

QTEST_GUILESS_MAIN(TestSessionRecords)
#include "tst_sessionrecords.moc"
