#include "data/norvexdata.h"
#include "recipe/recipeform.h"
#include "sensor/arcsensor.h"
#include "simulator/sensorsimulator.h"
#include "support/fakeprompts.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

namespace {

constexpr int patience = 20000;
constexpr int rate = 10; // samples per second

/// The time of sensor and recorder alike; it stands still, so that nothing runs before the recipe is there.
class StillClock final : public Clock
{
public:
    qint64 utcMs() const override { return 1'700'000'000'000; }
    qint64 steadyMs() const override { return 0; }
};

LinkTimings quick()
{
    LinkTimings timings;
    timings.retryWait = 10;
    timings.pollPeriod = 5;
    timings.replyTimeout = 1000;
    timings.dispatchInterval = 1;
    return timings;
}

int durationOf(int step)
{
    return 2 + step % 3;
}

} // namespace

/// A recipe of the largest size on its whole way: made in the editor, kept in a file, sent to a sensor, read back from
/// it, followed by its runs and found in them.
class TestRecipeJourney : public QObject
{
    Q_OBJECT

private slots:
    void fortySteps();
};

void TestRecipeJourney::fortySteps()
{
    const QTemporaryDir dir;
    FakePrompts prompts;
    RecipeForm form(prompts, {dir.filePath(QStringLiteral("Recipes")), dir.filePath(QStringLiteral("Drafts"))});
    const auto spin = [&](const char *name) { return form.findChild<QSpinBox *>(QLatin1String(name)); };
    form.findChild<QLineEdit *>(QStringLiteral("le_recipeName"))->setText(QStringLiteral("Ätzen 40 / µ"));
    int seconds = 0;
    for (int i = 0; i < 40; ++i) {
        spin("sb_duration")->setValue(durationOf(i));
        spin("sb_frequency")->setValue(13000000 + 20000 * i);
        spin("sb_threshold")->setValue(i % 4 == 1 ? 30 + i : 0);
        spin("sb_eventMaxLen2")->setValue(100 + i);
        form.findChild<QCheckBox *>(QStringLiteral("cb_strikeEventEnabled"))->setChecked(i % 2 == 0);
        form.stepAdd();
        seconds += durationOf(i);
    }
    QCOMPARE(form.recipe().numberOfSteps(), 40);
    QString saved;
    connect(&form, &RecipeForm::recipeSaved, this, [&saved](const QString &path) { saved = path; });
    form.saveFile();
    Recipe file;
    QVERIFY(file.loadFromFile(saved));
    QVERIFY(file == form.recipe());

    const StillClock clock;
    SimulatorOptions options;
    options.rate = rate;
    options.clock = &clock;
    options.arcsPerMinute = 0;
    options.pauseLengthMs = 8000;
    SensorSimulator sensor(options);
    QVERIFY(sensor.start());
    const auto store = std::make_shared<norvexData>(clock);
    store->setSensorSerial(options.serial);
    store->setFolderName(QStringLiteral("sensor"));
    arcSensor link(QStringLiteral("127.0.0.1"), sensor.port(), quick(), clock);
    int told = 0;
    bool taken = false;
    connect(&link, &arcSensor::recipeUpdated, this, [&told] { ++told; });
    connect(&link, &arcSensor::uploadFinished, this, [&taken](int, bool ok) { taken = ok; });
    link.setStore(store);
    QTRY_COMPARE_WITH_TIMEOUT(told, 1, patience); // the sensor's own
    QCOMPARE(link.postRecipe(file), PostOutcome::Sent);
    QTRY_VERIFY_WITH_TIMEOUT(taken, patience);
    QVERIFY(sensor.lastRecipe() == file);
    const int before = told;
    link.requestRecipe();
    QTRY_VERIFY_WITH_TIMEOUT(told > before, patience);
    QVERIFY(store->recipe() == file);

    // One run of the recipe and the pause after it.
    sensor.preload((seconds + 8) * rate, 0);
    QTRY_COMPARE_WITH_TIMEOUT(store->runCount(), 1, patience);
    const RunRecord run = store->runsInRange(0, ~quint64(0)).value(0);
    link.stop();
    QVERIFY(run.recipe == file);
    const double length = static_cast<double>(run.end - run.start) * 1e-6;
    QVERIFY2(qAbs(length - seconds) < 2, qPrintable(QString::number(length)));
    // Every step was entered: each has left the mean of the one before it.
    QCOMPARE(run.stepMeans.size(), 40);
    for (int step = 1; step < 40; ++step)
        QVERIFY2(run.stepMeans.at(step).voltage > 20, qPrintable(QString::number(step)));
    QVERIFY(run.stepMeans.at(1).time < run.stepMeans.at(39).time);
}

QTEST_MAIN(TestRecipeJourney)
#include "tst_recipejourney.moc"
