// Renders windows into a folder, light and dark, at the screen's scale. Run it with QT_SCALE_FACTOR=2 for the second
// set.

#include "data/norvexdata.h"
#include "display/look/theme.h"
#include "display/plot/eventicon.h"
#include "display/sensors/dataobjectwidget.h"
#include "events/eventfilterpanel.h"
#include "events/eventtypecreator.h"
#include "pictures.h"
#include "recipe/recipeform.h"
#include "sensor/arcsensor.h"
#include "session/appsettings.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <functional>
#include <memory>

namespace {

FakePrompts prompts;

struct Scene
{
    const char *name;
    QSize size; // empty: the window's own
    std::function<std::unique_ptr<QWidget>(Theme &)> make;
};

Recipe etch(int steps)
{
    static const char *const names[] = {"Strike", "Stabilise", "Main etch", "Over etch", "Purge"};
    Recipe recipe;
    recipe.initDefault(steps);
    recipe.setRecipeName(QStringLiteral("Oxide etch 12"));
    for (int i = 0; i < steps; ++i) {
        recipe.setStepName(i, QLatin1String(names[i % 5]));
        recipe.setDuration(i, 3 + (i * 37) % 90);
        recipe.setFrequency(i, i % 5 == 2 ? 13450000 : i % 5 == 3 ? 13700000 : 13560000);
        recipe.setThreshold(i, i % 3 == 1 ? 40 + i * 10 : 0);
    }
    return recipe;
}

std::unique_ptr<RecipeForm> formWith(const Recipe &recipe)
{
    const QTemporaryDir dir;
    auto form =
        std::make_unique<RecipeForm>(prompts, RecipeForm::Places{dir.path(), dir.filePath(QStringLiteral("Drafts"))});
    if (!recipe.isEmpty()) {
        const QString path = dir.filePath(QStringLiteral("x.recipe"));
        recipe.saveToFile(path);
        form->openFile(path);
    }
    return form;
}

/// A dictionary and a filter that live with the window that shows them.
struct Types : QObject
{
    explicit Types(QObject *parent) : QObject(parent)
    {
        dictionary.add({35, 20, eventType::Inferior, QStringLiteral("Micro arc")});
        dictionary.add({120, 400, eventType::Superior, QStringLiteral("Overshoot after ignition")});
        dictionary.add({80, 1000, eventType::Either, QStringLiteral("event L3")});
    }
    eventTypeNames dictionary;
    eventTypeFilter filter{dictionary};
};

std::unique_ptr<QWidget> panel(Theme &theme)
{
    auto window = std::make_unique<QWidget>();
    auto *types = new Types(window.get());
    auto *panel = new eventFilterPanel(types->filter, types->dictionary, window.get());
    auto *layout = new QVBoxLayout(window.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(panel);
    panel->setIconSource(
        [types, panel, &theme](const QString &name) { return eventIcon(name, theme, types->dictionary, *panel); });
    QHash<QString, int> counts;
    int count = 7;
    for (const QString &name : types->dictionary.names().mid(0, 11))
        counts.insert(name, count = count * 5 % 4099);
    counts.insert(QStringLiteral("Micro arc"), 1284417);
    panel->setCounts(counts);
    types->filter.setEnabled(QStringLiteral("NOTANEVENT"), false);
    panel->setActivity(QStringLiteral("Matching event types: 42 %"));
    return window;
}

/// The card of a sensor to which a recipe could not be sent.
std::unique_ptr<QWidget> card()
{
    static AppSettings settings(AppSettings::Source::Forgotten);
    auto store = std::make_shared<norvexData>();
    store->setSensorSerial(QStringLiteral("NVX-0012"));
    store->setChamberSerial(QStringLiteral("Chamber 1"));
    store->setRecipe(etch(6));
    auto window = std::make_unique<QWidget>();
    auto *sensor = new arcSensor(QStringLiteral("127.0.0.1"), 9, {}, systemClock(), window.get());
    auto *card = new dataObjectWidget(store, sensor, prompts, settings, QDir::tempPath(), false, window.get());
    auto *layout = new QVBoxLayout(window.get());
    layout->addWidget(card);
    Recipe other = etch(3);
    other.setRecipeName(QStringLiteral("Clean"));
    card->postRecipe(other);
    return window;
}

std::unique_ptr<QWidget> creator()
{
    auto window = std::make_unique<QWidget>();
    auto *types = new Types(window.get());
    auto *dialog = new eventTypeCreator(types->dictionary, prompts, window.get());
    dialog->setWindowFlags(Qt::Widget);
    auto *layout = new QVBoxLayout(window.get());
    layout->addWidget(dialog);
    dialog->findChild<QLineEdit *>(QStringLiteral("titleEdit"))->setText(QStringLiteral("arc"));
    dialog->findChild<QLineEdit *>(QStringLiteral("durationEdit"))->setText(QStringLiteral("20 us"));
    return window;
}

std::vector<Scene> scenes()
{
    return {
        {"recipe-empty", {1100, 700}, [](Theme &) { return formWith({}); }},
        {"recipe",
         {1100, 700},
         [](Theme &) {
             auto form = formWith(etch(6));
             form->findChild<QTableWidget *>()->setCurrentCell(2, 0);
             return form;
         }},
        {"recipe-draft",
         {1100, 700},
         [](Theme &) {
             const QTemporaryDir dir;
             const RecipeForm::Places places{dir.path(), dir.filePath(QStringLiteral("Drafts"))};
             DraftKeeper(places.drafts).write({etch(12), etch(1), -1});
             return std::make_unique<RecipeForm>(prompts, places);
         }},
        {"recipe-rules",
         {1100, 760},
         [](Theme &) {
             auto form = formWith(etch(6));
             form->stepEdit();
             const auto spin = [&](const char *name) { return form->findChild<QSpinBox *>(QLatin1String(name)); };
             form->findChild<QLineEdit *>(QStringLiteral("le_stepName"))->clear();
             spin("sb_eventMinAmp1")->setValue(90);
             spin("sb_eventMaxLen1")->setValue(900);
             form->findChild<QCheckBox *>(QStringLiteral("cb_snapshotEnabled"))->click();
             spin("sb_snapshotNumber")->setValue(9000);
             form->findChild<QCheckBox *>(QStringLiteral("cb_pulseEnabled"))->click();
             spin("sb_pulseFrequency")->setValue(90000);
             spin("sb_pulseDutyCycle")->setValue(20);
             spin("sb_pulseFilterLength")->setValue(40);
             return form;
         }},
        {"recipe-40-steps-small",
         {880, 620},
         [](Theme &) {
             Recipe recipe = etch(40);
             recipe.setEventMinAmp1(4, 99);
             return formWith(recipe);
         }},
        {"event-panel", {250, 560}, [](Theme &theme) { return panel(theme); }},
        {"sensor-card", {300, 260}, [](Theme &) { return card(); }},
        {"event-creator", {480, 460}, [](Theme &) { return creator(); }},
    };
}

} // namespace

int main(int argc, char **argv)
{
    pictures::Program program(argc, argv);
    QFont font = QApplication::font();
    font.setPointSize(qEnvironmentVariableIsSet("LARGE_FONT") ? 14 : 9);
    QApplication::setFont(font);
    return program.run([&program](Theme &theme) {
        for (const Scene &scene : scenes()) {
            if (!program.wants(scene.name))
                continue;
            const std::unique_ptr<QWidget> window = scene.make(theme);
            if (!scene.size.isEmpty())
                window->resize(scene.size);
            window->show();
            pictures::settle(150);
            program.take(*window, QLatin1String(scene.name), theme);
        }
    });
}
