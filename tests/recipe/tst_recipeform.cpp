#include "recipe/recipeform.h"
#include "support/fakeprompts.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QtTest>

namespace {

/// A form over a folder of its own, with a user who answers as the test says.
struct Desk
{
    QTemporaryDir dir;
    FakePrompts prompts;
    RecipeForm::Places places{dir.filePath(QStringLiteral("a/Recipes")), dir.filePath(QStringLiteral("a/Drafts"))};
    RecipeForm form{prompts, places};

    template <typename T>
    T *get(const char *name) const
    {
        return form.findChild<T *>(QLatin1String(name));
    }
    void set(const char *name, int value) const { get<QSpinBox>(name)->setValue(value); }
    void type(const char *name, const char *text) const { get<QLineEdit>(name)->setText(QString::fromUtf8(text)); }
    QTableWidget &table() const { return *get<QTableWidget>("tw_steps"); }
    QString cell(int row, int column) const { return table().item(row, column)->text(); }
    QString names() const
    {
        QStringList list;
        for (int row = 0; row < table().rowCount(); ++row)
            list.append(cell(row, 0));
        return list.join(QLatin1Char(' '));
    }
    void add(const char *name)
    {
        type("le_stepName", name);
        form.stepAdd();
    }
    QString file(const char *name) const { return places.recipes + QLatin1Char('/') + QLatin1String(name); }
    /// The texts of the boxes since the last call.
    QString boxes() { return prompts.takeShown().join(QLatin1Char('\n')); }
};

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

} // namespace

class TestRecipeForm : public QObject
{
    Q_OBJECT

private slots:
    void tableAndLabels();
    void everyBrokenRuleHasItsBox();
    void theFortyFirstStep();
    void editingHoldsEverythingElse();
    void deletingAsks();
    void movingKeepsTheColumn();
    void savingAndLoading();
    void savingFails();
    void namesBecomeFileNames();
    void badFilesChangeNothing_data();
    void badFilesChangeNothing();
    void pulseIndicators();
    void thresholdAndSwitches();
    void undoAndRedo();
    void closingNamesWhatIsUnsaved();
    void draftsOutliveTheWindow();
    void buttonsComeUpAgain();
    void namesAreNoMarkup();
    void valuesOutsideTheRangesAreTold();
};

void TestRecipeForm::tableAndLabels()
{
    Desk desk;
    QCOMPARE(desk.form.windowTitle(), QStringLiteral("Recipe Form"));
    desk.add("Strike");
    QStringList labels;
    for (int i = 0; i < desk.table().columnCount(); ++i)
        labels.append(desk.table().horizontalHeaderItem(i)->text());
    QCOMPARE(labels.join(QLatin1Char(',')),
             QStringLiteral("Name,Duration[s],Frequency[Hz],Skip time[s],Threshold[V],MEL1[µs],MEL2[µs],MEL3[µs],"
                            "MEA1[%],MEA2[%],MEA3[%]"));
    QCOMPARE(desk.table().verticalHeaderItem(0)->text(), QStringLiteral("Step"));
    Recipe expected;
    expected.initDefault(1);
    expected.setStepName(0, QStringLiteral("Strike"));
    expected.setRecipeName(QString());
    QVERIFY(desk.form.recipe() == expected);
    QStringList row;
    for (int i = 0; i < 11; ++i)
        row.append(desk.cell(0, i));
    QCOMPARE(row.join(QLatin1Char(' ')), QStringLiteral("Strike 5 13560000 1 0 50 100 500 10 20 50"));
}

