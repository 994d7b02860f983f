// Renders the main window and its dialogs into a folder, light and dark, while it records from two simulated sensors.
// Run it with QT_SCALE_FACTOR=2 for the second set.

#include "app/aboutdialog.h"
#include "app/mainwindow.h"
#include "display/arcplotdisplay.h"
#include "display/dataobjectwidget.h"
#include "display/sessionform.h"
#include "display/theme.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "pictures.h"
#include "sensor/sensordialog.h"
#include "session/appsettings.h"
#include "simulator/sensorsimulator.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <vector>

namespace {

using pictures::settle;

constexpr int recordedSeconds = 240; // of the sensors' time

std::unique_ptr<SensorSimulator> sensor(const QString &serial, quint64 seed)
{
    SimulatorOptions options;
    options.serial = serial;
    options.seed = seed;
    options.rate = 100;
    options.speed = 20;
    options.arcsPerMinute = 30;
    auto simulator = std::make_unique<SensorSimulator>(options);
    return simulator->start() ? std::move(simulator) : nullptr;
}

void takeIfWanted(pictures::Program &shots, QWidget &widget, const char *name, const Theme &theme)
{
    if (shots.wants(name))
        shots.take(widget, QLatin1String(name), theme);
}

/// The dialog that `open` brings up, pictured and closed again; `open` may run its own event loop.
void takeDialog(pictures::Program &shots, const char *name, const Theme &theme, const std::function<void()> &open,
                const std::function<void(QDialog &)> &prepare = {})
{
    if (!shots.wants(name))
        return;
    QTimer::singleShot(0, [&] {
        settle(300);
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            auto *dialog = qobject_cast<QDialog *>(widget);
            if (!dialog || !dialog->isVisible())
                continue;
            if (prepare)
                prepare(*dialog);
            settle(600);
            takeIfWanted(shots, *dialog, name, theme);
            dialog->reject();
        }
    });
    open();
    settle(1200);
}

void takeViews(pictures::Program &shots, MainWindow &window, const Theme &theme)
{
    static const char *const views[] = {"live", "runs", "events", "runs-overlay", "events-overlay"};
    const auto press = [&window](const char *button) {
        window.form()->findChild<QPushButton *>(QLatin1String(button))->click();
        settle(300);
    };
    window.form()->plot()->showWholeRange();
    press("b_addRuns");
    press("b_addEvents");
    for (int view = 0; view < 5; ++view) {
        window.changeView(view);
        settle(900);
        takeIfWanted(shots, window, views[view], theme);
    }
    press("b_viewSummary");
    settle(600);
    takeIfWanted(shots, window, "summary", theme);
    press("b_eventChart");
    settle(600);
    takeIfWanted(shots, window, "event-chart", theme);
    window.changeView(0);
}

void takeDialogs(pictures::Program &shots, MainWindow &window, const Theme &theme)
{
    SessionForm *const form = window.form();
    takeDialog(shots, "connect", theme, [form] { form->addSensor(); });
    takeDialog(shots, "export-choice", theme, [form] { form->exportData(); });
    dataObjectWidget *const card = form->displayedSensor();
    takeDialog(shots, "export", theme, [card] { emit card->exportRequested(); });
    takeDialog(shots, "configure", theme, [card] { card->configureSensor(); });
    takeDialog(shots, "about", theme, [&window] { window.about(); });
}

} // namespace

int main(int argc, char **argv)
{
    pictures::Program shots(argc, argv);
    if (!shots.isUsable())
        return shots.exitCode();
    const QTemporaryDir temporary(QDir::tempPath() + QStringLiteral("/Norvex-XXXXXX"));
    AppSettings settings(AppSettings::Source::Forgotten);
    FakePrompts prompts; // nobody is there to answer a box
    Theme theme(Theme::Kind::Light);
    theme.applyToApplication();
    eventTypeNames dictionary(temporary.filePath(QStringLiteral("eventtypes.txt")));
    ::eventFilter filter(dictionary);
    Recorder::Options recorder;
    recorder.lockFolder = temporary.filePath(QStringLiteral("locks"));
    MainWindow window({prompts, settings, theme, filter, dictionary, recorder, temporary.path(),
                       RecipeForm::Places{temporary.path(), temporary.filePath(QStringLiteral("Drafts"))}});
    window.resize(1366, 768);
    window.show();
    window.openOrCreate(temporary.filePath(QStringLiteral("Bay 3, November")));
    settle(400);
    for (const Theme::Kind kind : {Theme::Kind::Light, Theme::Kind::Dark}) {
        theme.setKind(kind);
        settle(200);
        takeIfWanted(shots, window, "empty", theme);
    }

    const auto first = sensor(QStringLiteral("NVX-0012"), 1);
    const auto second = sensor(QStringLiteral("NVX-0027"), 7);
    if (!first || !second)
        return 1;
    window.connectTo(QStringLiteral("127.0.0.1"), first->port(), QStringLiteral("Etch 1"));
    window.connectTo(QStringLiteral("127.0.0.1"), second->port(), QStringLiteral("Etch 2"));
    settle(recordedSeconds * 1000 / 20);
    for (const Theme::Kind kind : {Theme::Kind::Light, Theme::Kind::Dark}) {
        theme.setKind(kind);
        settle(200);
        takeViews(shots, window, theme);
        takeDialogs(shots, window, theme);
    }
    window.endNow();
    return shots.exitCode();
}
