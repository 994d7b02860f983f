#include "recipe/reciperules.h"

#include <QtTest>

#include <functional>

using reciperules::BrokenRule;

namespace {

using Change = std::function<void(Recipe &)>;

const char *const stepName = "Please enter the Step's Name";
const char *const amplitudes = "Minimum Event Amplitude values must be entered in increasing order";
const char *const lengths = "Maximum Event Lenght values must be entered in increasing order";
const char *const snapshots = "The Snapshots Time is greater than the Duration of the step";
const char *const filter = "The Pulse Filter Length is greater than the Pulse Frequency";
const char *const period =
    "Pulse max period (pulse period + period error margin) cannot be greater than the RF ON-OFF switch time";
const char *const timeOn = "Pulse time on too low. Pulse period * Duty Cycle must be greater than 4 microseconds";

QString messages(const QVector<BrokenRule> &rules)
{
    QStringList list;
    for (const BrokenRule &rule : rules)
        list.append(rule.message);
    return list.join(QLatin1Char('\n'));
}

QString join(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list.append(QString::fromLatin1(text));
    return list.join(QLatin1Char('\n'));
}

Change setLevels(void (Recipe::*first)(int, qint32), void (Recipe::*second)(int, qint32),
                 void (Recipe::*third)(int, qint32), int a, int b, int c)
{
    return [=](Recipe &recipe) {
        (recipe.*first)(0, a);
        (recipe.*second)(0, b);
        (recipe.*third)(0, c);
    };
}

Change amplitude(int a, int b, int c)
{
    return setLevels(&Recipe::setEventMinAmp1, &Recipe::setEventMinAmp2, &Recipe::setEventMinAmp3, a, b, c);
}

Change length(int a, int b, int c)
{
    return setLevels(&Recipe::setEventMaxLen1, &Recipe::setEventMaxLen2, &Recipe::setEventMaxLen3, a, b, c);
}

Change snapshot(bool enabled, int delay, int number, int duration)
{
    return [=](Recipe &recipe) {
        recipe.setSnapshotEnabled(0, enabled);
        recipe.setSnapshotDelay(0, delay);
        recipe.setSnapshotNumber(0, number);
        recipe.setDuration(0, duration);
    };
}

struct Pulse
{
    bool enabled = false;
    int frequency = 100;
    int duty = 50;
    int margin = 3;
    int filterLength = 1;
    int switchTime = 3000;
};

Change pulse(const Pulse &pulse)
{
    return [=](Recipe &recipe) {
        recipe.setPulseEnabled(0, pulse.enabled);
        recipe.setPulseFrequency(0, pulse.frequency);
        recipe.setPulseDutyCycle(0, pulse.duty);
        recipe.setPulsePeriodEm(0, pulse.margin);
        recipe.setPulseFilterLength(0, pulse.filterLength);
        recipe.setRfonoffSwitchTime(0, pulse.switchTime);
    };
}

} // namespace

Q_DECLARE_METATYPE(Change)

class tst_RecipeRules : public QObject
{
    Q_OBJECT

private slots:
    void stepRules_data();
    void stepRules();
    void stepLimit();
    void recipeRules_data();
    void recipeRules();
    void rulesOfAllSteps();
};

