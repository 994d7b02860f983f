#include "cli/sendcommand.h"

#include "base/platform.h"
#include "cli/reachability.h"
#include "cli/recipereport.h"
#include "recipe/recipefiles.h"
#include "sensor/webservice.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace {

constexpr int deadlineMs = 15000;

} // namespace

SendCommandLine::SendCommandLine()
    : CommandLine(
          QStringLiteral("send --sensor HOST[:PORT] (--recipe FILE | --config FILE | --snapshot)"),
          QStringLiteral("Sends one thing to a sensor and waits for its answer. A recording of the same sensor "
                         "goes on\nmeanwhile. A recipe that breaks a step rule or lies outside the sensor's frequency "
                         "range is not\nsent."))
{
    addValue(QStringLiteral("sensor"), QStringLiteral("HOST[:PORT]"), QStringLiteral("The sensor."));
    addValue(QStringLiteral("recipe"), QStringLiteral("FILE"), QStringLiteral("A .recipe file."));
    addValue(QStringLiteral("config"), QStringLiteral("FILE"), QStringLiteral("A .norvexconfig file."));
    addFlag(QStringLiteral("snapshot"), QStringLiteral("Ask for a snapshot event."));
    addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object when it was taken."));
}

CommandLine::Outcome SendCommandLine::parse(const QStringList &arguments, SendOptions &options)
{
    const Outcome outcome = CommandLine::parse(arguments, 0);
    if (outcome != Outcome::Run)
        return outcome;
    if (!isSet(QStringLiteral("sensor")))
        return complain(QStringLiteral("--sensor HOST[:PORT] is missing"));
    QString reason;
    if (!parseSensorAddress(value(QStringLiteral("sensor")), options.sensor, &reason))
        return complain(reason);
    const bool recipe = isSet(QStringLiteral("recipe"));
    const bool config = isSet(QStringLiteral("config"));
    const bool snapshot = isSet(QStringLiteral("snapshot"));
    if (int(recipe) + int(config) + int(snapshot) != 1)
        return complain(QStringLiteral("give one of --recipe, --config and --snapshot"));
    options.what = recipe   ? SendOptions::SendRecipe
                   : config ? SendOptions::SendConfiguration
                            : SendOptions::TriggerSnapshot;
    options.json = isSet(QStringLiteral("json"));
    options.file = value(recipe ? QStringLiteral("recipe") : QStringLiteral("config"));
    return outcome;
}

SendRun::SendRun(const SendOptions &options, Console &console) : m_options(options), m_console(console) {}

ExitCode SendRun::run()
{
    if (!readFile())
        return ExitCode::Failed;
    m_sensor = std::make_unique<arcSensor>(m_options.sensor.host, m_options.sensor.port);
    connect(m_sensor.get(), &arcSensor::statusUpdate, this, &SendRun::statusChanged);
    connect(m_sensor.get(), &arcSensor::uploadFinished, this, [this](int, bool ok, const QString &reason) {
        if (ok)
            tellSent();
        finish(ok ? ExitCode::Done : ExitCode::Failed,
               ok ? QString() : QStringLiteral("the sensor did not take it: %1").arg(reason));
    });
    QTimer::singleShot(deadlineMs, this, [this] {
        finish(ExitCode::Unusable, QStringLiteral("the sensor does not finish its answers"));
    });
    platform::onInterrupt([this] { finish(ExitCode::Failed, QStringLiteral("interrupted")); });
    QCoreApplication::exec();
    m_sensor->stop();
    return m_code;
}

bool SendRun::readFile()
{
    QString reason;
    const bool ok = m_options.what == SendOptions::SendRecipe ? recipefiles::load(m_options.file, m_recipe, reason)
                    : m_options.what == SendOptions::SendConfiguration
                        ? m_configuration.loadFromFile(m_options.file, &reason)
                        : true;
    if (ok && m_options.what == SendOptions::SendRecipe && m_recipe.isEmpty()) {
        m_console.complain(QStringLiteral("%1: it holds no steps").arg(m_options.file));
        return false;
    }
    if (!ok)
        m_console.complain(QStringLiteral("%1: %2").arg(m_options.file, reason));
    const QVector<BrokenRecipeRule> broken = brokenStepRules(m_recipe);
    for (const BrokenRecipeRule &rule : broken)
        m_console.complain(rule.text());
    return ok && broken.isEmpty();
}

/// The first answer decides: a connection that fails before it stands is not waited for.
void SendRun::statusChanged(const QString &message)
{
    if (message == QLatin1String("Connected")) {
        upload();
    } else if (message == QLatin1String("Reconnecting") && !m_asked) {
        const QString place = QStringLiteral("%1:%2").arg(m_options.sensor.host).arg(m_options.sensor.port);
        if (somethingListens(m_options.sensor.host, m_options.sensor.port))
            finish(ExitCode::Unusable, QStringLiteral("%1 answers, but not as a sensor does").arg(place));
        else
            finish(ExitCode::Unreachable, QStringLiteral("%1 cannot be reached").arg(place));
    }
}

void SendRun::upload()
{
    if (m_asked)
        return;
    m_asked = true;
    FrequencyRange range;
    PostOutcome outcome = PostOutcome::NotConnected;
    if (m_options.what == SendOptions::SendRecipe)
        outcome = m_sensor->postRecipe(m_recipe, &range);
    else if (m_options.what == SendOptions::SendConfiguration)
        outcome = m_sensor->postConfiguration(m_configuration);
    else
        outcome = m_sensor->triggerSnapshot();
    if (outcome == PostOutcome::FrequencyOutOfRange) {
        finish(
            ExitCode::Failed,
            QStringLiteral("One or more of the steps in the recipe has a frequency outside of the sensors range. The "
                           "sensors frequency range is between %1 Hz and %2 Hz")
                .arg(range.low)
                .arg(range.high));
    } else if (outcome == PostOutcome::NotConnected) {
        finish(ExitCode::Unreachable, QStringLiteral("the connection was lost"));
    }
}

void SendRun::tellSent()
{
    const QString serial = m_sensor->info().serial_number;
    const QString what = m_options.what == SendOptions::SendRecipe          ? QStringLiteral("recipe")
                         : m_options.what == SendOptions::SendConfiguration ? QStringLiteral("configuration")
                                                                            : QStringLiteral("snapshot request");
    if (m_options.json) {
        const QJsonObject result{{QStringLiteral("serial"), serial},
                                 {QStringLiteral("sent"), what},
                                 {QStringLiteral("file"), m_options.file}};
        m_console.out << QJsonDocument(result).toJson();
    } else {
        m_console.out << QStringLiteral("Sensor ") << serial << QStringLiteral(" has taken the ") << what << '\n';
    }
}

void SendRun::finish(ExitCode code, const QString &complaint)
{
    m_code = code;
    if (!complaint.isEmpty())
        m_console.complain(complaint);
    m_sensor->disconnect(this);
    QCoreApplication::exit();
}

ExitCode runSend(const QStringList &arguments, Console &console)
{
    SendCommandLine line;
    SendOptions options;
    const CommandLine::Outcome outcome = line.parse(arguments, options);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);
    return SendRun(options, console).run();
}