void TestRecipeForm::everyBrokenRuleHasItsBox()
{
    Desk desk;
    desk.type("le_stepName", "");
    desk.set("sb_eventMinAmp1", 60);
    desk.set("sb_eventMaxLen3", 10);
    desk.get<QCheckBox>("cb_snapshotEnabled")->click();
    desk.set("sb_snapshotDelay", 1000000);
    desk.set("sb_snapshotNumber", 5);
    desk.set("sb_pulseFrequency", 100000);
    desk.set("sb_pulseDutyCycle", 30);
    QVERIFY(desk.get<QLabel>("lb_ruleLevels")->text().contains(QStringLiteral("Lenght values")));
    QVERIFY(desk.get<QLabel>("lb_rulePulse")->text().contains(QStringLiteral("Pulse time on too low")));
    desk.form.stepAdd();
    QCOMPARE(desk.boxes(),
             QStringLiteral("warn|Warning|Please enter the Step's Name\n"
                            "warn|Warning|Minimum Event Amplitude values must be entered in increasing order\n"
                            "warn|Warning|Maximum Event Lenght values must be entered in increasing order\n"
                            "warn|Warning|The Snapshots Time is greater than the Duration of the step\n"
                            "warn|Warning|Pulse time on too low. Pulse period * Duty Cycle must be greater than 4 "
                            "microseconds"));
    QCOMPARE(desk.table().rowCount(), 0);
    desk.form.saveFile();
    QCOMPARE(desk.boxes(), QStringLiteral("warn|Warning|Please enter the recipe name\n"
                                          "warn|Warning|Recipe has no steps"));
    QVERIFY(!QFileInfo::exists(desk.places.recipes));
}

void TestRecipeForm::theFortyFirstStep()
{
    Desk desk;
    for (int i = 0; i < 40; ++i)
        desk.form.stepAdd();
    QCOMPARE(desk.cell(39, 0), QStringLiteral("Step 40")); // the name counts on by itself
    QCOMPARE(desk.boxes(), QString());
    desk.form.stepAdd();
    QCOMPARE(desk.boxes(), QStringLiteral("warn|Warning|Cannot add more than 40 steps"));
    desk.form.stepEdit();
    desk.set("sb_duration", 77);
    desk.form.stepEditConfirm();
    QCOMPARE(desk.boxes(), QString());
    QCOMPARE(desk.form.recipe().duration(39), 77);
}

void TestRecipeForm::editingHoldsEverythingElse()
{
    Desk desk;
    desk.add("A");
    desk.add("B");
    desk.table().setCurrentCell(0, 3);
    QTest::ignoreMessage(QtDebugMsg, "RecipeForm: editing step");
    desk.form.stepEdit();
    QCOMPARE(desk.get<QLineEdit>("le_stepName")->text(), QStringLiteral("A"));
    QVERIFY(!desk.table().isEnabled());
    for (const char *button : {"b_stepEdit", "b_stepDelete", "b_stepMoveUp", "b_stepMoveDown", "b_loadFile"}) {
        QVERIFY2(!desk.get<QPushButton>(button)->isEnabled(), button);
        QVERIFY2(!desk.get<QPushButton>(button)->toolTip().isEmpty(), button);
    }
    desk.table().setCurrentCell(1, 0); // whatever moves the selection
    desk.form.stepDelete();
    desk.form.stepMoveUp();
    desk.form.stepAdd();
    desk.form.saveFile();
    QVERIFY(desk.get<QLabel>("lb_editorNote")->text().contains(QStringLiteral("Confirm or cancel")));
    QCOMPARE(desk.names(), QStringLiteral("A B"));
    desk.type("le_stepName", "");
    desk.form.stepEditConfirm();
    QCOMPARE(desk.boxes(), QStringLiteral("warn|Warning|Please enter the Step's Name"));
    desk.type("le_stepName", "C");
    QTest::ignoreMessage(QtDebugMsg, "RecipeForm: Step Editing finished");
    desk.form.stepEditConfirm();
    QCOMPARE(desk.names(), QStringLiteral("C B"));
    QVERIFY(desk.table().isEnabled());

    desk.form.stepEdit();
    desk.type("le_stepName", "D");
    desk.form.reject(); // Escape leaves the step, not the window
    QCOMPARE(desk.boxes(), QString());
    QCOMPARE(desk.names(), QStringLiteral("C B"));
}

void TestRecipeForm::deletingAsks()
{
    Desk desk;
    desk.form.stepDelete(); // nothing chosen
    desk.add("A");
    desk.add("B");
    desk.prompts.yes = false;
    desk.form.stepDelete();
    QCOMPARE(desk.boxes(), QStringLiteral("ask|Warning|Are you sure you want to remove step at row nº2?"));
    QCOMPARE(desk.names(), QStringLiteral("A B"));
    desk.prompts.yes = true;
    desk.form.stepDelete();
    QCOMPARE(desk.names(), QStringLiteral("A"));
    QCOMPARE(desk.table().currentRow(), 0);
}

