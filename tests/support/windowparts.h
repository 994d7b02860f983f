#pragma once

#include "app/mainwindow.h"
#include "display/look/theme.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "session/appsettings.h"
#include "support/fakeprompts.h"

#include <QTemporaryDir>

#include <memory>

/// What a main window stands on, all in a folder of its own; it outlives its windows, as settings outlive a program.
struct WindowParts
{
    QTemporaryDir temporary;
    AppSettings settings{folder(QStringLiteral("settings.ini"))};
    Theme theme{Theme::Kind::Light};
    eventTypeNames dictionary{folder(QStringLiteral("eventtypes.txt"))};
    ::eventFilter filter{dictionary};
    FakePrompts prompts;

    QString folder(const QString &name) const { return temporary.filePath(name); }

    /// Shown, its sensors asked more often than the program does it.
    std::unique_ptr<MainWindow> openWindow()
    {
        Recorder::Options recorder;
        recorder.timings.retryWait = 100;
        recorder.timings.pollPeriod = 20;
        recorder.timings.dispatchInterval = 1;
        recorder.lockFolder = folder(QStringLiteral("locks"));
        auto window = std::make_unique<MainWindow>(MainWindow::Parts{
            prompts, settings, theme, filter, dictionary, recorder, folder(QStringLiteral("new")),
            RecipeForm::Places{folder(QStringLiteral("recipes")), folder(QStringLiteral("drafts"))}});
        window->show();
        return window;
    }
};
