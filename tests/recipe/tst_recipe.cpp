#include "recipe/recipe.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray golden(const QString &name)
{
    QFile file(QStringLiteral(NORVEX_TEST_DATA "/recipe/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Every field of every step has a value of its own, so that no two can be exchanged unseen.
Recipe distinctRecipe(int steps)
{
    Recipe recipe;
    recipe.setRecipeName(QStringLiteral("Etch; \"zwölf\""));
    for (int step = 0; step < steps; ++step) {
        recipe.addStep();
        recipe.setStepName(step, QStringLiteral("Schritt %1").arg(step));
        int number = 1000 * (step + 1);
#define NORVEX_RECIPE_FIELD(type, getter, setter)                                                                      \
    ++number;                                                                                                          \
    recipe.setter(step, std::is_same_v<type, bool> ? type(number % 2) : type(number));
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
    }
    return recipe;
}

/// The names in order, each followed by "|".
QString stepNames(const Recipe &recipe)
{
    QString names;
    for (int step = 0; step < recipe.numberOfSteps(); ++step)
        names += recipe.stepName(step) + QLatin1Char('|');
    return names;
}

} // namespace

class tst_Recipe : public QObject
{
    Q_OBJECT

private slots:
    void defaultBytes();
    void roundTrip_data();
    void roundTrip();
    void readsWhatOthersWrite_data();
    void readsWhatOthersWrite();
    void refusedDocumentChangesNothing_data();
    void refusedDocumentChangesNothing();
    void booleansAreOnlyTheNumberOne_data();
    void booleansAreOnlyTheNumberOne();
    void moveAndRemove_data();
    void moveAndRemove();
    void indexOutOfRange();
    void numberOfStepsKeepsArraysTogether();
    void fileNames_data();
    void fileNames();
    void filesThatCannotBeRead();
};

void tst_Recipe::defaultBytes()
{
    Recipe recipe;
    recipe.initDefault(1);
    QCOMPARE(recipe.toJSON(), golden(QStringLiteral("default.recipe")));
    Recipe read;
    QVERIFY(read.fromJSON(golden(QStringLiteral("default.recipe"))));
    QVERIFY(read == recipe);
}

void tst_Recipe::roundTrip_data()
{
    QTest::addColumn<int>("steps");
    for (const int steps : {0, 1, 9, 10, 40, 100})
        QTest::addRow("%d", steps) << steps;
}

void tst_Recipe::roundTrip()
{
    QFETCH(int, steps);
    const Recipe recipe = distinctRecipe(steps);
    for (const QByteArray &bytes : {recipe.toJSON(), recipe.toCompactJSON()}) {
        Recipe read;
        QVERIFY(read.fromJSON(bytes));
        QVERIFY(read == recipe);
    }
    QVERIFY(!recipe.toCompactJSON().contains('\n'));
    const QJsonObject object = QJsonDocument::fromJson(recipe.toJSON()).object();
    QCOMPARE(object.size(), steps + 2);
    if (steps == 100) {
        for (const auto *key : {"step_01", "step_09", "step_10", "step_99", "step_100"})
            QVERIFY2(object.contains(QLatin1String(key)), key);
    }
}

void tst_Recipe::readsWhatOthersWrite_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("names");
    QTest::addColumn<qint32>("firstDuration");
    const char *const none = "";
    QTest::newRow("count is ignored")
        << QByteArray(
               R"({"number_of_steps":5,"recipe_name":"r","step_01":{"step_name":"a","duration":7},"step_02":{"step_name":"b"}})")
        << "r"
        << "a|b|" << 7;
    QTest::newRow("a gap gives an empty step")
        << QByteArray(R"({"recipe_name":"r","step_01":{"step_name":"a"},"step_03":{"step_name":"c"}})") << "r"
        << "a||" << 0;
    QTest::newRow("an unknown member counts as a step")
        << QByteArray(R"({"recipe_name":"r","comment":1,"step_01":{"step_name":"a"}})") << "r"
        << "a||" << 0;
    QTest::newRow("wrong types read as nothing")
        << QByteArray(R"({"recipe_name":3,"step_01":{"step_name":[],"duration":"7"}})") << ""
        << "|" << 0;
    QTest::newRow("a step that is no object") << QByteArray(R"({"step_01":4})") << ""
                                              << "|" << 0;
    QTest::newRow("beyond 32 bits") << QByteArray(R"({"step_01":{"duration":4294967301}})") << ""
                                    << "|" << 0;
    QTest::newRow("empty object") << QByteArray("{}") << "" << none << 0;
    QTest::newRow("array at the top") << QByteArray("[1,2]") << "" << none << 0;
}

void tst_Recipe::readsWhatOthersWrite()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, names);
    Recipe recipe = distinctRecipe(3);
    QVERIFY(recipe.fromJSON(json));
    QTEST(recipe.recipeName(), "name");
    QCOMPARE(stepNames(recipe), names);
    QTEST(recipe.duration(0), "firstDuration");
}

void tst_Recipe::refusedDocumentChangesNothing_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    QTest::newRow("empty") << QByteArray() << "illegal value";
    QTest::newRow("cut") << QByteArray(R"({"recipe_name":"r","step_01":{)") << "unterminated object";
    QTest::newRow("another program's") << QByteArray("\x7f"
                                                     "ELF\2\1\1")
                                       << "illegal value";
    QTest::newRow("deep") << QByteArray(100000, '[') << "too deeply nested document";
}

void tst_Recipe::refusedDocumentChangesNothing()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, reason);
    const Recipe before = distinctRecipe(2);
    Recipe recipe = before;
    const QString line = QStringLiteral("Recipe::fromJSON Error reading recipe. ") + reason;
    QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
    QVERIFY(!recipe.fromJSON(json));
    QVERIFY(recipe == before);
}