void TestRecipeForm::movingKeepsTheColumn()
{
    Desk desk;
    for (const char *name : {"A", "B", "C"})
        desk.add(name);
    desk.table().setCurrentCell(2, 4);
    desk.form.stepMoveDown();
    QCOMPARE(desk.names(), QStringLiteral("A B C"));
    desk.form.stepMoveUp();
    desk.form.stepMoveUp();
    desk.form.stepMoveUp();
    QCOMPARE(desk.names(), QStringLiteral("C A B"));
    QCOMPARE(desk.table().currentRow(), 0);
    QCOMPARE(desk.table().currentColumn(), 4);
}

void TestRecipeForm::savingAndLoading()
{
    Desk desk;
    desk.set("sb_duration", 3000); // beyond 32 bits in microseconds
    desk.get<QCheckBox>("cb_snapshotEnabled")->click();
    desk.get<QCheckBox>("cb_strikeEventEnabled")->click();
    desk.add("A");
    desk.set("sb_threshold", 120);
    desk.add("B");
    desk.type("le_recipeName", "Etch");
    desk.form.saveFile();
    QCOMPARE(desk.boxes(),
             QStringLiteral("inform|Recipe saved successfully!|Saved \"Etch\" in directory ") + desk.places.recipes);
    const Recipe saved = desk.form.recipe();

    Desk other;
    other.form.loadFile(); // cancelled
    QCOMPARE(other.table().rowCount(), 0);
    other.add("X");
    other.prompts.paths = QStringList{desk.file("Etch.recipe")};
    other.boxes();
    other.form.loadFile();
    QCOMPARE(other.boxes(), QStringLiteral("open|Open Recipe File|recipe(*.recipe)"));
    QVERIFY(other.form.recipe() == saved);
    QCOMPARE(other.names(), QStringLiteral("A B"));
    QCOMPARE(other.get<QLineEdit>("le_recipeName")->text(), QStringLiteral("Etch"));
    other.form.undo();
    QCOMPARE(other.names(), QStringLiteral("X"));
}

void TestRecipeForm::savingFails()
{
    Desk desk;
    desk.add("A");
    desk.type("le_recipeName", "Etch");
    QVERIFY(QDir().mkpath(desk.file("Etch.recipe"))); // a folder stands where the file would be
    desk.form.saveFile();
    QCOMPARE(desk.boxes(), QStringLiteral("warn|Warning|Unable to create file:") + desk.file("Etch.recipe"));
    QVERIFY(!desk.prompts.lastMore.informative.isEmpty());
    QVERIFY(desk.get<QLabel>("lb_status")->text().contains(QStringLiteral("Unsaved")));
}

void TestRecipeForm::namesBecomeFileNames()
{
    Desk desk;
    desk.add("A");
    desk.type("le_recipeName", R"(../a\b:c*?"<>|d)");
    desk.form.saveFile();
    QCOMPARE(QDir(desk.places.recipes).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral(".._a_b_c______d.recipe")});
    Recipe read;
    QVERIFY(read.loadFromFile(desk.file(".._a_b_c______d.recipe")));
    QCOMPARE(read.recipeName(), QStringLiteral(R"(../a\b:c*?"<>|d)"));

    // The same file name for another recipe: both are kept, however often they are saved.
    for (const char *name : {".._a_b_c______d", R"(../a\b:c*?"<>|d)", ".._a_b_c______d"}) {
        desk.type("le_recipeName", name);
        desk.form.saveFile();
        QVERIFY(desk.prompts.lastMore.informative.contains(QStringLiteral(".._a_b_c______d")));
    }
    QCOMPARE(QDir(desk.places.recipes).entryList(QDir::Files | QDir::Hidden).size(), 2);
    QVERIFY(read.loadFromFile(desk.file(".._a_b_c______d.recipe")));
    QCOMPARE(read.recipeName(), QStringLiteral(R"(../a\b:c*?"<>|d)"));
    QVERIFY(read.loadFromFile(desk.file(".._a_b_c______d (2).recipe")));
    QCOMPARE(read.recipeName(), QStringLiteral(".._a_b_c______d"));
}

void TestRecipeForm::badFilesChangeNothing_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("truncated") << QByteArray(R"({"recipe_name": "x", "step_01": {"dura)");
    QTest::newRow("another program") << QByteArray(R"({"window": {"width": 3}})");
    QTest::newRow("list") << QByteArray("[1, 2, 3]");
    QTest::newRow("no steps") << QByteArray(R"({"recipe_name": "x", "number_of_steps": 4})");
    QTest::newRow("huge") << QByteArray((1 << 20) + 1, ' ');
    QTest::newRow("thousands of steps") << [] {
        QByteArray text(R"({"recipe_name": "x")");
        for (int i = 0; i < 5000; ++i)
            text += ",\"k" + QByteArray::number(i) + "\":0";
        return text + "}";
    }();
}