void tst_RecipeRules::stepRules_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("broken");
    const QString none;
    const auto row = [](const char *name, const Change &change, const QString &broken) {
        QTest::newRow(name) << change << broken;
    };
    row(
        "default step", [](Recipe &) {}, none);
    row(
        "no name", [](Recipe &recipe) { recipe.setStepName(0, QString()); }, join({stepName}));

    row("equal amplitudes", amplitude(10, 10, 50), none);
    row("first amplitude too high", amplitude(21, 20, 50), join({amplitudes}));
    row("second amplitude too high", amplitude(10, 60, 50), join({amplitudes}));
    row("both amplitudes are told once", amplitude(70, 60, 50), join({amplitudes}));
    row("equal lengths", length(7, 7, 7), none);
    row("first length too high", length(101, 100, 500), join({lengths}));
    row("second length too high", length(50, 501, 500), join({lengths}));

    row("snapshots as long as the step", snapshot(true, 1000000, 5, 5), join({snapshots}));
    row("snapshots just shorter", snapshot(true, 1000000, 4, 5), none);
    row("snapshots disabled", snapshot(false, 1000000, 5, 5), none);
    row("a step beyond 2147 s", snapshot(true, 1000, 1, 2148), none);
    row("snapshots beyond 32 bits", snapshot(true, 10000000, 10000, 86400), join({snapshots}));

    row("filter below the period", pulse({true, 100, 50, 3, 9999, 3000}), none);
    row("filter equal to the period", pulse({true, 100, 50, 3, 10000, 3000}), join({filter}));
    row("filter without pulses", pulse({false, 100, 50, 3, 10000, 3000}), none);
    row("filter just below a period with a fraction", pulse({true, 3, 50, 3, 333333, 3000}), none);
    row("filter just above it", pulse({true, 3, 50, 3, 333334, 3000}), join({filter}));
    row("no pulse frequency", pulse({true, 0, 50, 3, 0, 3000}), join({filter, timeOn}));
    row("no pulse frequency, negative filter", pulse({true, 0, 50, 3, -1, 3000}), join({timeOn}));
    row("no pulse frequency, no pulses", pulse({false, 0, 50, 3, 0, 3000}), join({timeOn}));

    row("period equal to the switch time", pulse({false, 1000, 50, 0, 1, 1}), join({period}));
    row("margin reaches the switch time", pulse({false, 2000, 50, 500, 1, 1}), join({period}));
    row("margin just below", pulse({false, 2000, 50, 499, 1, 1}), none);
    row("no switch time", pulse({true, 100, 50, 3, 1, 0}), join({period}));

    row("3 us on", pulse({false, 100000, 30, 3, 1, 3000}), join({timeOn}));
    row("4 us on", pulse({true, 100000, 40, 3, 1, 3000}), none);

    row(
        "everything, in order",
        [](Recipe &recipe) {
            recipe.setStepName(0, QString());
            amplitude(3, 2, 1)(recipe);
            length(3, 2, 1)(recipe);
            snapshot(true, 1, 1, 0)(recipe);
            pulse({true, 100000, 1, 3, 1000, 0})(recipe);
        },
        join({stepName, amplitudes, lengths, snapshots, filter, period, timeOn}));
}

void tst_RecipeRules::stepRules()
{
    QFETCH(Change, change);
    Recipe recipe;
    recipe.initDefault(1);
    change(recipe);
    QTEST(messages(reciperules::brokenStepRules(recipe, 0)), "broken");
}

void tst_RecipeRules::stepLimit()
{
    Recipe recipe;
    recipe.initDefault(40);
    QCOMPARE(messages(reciperules::brokenStepRulesWhenAdding(recipe, 0, 39)), QString());
    recipe.setStepName(0, QString());
    QCOMPARE(messages(reciperules::brokenStepRulesWhenAdding(recipe, 0, 40)),
             join({"Cannot add more than 40 steps", stepName}));
    QCOMPARE(messages(reciperules::brokenStepRules(recipe, 0)), join({stepName}));
}

void tst_RecipeRules::recipeRules_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("steps");
    QTest::addColumn<QString>("broken");
    QTest::newRow("good") << "Etch" << 1 << "";
    QTest::newRow("empty") << "" << 1 << "Please enter the recipe name";
    QTest::newRow("48 characters") << QString(48, QLatin1Char('x')) << 1 << "";
    QTest::newRow("49 characters") << QString(49, QLatin1Char('x')) << 1
                                   << "Recipe name is too long. It must have less than 49 characters.";
    QTest::newRow("reserved") << "DefaultRecipe" << 1
                              << "The name 'DefaultRecipe' is reserved. Please, choose a different one";
    QTest::newRow("reserved in another case") << "defaultrecipe" << 1 << "";
    QTest::newRow("no steps") << "Etch" << 0 << "Recipe has no steps";
    QTest::newRow("in order") << "" << 0 << "Please enter the recipe name\nRecipe has no steps";
}

void tst_RecipeRules::recipeRules()
{
    QFETCH(QString, name);
    QFETCH(int, steps);
    QTEST(messages(reciperules::brokenRecipeRules(name, steps)), "broken");
}

void tst_RecipeRules::rulesOfAllSteps()
{
    Recipe recipe;
    recipe.initDefault(42);
    recipe.setStepName(3, QString());
    QStringList steps;
    for (const BrokenRule &rule : reciperules::brokenStepRulesOfAll(recipe))
        steps.append(QStringLiteral("%1:%2").arg(rule.step).arg(static_cast<int>(rule.rule)));
    QCOMPARE(steps.join(QLatin1Char(' ')), QStringLiteral("3:1 40:0 41:0"));
    QCOMPARE(reciperules::brokenStepRulesOfAll(Recipe()).size(), 0);
}

QTEST_GUILESS_MAIN(tst_RecipeRules)
#include "tst_reciperules.moc"
