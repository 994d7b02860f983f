#include "data/norvexdata.h"
#include "display/eventnaming.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"

#include <QtTest>

namespace {

constexpr int patience = 20000;

eventType dip(const char *name, double magnitude)
{
    eventType type;
    type.name = QLatin1String(name);
    type.magnitude = magnitude;
    type.direction = eventType::Inferior;
    return type;
}

/// 400 V that fall to 100 V.
EventRecord fallingEvent()
{
    EventRecord event;
    event.time = 1709290800000000ULL;
    event.typeCode = 3;
    event.samples.resize(100);
    for (int i = 0; i < event.samples.size(); ++i) {
        event.samples[i].time = event.time + quint64(i);
        event.samples[i].voltage = i < 50 ? 400 : 100;
    }
    return event;
}

} // namespace

class TestEventNaming : public QObject
{
    Q_OBJECT

private slots:
    void theFirstEnabledTypeNames();
};

void TestEventNaming::theFirstEnabledTypeNames()
{
    eventTypeNames dictionary;
    eventTypeFilter filter(dictionary);
    dictionary.add(dip("deep", 200));
    dictionary.add(dip("any", 10));
    const EventRecord event = fallingEvent();
    const auto store = std::make_shared<norvexData>();
    QVERIFY(store->addEvent(event));
    EventNaming naming(filter, dictionary);
    naming.addSensor(store);
    QTRY_COMPARE_WITH_TIMEOUT(naming.names().of(event), QStringLiteral("deep"), patience);
    const EventNames before = naming.names();

    filter.setEnabled(QStringLiteral("deep"), false); // no event has come meanwhile
    QTRY_COMPARE_WITH_TIMEOUT(naming.names().of(event), QStringLiteral("any"), patience);
    QCOMPARE(naming.counts().value(QStringLiteral("any")), 1);
    QCOMPARE(before.of(event), QStringLiteral("deep")); // whoever holds a value keeps it
    dictionary.remove(1);
    QTRY_COMPARE_WITH_TIMEOUT(naming.names().of(event), dictionary.names().at(3), patience);

    EventRecord named = event;
    named.time += 1;
    named.named = true;
    named.name = QStringLiteral("arc of 2019");
    QCOMPARE(naming.names().of(named), named.name);
}

QTEST_GUILESS_MAIN(TestEventNaming)
#include "tst_eventnaming.moc"