void TestRecipeForm::badFilesChangeNothing()
{
    QFETCH(QByteArray, bytes);
    Desk desk;
    desk.add("A");
    const Recipe before = desk.form.recipe();
    const QString path = desk.dir.filePath(QStringLiteral("bad.recipe"));
    writeFile(path, bytes);
    desk.prompts.paths = QStringList{path};
    desk.form.loadFile();
    QCOMPARE(desk.prompts.shown.size(), 2);
    QCOMPARE(desk.prompts.shown.last(), QStringLiteral("warn|Warning|Unable to read a recipe from the file:") + path);
    QVERIFY(!desk.prompts.lastMore.informative.isEmpty());
    QVERIFY(desk.form.recipe() == before);
    QCOMPARE(desk.names(), QStringLiteral("A"));
}

void TestRecipeForm::pulseIndicators()
{
    Desk desk;
    desk.set("sb_pulseFrequency", 200); // nothing follows while pulses are off
    QCOMPARE(desk.get<QLabel>("lb_pulseFrequency")->text(), QStringLiteral("Hz"));
    desk.get<QCheckBox>("cb_pulseEnabled")->click();
    QCOMPARE(desk.get<QLabel>("lb_pulseFrequency")->text(), QStringLiteral("Hz (5000 µs)"));
    QCOMPARE(desk.get<QLabel>("lb_pulseDutyCycle")->text(), QStringLiteral("% (Ton =2500 µs)"));
    QCOMPARE(desk.get<QLabel>("lb_pulsePeriodEm")->text(), QStringLiteral("µs (4997~5003)"));
    QCOMPARE(desk.get<QLabel>("lb_pulseDutyCycleEm")->text(), QStringLiteral("µs (2497~2503)"));
    QCOMPARE(desk.get<QSpinBox>("sb_pulseDutyCycleEm")->maximum(), 2498);
    desk.set("sb_pulseFrequency", 3);
    QCOMPARE(desk.get<QLabel>("lb_pulseFrequency")->text(), QStringLiteral("Hz (333333 µs)"));

    const auto *filter = desk.get<QSpinBox>("sb_pulseFilterLength");
    QCOMPARE(filter->styleSheet(), QStringLiteral("QSpinBox { background-color: #FEE2E2}"));
    QCOMPARE(filter->toolTip(), QStringLiteral("The filter length is too low for this pulse period"));
    desk.set("sb_pulseFilterLength", 5);
    QVERIFY(filter->styleSheet().isEmpty());
    QCOMPARE(filter->toolTip(), QStringLiteral("The filter length is too low for this pulse period"));
    desk.set("sb_pulseFrequency", 5000);
    QCOMPARE(filter->toolTip(), QStringLiteral("The filter length is too high for this pulse period"));
    desk.set("sb_pulseFrequency", 0);
    QCOMPARE(desk.get<QLabel>("lb_pulseFrequency")->text(), QStringLiteral("Hz (0 µs)"));
    QCOMPARE(desk.get<QSpinBox>("sb_pulseDutyCycleEm")->value(), 0);
}

