#include "data/eventtypelist.h"
#include "data/samples.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

namespace {

eventType upward(const char *name, double magnitude)
{
    eventType type;
    type.name = QString::fromLatin1(name);
    type.magnitude = magnitude;
    return type;
}

QStringList namesOf(const QVector<eventType> &types)
{
    QStringList names;
    for (const eventType &type : types)
        names.append(type.name);
    return names;
}

} // namespace

class tst_EventFilter : public QObject
{
    Q_OBJECT

private slots:
    void everythingIsEnabledAtFirst();
    void announcesOnlyChanges();
    void followsTheDictionary();
    void keptInSettings();
    void namesEvents();
};

void tst_EventFilter::everythingIsEnabledAtFirst()
{
    eventTypeNames dictionary;
    dictionary.add(upward("arc", 1));
    const eventTypeFilter filter(dictionary);
    QCOMPARE(filter.enabledNames(), eventtype::names() + QStringList{QStringLiteral("arc")});
}

void tst_EventFilter::announcesOnlyChanges()
{
    eventTypeNames dictionary;
    eventTypeFilter filter(dictionary);
    QSignalSpy spy(&filter, &eventTypeFilter::newFilter);
    const QString snap = QStringLiteral("SNAP");
    filter.setEnabled(snap, true);
    filter.setAllEnabled(true);
    QCOMPARE(spy.count(), 0);
    filter.setEnabled(snap, false);
    filter.setEnabled(snap, false);
    QCOMPARE(spy.count(), 1);
    const auto types = spy.first().first().value<QVector<eventType>>();
    QCOMPARE(types.size(), 12);
    QCOMPARE(namesOf(types), filter.enabledNames());
    QVERIFY(!filter.enabledNames().contains(snap));
    filter.setAllEnabled(false);
    QVERIFY(filter.enabledTypes().isEmpty());
    QCOMPARE(spy.count(), 2);
    filter.setAllEnabled(true);
    QCOMPARE(filter.enabledNames().size(), 13);
}

void tst_EventFilter::followsTheDictionary()
{
    eventTypeNames dictionary;
    dictionary.add(upward("a", 1));
    eventTypeFilter filter(dictionary);
    filter.setAllEnabled(false);
    QSignalSpy spy(&filter, &eventTypeFilter::newFilter);
    dictionary.add(upward("b", 1));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(filter.enabledNames(), QStringList{QStringLiteral("b")});
    dictionary.remove(0);
    dictionary.add(upward("a", 1));
    QCOMPARE(filter.enabledNames(), QStringList({QStringLiteral("b"), QStringLiteral("a")}));
}

void tst_EventFilter::keptInSettings()
{
    QTemporaryDir folder;
    QSettings settings(folder.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    eventTypeNames dictionary;
    dictionary.add(upward("arc; 1, \"x\"", 1));
    eventTypeFilter filter(dictionary);
    filter.setEnabled(QStringLiteral("E12"), false);
    filter.setEnabled(dictionary.userType(0).name, false);
    filter.writeSettings(settings);

    eventTypeFilter again(dictionary);
    QSignalSpy spy(&again, &eventTypeFilter::newFilter);
    again.readSettings(settings);
    QCOMPARE(again.enabledNames(), filter.enabledNames());
    QCOMPARE(again.enabledNames().size(), 12);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(settings.childGroups(), QStringList{QStringLiteral("eventFilter")});
}

void tst_EventFilter::namesEvents()
{
    eventTypeNames dictionary;
    dictionary.add(upward("high", 50));
    dictionary.add(upward("low", 5));
    eventTypeFilter filter(dictionary);
    const QVector<SamplePoint> waveform = samples("0:0 1:60");
    const auto name = [&] { return eventtype::firstMatch(filter.enabledUserTypes(), waveform); };
    QCOMPARE(name(), QStringLiteral("high"));
    filter.setEnabled(QStringLiteral("high"), false);
    QCOMPARE(name(), QStringLiteral("low"));
    filter.setEnabled(QStringLiteral("low"), false);
    QVERIFY(filter.enabledUserTypes().isEmpty());
}

QTEST_GUILESS_MAIN(tst_EventFilter)
#include "tst_eventfilter.moc"
