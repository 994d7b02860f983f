// Renders the main window and its dialogs into a folder, light and dark, while it records from two simulated sensors.
// Run it with QT_SCALE_FACTOR=2 for the second set.

#include "app/aboutdialog.h"
#include "app/mainwindow.h"
#include "display/look/theme.h"
#include "display/plot/arcplotdisplay.h"
#include "display/sensors/dataobjectwidget.h"
#include "display/sensors/sessionform.h"
#include "display/views/recordtable.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "pictures.h"
#include "sensor/sensordialog.h"
#include "session/appsettings.h"
#include "simulator/sensorsimulator.h"
#include "support/fakeprompts.h"

#include <QApplication>
#include <QDialog>
#include <QPainter>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>

#include <functional>
#include <iterator>
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

/// The window with the numbers by which the guide explains its parts.
void takeTour(pictures::Program &shots, MainWindow &window, const Theme &theme)
{
    if (!shots.wants("tour"))
        return;
    struct Part
    {
        const char *widget;
        Qt::Alignment edge; // of the widget, where its number stands
    };
    static const Part parts[] = {{"menuBar", Qt::AlignRight},        {"b_view4", Qt::AlignRight},
                                 {"sensorColumn", Qt::AlignBottom},  {"displayStack", Qt::AlignTop},
                                 {"displayStack", Qt::AlignVCenter}, {"b_addEvents", Qt::AlignRight},
                                 {"statusBar", Qt::AlignHCenter}};
    QPixmap picture = window.grab();
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font = window.font();
    font.setBold(true);
    painter.setFont(font);
    const int size = painter.fontMetrics().height() * 3 / 2;
    for (int i = 0; i < int(std::size(parts)); ++i) {
        const QString name = QLatin1String(parts[i].widget);
        const QWidget *const part =
            name == QLatin1String("statusBar") ? window.statusBar() : window.findChild<QWidget *>(name);
        if (!part)
            continue;
        const QRect area(part->mapTo(&window, QPoint()), part->size());
        const QRect inside = area.adjusted(4, 4, -4, -4);
        QRect circle(0, 0, size, size);
        circle.moveCenter(inside.center());
        if (parts[i].edge & Qt::AlignRight) // beside what is no wider than its text
            circle.moveLeft(name == QLatin1String("menuBar") ? inside.left() + inside.width() / 4 : area.right() + 12);
        if (parts[i].edge & Qt::AlignBottom)
            circle.moveBottom(inside.bottom() - inside.height() / 6);
        if (parts[i].edge & Qt::AlignHCenter) // where a status bar is free
            circle.moveLeft(inside.left() + inside.width() / 3);
        if (parts[i].edge & Qt::AlignTop)
            circle.moveTopLeft({inside.right() - size * 2, inside.top() + size / 2});
        painter.setPen(QPen(Qt::white, 2));
        painter.setBrush(QColor(0xcc, 0x22, 0x22));
        painter.drawEllipse(circle);
        painter.drawText(circle, Qt::AlignCenter, QString::number(i + 1));
    }
    painter.end();
    shots.save(picture, QStringLiteral("tour"), theme);
}

/// The dialog that `open` brings up, pictured and closed again; `open` may run its own event loop.
void takeDialog(pictures::Program &shots, const char *name, const Theme &theme, const std::function<void()> &open,
                const std::function<void(QDialog &)> &prepare = {})
{
    if (!shots.wants(name))
        return;
    QTimer::singleShot(200, [&] {
        settle(100);
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
        for (RecordTable *table : window.findChildren<RecordTable *>())
            if (table->isVisible())
                table->step(-12); // to a record whose surroundings are recorded too
        settle(400);
        takeIfWanted(shots, window, views[view], theme);
        if (view == 0)
            takeTour(shots, window, theme);
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
    takeDialog(shots, "export-tables", theme, [form] {
        QTimer::singleShot(100, form,
                           [form] { form->findChild<QPushButton *>(QStringLiteral("b_exportTables"))->click(); });
        form->exportData();
    });
    takeDialog(shots, "configure", theme, [card] { card->configureSensor(); });
    takeDialog(shots, "about", theme, [&window] { window.about(); });
    takeDialog(shots, "shortcuts", theme, [&window] { window.showShortcuts(); });
    takeDialog(shots, "licences", theme, [&window] { window.showLicences(); });
    takeDialog(shots, "help", theme, [&window] { window.helpHere(); });
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
    window.show();
    window.setWindowState(Qt::WindowNoState); // it fills a small screen, such as the one that nobody sees
    window.resize(1366, 768);
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
