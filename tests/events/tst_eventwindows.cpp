#include "data/eventtypelist.h"
#include "events/eventfilterpanel.h"
#include "events/eventtypecreator.h"
#include "support/fakeprompts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

template <typename T>
T *get(const QWidget &window, const char *name)
{
    return window.findChild<T *>(QLatin1String(name));
}

void type(const QWidget &window, const char *name, const char *text)
{
    get<QLineEdit>(window, name)->setText(QString::fromUtf8(text));
}

} // namespace

class TestEventWindows : public QObject
{
    Q_OBJECT

private slots:
    void createdTypesEnterTheDictionary_data();
    void createdTypesEnterTheDictionary();
    void colours();
    void cancelPutsBack();
    void aFileThatCannotBeWrittenIsTold();
    void thePanelFollowsFilterAndDictionary();
    void counts();
};

void TestEventWindows::createdTypesEnterTheDictionary_data()
{
    QTest::addColumn<QByteArray>("title");
    QTest::addColumn<QByteArray>("duration");
    QTest::addColumn<int>("direction");
    QTest::addColumn<QString>("description");
    QTest::newRow("arc") << QByteArray("arc") << QByteArray("20") << 2
                         << QStringLiteral("Type : arc Mag : 1.5 Min-dur : 20 us Dir :><");
    QTest::newRow("no title") << QByteArray() << QByteArray("7") << 0
                              << QStringLiteral("Type : event L3 Mag : 1.5 Min-dur : 7 us Dir :>");
    QTest::newRow("no duration") << QByteArray("dip") << QByteArray() << 1
                                 << QStringLiteral("Type : dip Mag : 1.5 Min-dur : 0 us Dir :<");
    QTest::newRow("words for a duration")
        << QByteArray("dip") << QByteArray("2 ms") << 1 << QStringLiteral("Type : dip Mag : 1.5 Min-dur : 0 us Dir :<");
}

void TestEventWindows::createdTypesEnterTheDictionary()
{
    QFETCH(QByteArray, title);
    QFETCH(QByteArray, duration);
    QFETCH(int, direction);
    eventTypeNames dictionary;
    dictionary.add({1, 1, 0, QStringLiteral("a")});
    dictionary.add({2, 2, 0, QStringLiteral("b")});
    FakePrompts prompts;
    eventTypeCreator dialog(dictionary, prompts);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
    QCOMPARE(get<QListWidget>(dialog, "eventList")->count(), 2);
    const QSignalSpy updated(&dictionary, &eventTypeNames::dictionaryUpdated);
    type(dialog, "titleEdit", title);
    type(dialog, "durationEdit", duration);
    get<QDoubleSpinBox>(dialog, "magnitudeEdit")->setValue(1.5);
    auto *box = get<QComboBox>(dialog, "directionBox");
    box->setCurrentIndex(box->findData(direction));
    get<QPushButton>(dialog, "createButton")->click();
    QCOMPARE(updated.count(), 1);
    QTEST(dictionary.userType(2).description(), "description");
    QTEST(get<QListWidget>(dialog, "eventList")->item(2)->text(), "description");
}

void TestEventWindows::colours()
{
    eventTypeNames dictionary;
    FakePrompts prompts;
    eventTypeCreator dialog(dictionary, prompts);
    const QString next = dictionary.nextColour();
    for (const char *colour : {"", "#12AB34", "red", "#zz"}) {
        type(dialog, "titleEdit", colour);
        type(dialog, "colorEdit", colour);
        dialog.createNewEvent();
    }
    QStringList kept;
    for (const auto &entry : dictionary.userTypes())
        kept.append(entry.colour);
    QCOMPARE(kept.mid(0, 3), (QStringList{next, QStringLiteral("#12ab34"), QStringLiteral("#ff0000")}));
    QVERIFY(eventTypeNames::paletteColours().contains(kept.last()));
    QVERIFY(get<QLabel>(dialog, "hintLabel")->text().contains(QStringLiteral("colour is not known")));
}

