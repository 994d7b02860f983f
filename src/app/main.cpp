#include "app/commandline.h"
#include "app/helppages.h"
#include "app/mainwindow.h"
#include "app/screenfit.h"
#include "base/log.h"
#include "base/platform.h"
#include "base/widgetprompts.h"
#include "display/look/theme.h"
#include "events/eventfilter.h"
#include "events/eventtypenames.h"
#include "session/appsettings.h"

#include <QApplication>
#include <QIcon>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

constexpr const char *questions[] = {"-h", "--help", "-v", "--version"};

QString versionText()
{
    return QStringLiteral("%1.%2.%3").arg(NORVEX_VERSION_MAJOR).arg(NORVEX_VERSION_MINOR).arg(NORVEX_VERSION_PATCH);
}

/// Help and version are told where there is no display, too.
bool tellsWithoutDisplay(int argc, char *argv[])
{
    const auto asks = [](const char *word) {
        return std::any_of(std::begin(questions), std::end(questions),
                           [word](const char *question) { return std::strcmp(word, question) == 0; });
    };
    if (argc < 2 || std::none_of(argv + 1, argv + argc, asks))
        return false;
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(versionText());
    const CommandLine line = parseCommandLine(QCoreApplication::arguments());
    if (!line.finished || line.exitCode != 0)
        return false;
    std::fputs(line.message.toLocal8Bit().constData(), stdout);
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    if (tellsWithoutDisplay(argc, argv))
        return 0;
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    platform::returnLargeMemory();
    QApplication application(argc, argv);
    QApplication::setOrganizationName(AppSettings::organisation());
    QApplication::setOrganizationDomain(AppSettings::domain());
    QApplication::setApplicationName(AppSettings::application());
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/Images/norvex.svg")));
    QApplication::setApplicationVersion(versionText());

    const CommandLine line = parseCommandLine(QApplication::arguments());
    if (!line.message.isEmpty())
        std::fputs(line.message.toLocal8Bit().constData(), line.exitCode == 0 ? stdout : stderr);
    if (line.finished)
        return line.exitCode;

    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    startLogFile(data + QStringLiteral("/norvex.log"), true);
    AppSettings settings(line.safe ? AppSettings::Source::Forgotten : AppSettings::Source::User);
    WidgetPrompts prompts;
    const HelpKey helpKey(prompts, nullptr);
    const ScreenFit screenFit;
    Theme theme(Theme::kindFromText(settings.value(QStringLiteral("window/theme")).toString()));
    theme.applyToApplication();
    eventTypeNames dictionary(data + QStringLiteral("/eventtypes.txt"));
    QString error;
    if (!dictionary.load(&error))
        logWarning(error);
    eventFilter filter(dictionary);
    filter.readSettings(settings.store());
    QObject::connect(&filter, &eventFilter::newFilter, &filter, [&] { filter.writeSettings(settings.store()); });

    MainWindow window({prompts, settings, theme, filter, dictionary, {}, {}});
    platform::onInterrupt([&window] { window.endNow(); });
    window.show();
    if (line.sessionFolder.isEmpty())
        window.openLastSession();
    else if (!window.openOrCreate(line.sessionFolder))
        window.startEmptySession();
    for (const SensorAddress &sensor : line.sensors)
        window.connectTo(sensor.host, sensor.port, sensor.chamber);
    return QApplication::exec();
}