void TestRecipeForm::thresholdAndSwitches()
{
    Desk desk;
    QVERIFY(!desk.get<QLineEdit>("le_thresholdVolts")->isEnabled());
    QCOMPARE(desk.get<QLabel>("lb_threshold")->text(), QStringLiteral("(Disabled)"));
    desk.set("sb_threshold", 150);
    QVERIFY(desk.get<QLineEdit>("le_thresholdVolts")->isEnabled());
    QCOMPARE(desk.get<QLineEdit>("le_thresholdVolts")->text(), QStringLiteral("150 V"));
    QCOMPARE(desk.get<QLabel>("lb_threshold")->text(), QString());
    QCOMPARE(
        desk.get<QSpinBox>("sb_threshold")->toolTip(),
        QStringLiteral("Set the threshold for the multilevel pulse detection. Disabled by default (Voltage = 0).\r\n"
                       "Make sure that this value is at least above the Signal Base Threshold set in the sensor "
                       "configuration."));
    for (const auto &pair : {std::make_pair("cb_pulseEnabled", "sb_pulseFilterLength"),
                             std::make_pair("cb_snapshotEnabled", "sb_snapshotNumber")}) {
        QVERIFY(!desk.get<QSpinBox>(pair.second)->isEnabled());
        desk.get<QCheckBox>(pair.first)->click();
        QVERIFY(desk.get<QSpinBox>(pair.second)->isEnabled());
        desk.get<QCheckBox>(pair.first)->click();
        QVERIFY(!desk.get<QSpinBox>(pair.second)->isEnabled());
    }
}

void TestRecipeForm::undoAndRedo()
{
    Desk desk;
    desk.form.undo();
    desk.add("A");
    desk.add("B");
    desk.form.stepMoveUp();
    desk.form.stepDelete();
    desk.type("le_recipeName", "Etch");
    QCOMPARE(desk.names(), QStringLiteral("A"));
    QStringList seen;
    while (desk.get<QPushButton>("b_undo")->isEnabled()) {
        desk.form.undo();
        seen.append(desk.names());
    }
    QCOMPARE(seen.join(QLatin1Char('|')), QStringLiteral("A|B A|A B|A|"));
    while (desk.get<QPushButton>("b_redo")->isEnabled())
        desk.form.redo();
    QCOMPARE(desk.names(), QStringLiteral("A"));
    QCOMPARE(desk.get<QLineEdit>("le_recipeName")->text(), QStringLiteral("Etch"));
    // The offered name goes with the last step there is; one that was typed stays.
    desk.add("Etch 2");
    desk.add("Etch 3");
    desk.form.undo();
    QCOMPARE(desk.get<QLineEdit>("le_stepName")->text(), QStringLiteral("Etch 3"));
    desk.type("le_stepName", "Purge 7");
    desk.form.undo();
    QCOMPARE(desk.get<QLineEdit>("le_stepName")->text(), QStringLiteral("Purge 7"));
    // In a field that has nothing to undo the keys mean the recipe.
    desk.form.show();
    desk.form.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&desk.form, 20000));
    desk.get<QSpinBox>("sb_duration")->setFocus();
    QTest::keyClick(desk.get<QSpinBox>("sb_duration"), Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(desk.form.recipe().recipeName(), QString());
}

void TestRecipeForm::closingNamesWhatIsUnsaved()
{
    Desk desk;
    desk.prompts.yes = false;
    desk.form.show();
    desk.form.close();
    QCOMPARE(desk.boxes(), QStringLiteral("ask|Warning|Are you sure you want to close this window?"));
    QCOMPARE(desk.prompts.lastMore.informative, QStringLiteral("Nothing is unsaved."));
    desk.add("Ramp");
    desk.form.close();
    QVERIFY(desk.prompts.lastMore.informative.contains(QStringLiteral("Add \"Ramp\"")));
    QVERIFY(desk.form.isVisible());
    desk.set("sb_duration", 9);
    QTest::ignoreMessage(QtDebugMsg, "RecipeForm: closing window");
    desk.form.reject();
    QVERIFY(desk.prompts.lastMore.informative.contains(QStringLiteral("not added")));
    desk.prompts.yes = true;
    desk.form.close();
    QVERIFY(!desk.form.isVisible());
}

