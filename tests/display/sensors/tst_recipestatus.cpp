#include "display/sensors/recipestatus.h"

#include <QtTest>

using State = PostedRecipe::State;

Q_DECLARE_METATYPE(RecipeFacts)

class TestRecipeStatus : public QObject
{
    Q_OBJECT

private slots:
    void status_data();
    void status();
};

void TestRecipeStatus::status_data()
{
    QTest::addColumn<RecipeFacts>("facts");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("tip"); // without the words that are always there
    QTest::addColumn<bool>("problem");
    const auto row = [](const char *name, const RecipeFacts &facts, const char *label, const char *tip, bool problem) {
        QTest::newRow(name) << facts << QString::fromUtf8(label) << QString::fromUtf8(tip) << problem;
    };
    RecipeFacts facts;
    row("nothing yet", facts, "Current Active Recipe",
        "Sensor: not connected, so what it runs is not known\nStored with the data: none\n"
        "Last sent: none since this window was opened",
        false);
    facts.storedName = QStringLiteral("Etch");
    facts.storedSteps = 1;
    facts.connected = true;
    row("connected, not told", facts, "Etch",
        "Sensor: has not told its recipe yet\nStored with the data: \"Etch\", 1 step\n"
        "Last sent: none since this window was opened",
        false);
    facts.told = true;
    facts.sensorName = QStringLiteral("Clean");
    facts.sensorDiffers = true;
    facts.storedSteps = 4;
    facts.runningStep = 1;
    facts.runningStepName = QStringLiteral("Ramp");
    facts.posted = {State::Taken, QStringLiteral("Etch"), QString(), QStringLiteral("12:00")};
    row("all three differ", facts, "Etch",
        "Sensor, when last asked, ran: \"Clean\" (not as it is stored), step 2 of 4 \"Ramp\"\nStored with the data: "
        "\"Etch\", 4 steps\n"
        "Last sent: \"Etch\", taken at 12:00",
        false);
    facts.runningStep = -1;
    facts.posted = {State::OnItsWay, QStringLiteral("New"), QString(), QString()};
    row("on its way", facts, "Sending New...",
        "Sensor, when last asked, ran: \"Clean\" (not as it is stored)\nStored with the data: \"Etch\", 4 steps\nLast "
        "sent: \"New\", on "
        "its way",
        false);
    facts.posted = {State::Refused, QStringLiteral("New"), QStringLiteral("out of range"), QStringLiteral("12:01")};
    row("refused", facts, "Etch (New refused)",
        "Sensor, when last asked, ran: \"Clean\" (not as it is stored)\nStored with the data: \"Etch\", 4 steps\n"
        "Last sent: \"New\", refused at 12:01: out of range",
        true);
    facts.posted.state = State::Failed;
    facts.posted.name.clear();
    row("failed", facts, "Etch (the last one not sent)",
        "Sensor, when last asked, ran: \"Clean\" (not as it is stored)\nStored with the data: \"Etch\", 4 steps\n"
        "Last sent: a recipe without a name, failed at 12:01: out of range",
        true);
}

void TestRecipeStatus::status()
{
    QFETCH(RecipeFacts, facts);
    const RecipeStatus found = recipeStatus(facts);
    QTEST(found.label, "label");
    QFETCH(QString, tip);
    QCOMPARE(found.tip, QStringLiteral("The recipes of this sensor\n") + tip);
    QTEST(found.problem, "problem");
}

QTEST_APPLESS_MAIN(TestRecipeStatus)
#include "tst_recipestatus.moc"
