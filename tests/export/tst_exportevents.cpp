#include "export/exportevents.h"
#include "export/exportrequest.h"
#include "export/fakestore.h"

#include <QtTest>

#include <random>

namespace {

ExportRequest everything()
{
    ExportRequest request;
    request.to = 1000000000;
    request.eventTypes = eventtype::names();
    return request;
}

/// "E11=10,20 SNAP=30": the types that have events, with their times.
QString text(const ExportEvents &events)
{
    QStringList groups;
    for (auto group = events.byType().begin(); group != events.byType().end(); ++group) {
        QStringList times;
        for (const EventRecord &event : group.value())
            times.append(QString::number(event.time));
        if (!times.isEmpty())
            groups.append(group.key() + QLatin1Char('=') + times.join(QLatin1Char(',')));
    }
    return groups.join(QLatin1Char(' '));
}

} // namespace

class tst_ExportEvents : public QObject
{
    Q_OBJECT

private slots:
    void typesInTextOrder();
    void groupedByEffectiveType();
    void filtered();
    void unknownTypesGetTheirGroup();
    void userTypesNameEvents();
    void range_data();
    void range();
    void overlapsAreThePlainCount();
};

void tst_ExportEvents::typesInTextOrder()
{
    const ExportEvents events(FakeStore(), everything());
    QCOMPARE(QStringList(events.byType().keys()).join(QLatin1Char(' ')),
             QStringLiteral("E11 E12 E13 E21 E22 E23 E31 E32 E33 E_ON E_PE NOTANEVENT SNAP"));
    QCOMPARE(events.count(), 0);
}

void tst_ExportEvents::groupedByEffectiveType()
{
    FakeStore store;
    store.addEvent(10, eventtype::E12, 2);
    EventRecord &event = store.addEvent(20, eventtype::E11, 2);
    event.isOverridden = true;
    event.overrideCode = eventtype::NotAnEvent;
    store.addEvent(30, eventtype::E12, 0);
    EventRecord &ignored = store.addEvent(40, eventtype::E33, 0);
    ignored.overrideCode = eventtype::NotAnEvent;
    const ExportEvents events(store, everything());
    QCOMPARE(text(events), QStringLiteral("E12=10,30 E33=40 NOTANEVENT=20"));
    QCOMPARE(events.count(), 4);
}

void tst_ExportEvents::filtered()
{
    FakeStore store;
    store.addEvent(10, eventtype::E12, 1);
    store.addEvent(20, eventtype::Snapshot, 1);
    ExportRequest request = everything();
    request.eventTypes = QStringList{QStringLiteral("E12"), QStringLiteral("E11")};
    const ExportEvents events(store, request);
    QCOMPARE(text(events), QStringLiteral("E12=10"));
    QCOMPARE(events.count(), 1);
    QCOMPARE(events.byType().size(), 2);
}

void tst_ExportEvents::unknownTypesGetTheirGroup()
{
    FakeStore store;
    for (const char *name : {"Arc", "arc", "gone"}) {
        EventRecord &event = store.addEvent(store.events.size() + 1ULL, eventtype::E11, 1);
        event.named = true;
        event.name = QString::fromLatin1(name);
    }
    ExportRequest request = everything();
    request.disabledTypes = QStringList{QStringLiteral("gone")};
    const ExportEvents events(store, request);
    QCOMPARE(text(events), QStringLiteral("Arc=1 arc=2"));
    QCOMPARE(events.count(), 2);
}

void tst_ExportEvents::userTypesNameEvents()
{
    FakeStore store;
    store.addEvent(10, eventtype::E11, 2);        // rises by 1 V
    store.addEvent(20, eventtype::E12, 30, true); // by 29 V
    store.addEvent(30, eventtype::E13, 0);
    eventType strong;
    strong.name = QStringLiteral("strong");
    strong.magnitude = 20;
    ExportRequest request = everything();
    request.eventTypes.append(strong.name);
    request.userTypes = {strong};
    QCOMPARE(text(ExportEvents(store, request)), QStringLiteral("E11=10 E13=30 strong=20"));
    request.eventTypes.removeAll(QStringLiteral("E12"));
    QCOMPARE(ExportEvents(store, request).count(), 3);
}

void tst_ExportEvents::range_data()
{
    QTest::addColumn<quint64>("from");
    QTest::addColumn<quint64>("to");
    QTest::addColumn<bool>("toIncluded");
    QTest::addColumn<QString>("found");
    QTest::newRow("start included, end excluded") << quint64(20) << quint64(40) << false << "E11=20,30";
    QTest::newRow("end included") << quint64(20) << quint64(40) << true << "E11=20,30,40";
    QTest::newRow("to the end of its millisecond") << quint64(20) << quint64(0) << true << "E11=20,30,40";
    QTest::newRow("largest") << quint64(0) << ~quint64(0) << true << "E11=10,20,30,40,1000";
    QTest::newRow("empty") << quint64(30) << quint64(20) << false << "";
}

void tst_ExportEvents::range()
{
    QFETCH(quint64, from);
    QFETCH(quint64, to);
    QFETCH(bool, toIncluded);
    FakeStore store;
    for (const quint64 time : {10U, 20U, 30U, 40U, 1000U})
        store.addEvent(time, eventtype::E11, 0);
    ExportRequest request = everything();
    request.from = from;
    request.to = to;
    request.toIncluded = toIncluded;
    QTEST(text(ExportEvents(store, request)), "found");
}

void tst_ExportEvents::overlapsAreThePlainCount()
{
    std::mt19937 random(5);
    QVector<EventRecord> events(200);
    for (EventRecord &event : events) {
        event.time = random() % 1000;
        event.snapshot3.time = event.time + random() % 100 - random() % 20; // some end before they start
    }
    const ExportEvents::Overlaps overlaps(events);
    for (int i = 0; i < 500; ++i) {
        RunRecord run;
        run.start = random() % 1000;
        run.end = run.start + random() % 200;
        int expected = 0;
        for (const EventRecord &event : events)
            expected += event.time <= run.end && event.endTime() >= run.start;
        QCOMPARE(overlaps.count(run), expected);
    }
}

QTEST_GUILESS_MAIN(tst_ExportEvents)
#include "tst_exportevents.moc"