void TestRecipeForm::draftsOutliveTheWindow()
{
    FakePrompts prompts;
    const QTemporaryDir dir;
    const RecipeForm::Places places{dir.filePath(QStringLiteral("Recipes")), dir.filePath(QStringLiteral("Drafts"))};
    const QDir drafts(places.drafts);
    const auto kept = [&] { return drafts.entryList({QStringLiteral("*.draft")}, QDir::Files).size(); };
    auto first = std::make_unique<RecipeForm>(prompts, places);
    first->findChild<QLineEdit *>(QStringLiteral("le_recipeName"))->setText(QStringLiteral("Etch"));
    first->stepAdd();
    first->stepEdit();
    first->findChild<QSpinBox *>(QStringLiteral("sb_duration"))->setValue(42);
    QTRY_COMPARE_WITH_TIMEOUT(kept(), 1, 20000);
    {
        const RecipeForm beside(prompts, places); // the first window still holds its draft
        QVERIFY(beside.findChild<QWidget *>(QStringLiteral("fr_draft"))->isHidden());
    }
    first.reset(); // without closing: as after a crash

    RecipeForm second(prompts, places);
    QVERIFY(!second.findChild<QWidget *>(QStringLiteral("fr_draft"))->isHidden());
    second.findChild<QPushButton *>(QStringLiteral("b_draftRestore"))->click();
    QVERIFY(second.findChild<QWidget *>(QStringLiteral("fr_draft"))->isHidden());
    QCOMPARE(second.recipe().recipeName(), QStringLiteral("Etch"));
    QCOMPARE(second.recipe().duration(0), 5);
    QCOMPARE(kept(), 1);
    second.stepEditConfirm();
    QCOMPARE(second.recipe().duration(0), 42);
    second.saveFile();
    QCOMPARE(kept(), 0);
    QCOMPARE(prompts.shown.size(), 1);
}

void TestRecipeForm::buttonsComeUpAgain()
{
    Desk desk;
    desk.form.show();
    auto *save = desk.get<QPushButton>("b_saveFile");
    bool wasDown = false;
    desk.prompts.during = [&] { wasDown = save->isDown(); };
    QTest::mousePress(save, Qt::LeftButton);
    QVERIFY(wasDown);
    QVERIFY(!save->isDown());
    QCOMPARE(desk.prompts.shown.size(), 2);
    QTest::mouseRelease(save, Qt::LeftButton);
    QCOMPARE(desk.prompts.shown.size(), 2);
}

void TestRecipeForm::namesAreNoMarkup()
{
    Desk desk;
    desk.add("<img src=x>");
    QVERIFY(desk.table().item(0, 0)->toolTip().contains(QStringLiteral("&lt;img")));
    QVERIFY(desk.get<QPushButton>("b_undo")->toolTip().contains(QStringLiteral("&lt;img")));
}

void TestRecipeForm::valuesOutsideTheRangesAreTold()
{
    Desk desk;
    Recipe odd;
    odd.initDefault(1);
    odd.setFrequency(0, 200000000);
    odd.setPulseEnabled(0, true);
    odd.setPulsePeriodEm(0, -4);
    odd.setPulseDutyCycleEm(0, 6000); // of a time on of 5000 us
    QVERIFY(odd.saveToFile(desk.dir.filePath(QStringLiteral("odd.recipe"))));
    QVERIFY(desk.form.openFile(desk.dir.filePath(QStringLiteral("odd.recipe"))));
    QCOMPARE(desk.cell(0, 2), QStringLiteral("200000000"));
    desk.form.stepEdit();
    const QString note = desk.get<QLabel>("lb_editorNote")->text();
    QVERIFY2(note.contains(QStringLiteral("Frequency 200000000 became 100000000")), qPrintable(note));
    QVERIFY2(note.contains(QStringLiteral("-4 became 0")), qPrintable(note));
    QVERIFY2(note.contains(QStringLiteral("6000 became 4998")), qPrintable(note));
}

QTEST_MAIN(TestRecipeForm)
#include "tst_recipeform.moc"
