#include "recipe/recipeeditor.h"
#include "recipe/stepfields.h"
#include "recipe/timelinelayout.h"

#include <QtTest>

#include <random>

namespace {

Recipe step(const char *name)
{
    Recipe one;
    one.initDefault(1);
    one.setStepName(0, QString::fromUtf8(name));
    return one;
}

QString changes(const RecipeEditor &editor)
{
    return editor.unsavedChanges().join(QLatin1Char('|'));
}

} // namespace

class tst_RecipeEditor : public QObject
{
    Q_OBJECT

private slots:
    void everyFieldIsCopied();
    void unsavedChangesFollowTheSavedState();
    void aNameIsOneCommand();
    void anyWalkLeadsBack();
    void timeline();
    void ticks_data();
    void ticks();
};

void tst_RecipeEditor::everyFieldIsCopied()
{
    Recipe from;
    from.addStep();
    from.setStepName(0, QStringLiteral("x"));
    for (std::size_t i = 0; i < stepFields().size(); ++i)
        stepFields()[i].setValue(from, 0, stepFields()[i].isSwitch ? 1 : int(i) + 1000);
    QVERIFY(singleStep(from, 0) == from);
    QCOMPARE(from.rfonoffSwitchTime(0), 1021);
    QVERIFY(from.strikeEventEnabled(0));
}

void tst_RecipeEditor::unsavedChangesFollowTheSavedState()
{
    RecipeEditor editor;
    QVERIFY(!editor.isModified());
    editor.addStep(step("A"));
    editor.addStep(step("B"));
    QCOMPARE(changes(editor), QStringLiteral("Add \"A\"|Add \"B\""));
    editor.markSaved();
    QVERIFY(!editor.isModified());
    editor.moveStep(0, 1);
    QCOMPARE(changes(editor), QStringLiteral("Move \"A\""));
    editor.undo();
    QVERIFY(!editor.isModified());
    editor.undo(); // before what was saved
    QCOMPARE(changes(editor), QStringLiteral("Undo: Add \"B\""));
    editor.addStep(step("C")); // what was saved cannot be reached any more
    QCOMPARE(changes(editor), QStringLiteral("Add \"A\"|Add \"C\""));

    Recipe other = step("X");
    other.setRecipeName(QStringLiteral("Other"));
    editor.load(other);
    QVERIFY(!editor.isModified());
    editor.removeStep(0);
    QCOMPARE(changes(editor), QStringLiteral("Delete \"X\""));
    editor.undo();
    editor.undo(); // the recipe before, with what of it was saved
    QVERIFY(editor.isModified());
    QCOMPARE(editor.recipe().numberOfSteps(), 2);
}

void tst_RecipeEditor::aNameIsOneCommand()
{
    RecipeEditor editor;
    for (const char *name : {"E", "Et", "Etc", "Etch"})
        editor.setName(QLatin1String(name));
    QCOMPARE(changes(editor), QStringLiteral("Rename to \"Etch\""));
    editor.undo();
    QVERIFY(!editor.canUndo());
    QCOMPARE(editor.recipe().recipeName(), QString());
    editor.redo();
    editor.setName(QStringLiteral("Etch 2"));
    editor.undo();
    QCOMPARE(editor.recipe().recipeName(), QStringLiteral("Etch"));
}

void tst_RecipeEditor::anyWalkLeadsBack()
{
    std::mt19937 random(7);
    RecipeEditor editor;
    QVector<Recipe> seen{editor.recipe()};
    int reached = 0;
    for (int i = 0; i < 900; ++i) { // more than are kept
        const int steps = editor.recipe().numberOfSteps();
        const Recipe before = editor.recipe();
        const int at = int(random() % 41U);
        switch (random() % 4U) {
        case 0:
            editor.addStep(step(QByteArray::number(i).constData()));
            break;
        case 1:
            editor.removeStep(at);
            break;
        case 2:
            editor.moveStep(at, steps - 1);
            break;
        default:
            editor.replaceStep(at, step(QByteArray::number(-i).constData()));
        }
        if (editor.recipe() != before) {
            seen.append(editor.recipe());
            ++reached;
        }
    }
    QVERIFY(reached > 300);
    int back = seen.size() - 1;
    while (editor.canUndo()) {
        editor.undo();
        QVERIFY(editor.recipe() == seen.at(--back));
    }
    while (editor.canRedo()) {
        editor.redo();
        QVERIFY(editor.recipe() == seen.at(++back));
    }
    QCOMPARE(back, seen.size() - 1);
}

void tst_RecipeEditor::timeline()
{
    Recipe recipe;
    recipe.initDefault(3);
    recipe.setDuration(0, 86400);
    recipe.setDuration(1, 0);
    recipe.setDuration(2, 86400 * 3);
    recipe.setSkipTime(2, 86400 * 30);
    recipe.setFrequency(2, 27120000);
    recipe.setThreshold(0, 50);
    recipe.setThreshold(2, 200);
    const timelinelayout::Layout layout = timelinelayout::layoutOf(recipe);
    QCOMPARE(layout.steps.at(0).right, 0.25);
    QCOMPARE(layout.steps.at(2).left, 0.25);
    QCOMPARE(layout.steps.at(2).right, 1.0);
    QCOMPARE(layout.steps.at(2).skipRight, 1.0);
    QVERIFY(layout.steps.at(2).frequency > layout.steps.at(0).frequency);
    QCOMPARE(layout.steps.at(0).threshold, 0.25);
    QCOMPARE(layout.stepAt(0.1), 0);
    QCOMPARE(layout.stepAt(0.25), 2);
    QCOMPARE(layout.stepAt(1.0), -1);
    QCOMPARE(timelinelayout::layoutOf(Recipe()).stepAt(0.5), -1);
}

void tst_RecipeEditor::ticks_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("texts");
    QTest::newRow("nothing") << qint64(0) << "";
    QTest::newRow("seconds") << qint64(5) << "0 s,1 s,2 s,3 s,4 s,5 s";
    QTest::newRow("minutes") << qint64(400) << "0 s,1 min,2 min,3 min,4 min,5 min,6 min";
    QTest::newRow("hours") << qint64(3 * 3600 + 700) << "0 s,30 min,1 h,1 h 30 min,2 h,2 h 30 min,3 h";
    QTest::newRow("forty days") << qint64(40 * 86400) << "0 s,240 h,480 h,720 h,960 h";
}

void tst_RecipeEditor::ticks()
{
    QFETCH(qint64, seconds);
    QStringList texts;
    for (const timelinelayout::Tick &tick : timelinelayout::ticks(seconds, 7))
        texts.append(tick.text);
    QTEST(texts.join(QLatin1Char(',')), "texts");
}

QTEST_GUILESS_MAIN(tst_RecipeEditor)
#include "tst_recipeeditor.moc"
