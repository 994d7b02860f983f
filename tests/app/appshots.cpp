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
#include "sensor/sensordialog.h"
#include "session/appsettings.h"
#include "simulator/sensorsimulator.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QPushButton>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTextStream>

#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int recordedSeconds = 240; // of the sensors' time

void settle(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

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

class Shots
{
public:
    Shots(const QDir &folder, const QString &only) : m_folder(folder), m_only(only) {}

    bool wants(const char *name) const { return m_only.isEmpty() || m_only == QLatin1String(name); }

    void take(QWidget &widget, const char *name, const Theme &theme)
    {
        if (!wants(name))
            return;
        const QString suffix =
            QStringLiteral("%1-%2x").arg(Theme::kindText(theme.kind())).arg(widget.devicePixelRatioF());
        m_ok =
            widget.grab().save(m_folder.filePath(QStringLiteral("%1-%2.png").arg(QLatin1String(name), suffix))) && m_ok;
    }

    bool ok() const { return m_ok; }

private:
    const QDir m_folder;
    const QString m_only;
    bool m_ok = true;
};

/// The dialog that `open` brings up, pictured and closed again; `open` may run its own event loop.
void takeDialog(Shots &shots, const char *name, const Theme &theme, const std::function<void()> &open,
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
            shots.take(*dialog, name, theme);
            dialog->reject();
        }
    });
    open();
    settle(1200);
}

void takeViews(Shots &shots, MainWindow &window, const Theme &theme)
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
        shots.take(window, views[view], theme);
    }
    press("b_viewSummary");
    settle(600);
    shots.take(window, "summary", theme);
    press("b_eventChart");
    settle(600);
    shots.take(window, "event-chart", theme);
    window.changeView(0);
}

void takeDialogs(Shots &shots, MainWindow &window, const Theme &theme)
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
    // The scale comes from QT_SCALE_FACTOR alone, not from the screen that happens to be there.
    QApplication::setAttribute(Qt::AA_DisableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication application(argc, argv);
    if (argc < 2) {
        QTextStream(stderr) << "usage: norvex_appshots FOLDER [SCENE]\n";
        return 2;
    }
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    folder.mkpath(QStringLiteral("."));
    Shots shots(folder, QString::fromLocal8Bit(argc > 2 ? argv[2] : ""));

    const QTemporaryDir temporary(QDir::tempPath() + QStringLiteral("/Norvex-XXXXXX"));
    AppSettings settings(AppSettings::Source::Forgotten);
    FakePrompts prompts; // nobody is there to answer a box
    Theme theme(Theme::Kind::Light);
    theme.applyToApplication();
    eventTypeNames dictionary(temporary.filePath(QStringLiteral("eventtypes.txt")));
    ::eventFilter filter(dictionary);
    Recorder::Options recorder;
    recorder.lockFolder = temporary.filePath(QStringLiteral("locks"));
    MainWindow window({prompts, settings, theme, filter, dictionary, recorder,
                       temporary.path(),
                       RecipeForm::Places{temporary.path(), temporary.filePath(QStringLiteral("Drafts"))}});
    window.resize(1366, 768);
    window.show();
    window.openOrCreate(temporary.filePath(QStringLiteral("Bay 3, November")));
    settle(400);
    for (const Theme::Kind kind : {Theme::Kind::Light, Theme::Kind::Dark}) {
        theme.setKind(kind);
        settle(200);
        shots.take(window, "empty", theme);
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
    return shots.ok() ? 0 : 1;
}