void TestEventWindows::cancelPutsBack()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("eventtypes.txt"));
    eventTypeNames dictionary(path);
    dictionary.add({1, 1, 0, QStringLiteral("a")}, QStringLiteral("#010203"));
    FakePrompts prompts;
    eventTypeCreator dialog(dictionary, prompts);
    type(dialog, "titleEdit", "b");
    dialog.createNewEvent();
    get<QListWidget>(dialog, "eventList")->setCurrentRow(0);
    get<QPushButton>(dialog, "deleteButton")->click();
    QCOMPARE(dictionary.names().mid(eventtype::builtInCount), QStringList{QStringLiteral("b")});
    dialog.reject();
    QCOMPARE(dictionary.names().mid(eventtype::builtInCount), QStringList{QStringLiteral("a")});
    eventTypeNames read(path);
    QVERIFY(read.load());
    QVERIFY(read.userTypes() == dictionary.userTypes());
    QCOMPARE(read.colour(QStringLiteral("a")), QStringLiteral("#010203"));
}

void TestEventWindows::aFileThatCannotBeWrittenIsTold()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    eventTypeNames dictionary(file.fileName() + QStringLiteral("/eventtypes.txt")); // below a file
    FakePrompts prompts;
    eventTypeCreator dialog(dictionary, prompts);
    dialog.createNewEvent();
    QCOMPARE(prompts.shown.size(), 1);
    QVERIFY(!prompts.lastMore.informative.isEmpty());
    QCOMPARE(dictionary.userTypeCount(), 1);
}

void TestEventWindows::thePanelFollowsFilterAndDictionary()
{
    eventTypeNames dictionary;
    eventTypeFilter filter(dictionary);
    eventFilterPanel panel(filter, dictionary);
    const auto boxes = [&] { return panel.findChildren<QCheckBox *>(); };
    QCOMPARE(boxes().size(), eventtype::builtInCount);
    const QSignalSpy told(&filter, &eventTypeFilter::newFilter);
    get<QCheckBox>(panel, "cb_E22")->click();
    QCOMPARE(told.count(), 1);
    QVERIFY(!filter.isEnabled(QStringLiteral("E22")));
    filter.setEnabled(QStringLiteral("E22"), true); // from elsewhere
    QVERIFY(get<QCheckBox>(panel, "cb_E22")->isChecked());
    QVERIFY(!get<QPushButton>(panel, "b_showAll")->isEnabled());
    get<QPushButton>(panel, "b_showNone")->click();
    QVERIFY(filter.enabledNames().isEmpty());
    QVERIFY(!get<QCheckBox>(panel, "cb_SNAP")->isChecked());

    dictionary.add({1, 1, 0, QStringLiteral("arc")});
    dictionary.add({1, 1, 0, QStringLiteral("arc")});
    QTRY_COMPARE_WITH_TIMEOUT(boxes().size(), eventtype::builtInCount + 1, 20000);
    QVERIFY(get<QCheckBox>(panel, "cb_arc")->isChecked()); // a new type is shown
    get<QPushButton>(panel, "b_showAll")->click();
    QCOMPARE(filter.enabledNames().size(), eventtype::builtInCount + 2);
}

void TestEventWindows::counts()
{
    eventTypeNames dictionary;
    eventTypeFilter filter(dictionary);
    eventFilterPanel panel(filter, dictionary);
    const auto *summary = get<QLabel>(panel, "lb_summary");
    QCOMPARE(summary->text(), QStringLiteral("No events yet"));
    panel.setCounts({{QStringLiteral("E11"), 12}, {QStringLiteral("E22"), 30}});
    QCOMPARE(summary->text(), QStringLiteral("42 events"));
    get<QCheckBox>(panel, "cb_E11")->click();
    QCOMPARE(summary->text(), QStringLiteral("30 of 42 events shown"));
}

QTEST_MAIN(TestEventWindows)
#include "tst_eventwindows.moc"