void tst_Recipe::booleansAreOnlyTheNumberOne_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("1") << QByteArray("1") << true;
    QTest::newRow("0") << QByteArray("0") << false;
    QTest::newRow("2") << QByteArray("2") << false;
    QTest::newRow("-1") << QByteArray("-1") << false;
    QTest::newRow("true") << QByteArray("true") << false;
    QTest::newRow("text") << QByteArray("\"1\"") << false;
}

void tst_Recipe::booleansAreOnlyTheNumberOne()
{
    QFETCH(QByteArray, value);
    Recipe recipe;
    QVERIFY(recipe.fromJSON(R"({"step_01":{"pulse_enabled":)" + value + "}}"));
    QTEST(recipe.pulseEnabled(0), "enabled");
    QVERIFY(!recipe.snapshotEnabled(0));
}

void tst_Recipe::moveAndRemove_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to"); // -9: remove
    QTest::addColumn<QString>("order");
    QTest::newRow("forward") << 0 << 2 << "1203";
    QTest::newRow("back") << 3 << 0 << "3012";
    QTest::newRow("onto itself") << 2 << 2 << "0123";
    QTest::newRow("from before") << -1 << 0 << "0123";
    QTest::newRow("to before") << 0 << -1 << "0123";
    QTest::newRow("from behind") << 4 << 0 << "0123";
    QTest::newRow("to behind") << 0 << 4 << "0123";
    QTest::newRow("remove first") << 0 << -9 << "123";
    QTest::newRow("remove last") << 3 << -9 << "012";
    QTest::newRow("remove before") << -1 << -9 << "0123";
    QTest::newRow("remove behind") << 4 << -9 << "0123";
}

void tst_Recipe::moveAndRemove()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QString, order);
    const Recipe before = distinctRecipe(4);
    Recipe recipe = before;
    if (to == -9)
        recipe.removeStep(from);
    else
        recipe.moveStep(from, to);
    QCOMPARE(recipe.numberOfSteps(), order.size());
    for (int step = 0; step < order.size(); ++step) {
        const int origin = order.at(step).digitValue();
        QCOMPARE(recipe.stepName(step), before.stepName(origin));
#define NORVEX_RECIPE_FIELD(type, getter, setter) QCOMPARE(recipe.getter(step), before.getter(origin));
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
    }
}

void tst_Recipe::indexOutOfRange()
{
    Recipe recipe = distinctRecipe(2);
    const Recipe before = recipe;
    for (const int step : {-1, 2, 1 << 30}) {
        QCOMPARE(recipe.duration(step), 0);
        QCOMPARE(recipe.pulseEnabled(step), false);
        QCOMPARE(recipe.stepName(step), QString());
        recipe.setDuration(step, 5);
        recipe.setPulseEnabled(step, true);
        recipe.setStepName(step, QStringLiteral("x"));
    }
    QVERIFY(recipe == before);
    Recipe empty;
    empty.removeStep(0);
    QVERIFY(empty.isEmpty());
}

void tst_Recipe::numberOfStepsKeepsArraysTogether()
{
    Recipe recipe = distinctRecipe(2);
    recipe.setNumberOfSteps(3);
    QCOMPARE(recipe.rfonoffSwitchTime(1), distinctRecipe(2).rfonoffSwitchTime(1));
    QCOMPARE(recipe.rfonoffSwitchTime(2), 0);
    recipe.setRfonoffSwitchTime(2, 8);
    QCOMPARE(recipe.rfonoffSwitchTime(2), 8);
    recipe.setNumberOfSteps(-4);
    QVERIFY(recipe.isEmpty());
    recipe.addStep();
    QCOMPARE(recipe.rfonoffSwitchTime(0), 0);
}

void tst_Recipe::fileNames_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("written");
    QTest::newRow("without") << "a"
                             << "a.recipe";
    QTest::newRow("with") << "a.recipe"
                          << "a.recipe";
    QTest::newRow("inside") << "x.recipe.bak"
                            << "x.recipe.bak";
    QTest::newRow("other case") << "b.RECIPE"
                                << "b.RECIPE.recipe";
}

void tst_Recipe::fileNames()
{
    QFETCH(QString, given);
    QFETCH(QString, written);
    QTemporaryDir folder;
    const Recipe recipe = distinctRecipe(2);
    QVERIFY(recipe.saveToFile(folder.filePath(given)));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{written});
    Recipe read;
    QVERIFY(read.loadFromFile(folder.filePath(given)));
    QVERIFY(read == recipe);
}

void tst_Recipe::filesThatCannotBeRead()
{
    QTemporaryDir folder;
    const Recipe before = distinctRecipe(2);
    Recipe recipe = before;
    QVERIFY(!recipe.loadFromFile(QString()));
    QTest::ignoreMessage(QtDebugMsg, "Recipe::fromJSON Error reading recipe. illegal value");
    QVERIFY(!recipe.loadFromFile(folder.filePath(QStringLiteral("missing"))));
    QVERIFY(!recipe.loadFromFile(folder.path() + QStringLiteral("/.recipe/../")));

    QFile large(folder.filePath(QStringLiteral("large.recipe")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    large.write("{}");
    large.write(QByteArray(1 << 20, ' '));
    large.close();
    QVERIFY(!recipe.loadFromFile(large.fileName()));
    QVERIFY(recipe == before);

    QString error;
    QVERIFY(!recipe.saveToFile(folder.filePath(QStringLiteral("none/a")), &error));
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(tst_Recipe)
#include "tst_recipe.moc"
