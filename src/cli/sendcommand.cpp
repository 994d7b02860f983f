#include "cli/sendcommand.h"

#include "base/platform.h"
#include "cli/reachability.h"
#include "cli/recipereport.h"
#include "recipe/configurationfields.h"
#include "recipe/configurationlimits.h"
#include "recipe/recipefiles.h"
#include "sensor/sensorrequest.h"
#include "sensor/webservice.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <utility>

namespace {

constexpr int deadlineMs = 15000;

QStringList contradictionsOf(const SensorConfiguration &configuration)
{
    QStringList reasons;
    const QVector<ConfigurationProblem> problems = configurationProblems(configuration);
    for (const ConfigurationProblem &problem : problems)
        reasons.append(problem.reason);
    return reasons;
}

} // namespace

SendCommandLine::SendCommandLine()
    : CommandLine(
          QStringLiteral("send --sensor HOST[:PORT] (--recipe FILE | --config FILE | --snapshot) [--json]"),
          QStringLiteral("Sends one thing to a sensor and waits for its answer. A recording of the same sensor "
                         "goes on\nmeanwhile. A recipe that breaks a step rule or lies outside the sensor's frequency "
                         "range is not\nsent, nor a configuration with a value that makes no sense. What a "
                         "configuration file does not\ncarry keeps the value that it has in the sensor. Exit code 12 "
                         "when the sensor cannot be reached or\ndoes not answer, 13 when it answers but does not "
                         "confirm it."))
{
    addValue(QStringLiteral("sensor"), QStringLiteral("HOST[:PORT]"), QStringLiteral("The sensor."));
    addValue(QStringLiteral("recipe"), QStringLiteral("FILE"), QStringLiteral("A .recipe file."));
    addValue(QStringLiteral("config"), QStringLiteral("FILE"), QStringLiteral("A .norvexconfig file."));
    addFlag(QStringLiteral("snapshot"), QStringLiteral("Ask for a snapshot event."));
    addFlag(QStringLiteral("json"), QStringLiteral("Print one JSON object, with \"error\" when it was not taken."));
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
    if (!options.sensor.chamber.isEmpty())
        return complain(QStringLiteral("--sensor needs HOST[:PORT] without a chamber, not '%1'")
                            .arg(value(QStringLiteral("sensor"))));
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
    const QStringList problems = m_options.what == SendOptions::SendRecipe          ? readRecipe()
                                 : m_options.what == SendOptions::SendConfiguration ? readConfiguration()
                                                                                    : QStringList();
    if (!problems.isEmpty()) {
        tellFailed(problems);
        return m_code;
    }
    m_sensor = std::make_unique<arcSensor>(m_options.sensor.host, m_options.sensor.port);
    connect(m_sensor.get(), &arcSensor::statusUpdate, this, &SendRun::statusChanged);
    connect(m_sensor.get(), &arcSensor::uploadFinished, this,
            [this](int, bool ok, const QString &reason) { uploadFinished(ok, reason); });
    QTimer::singleShot(deadlineMs, this, [this] {
        finish(ExitCode::Unusable, {QStringLiteral("the sensor does not finish its answers")});
    });
    platform::onInterrupt([this] { finish(ExitCode::Failed, {QStringLiteral("interrupted")}); });
    QCoreApplication::exec();
    m_reader.reset();
    m_sensor->stop();
    return m_code;
}

/// What keeps the file from being sent.
QStringList SendRun::readRecipe()
{
    QString reason;
    if (!recipefiles::load(m_options.file, m_recipe, reason))
        return {QStringLiteral("%1: %2").arg(m_options.file, reason)};
    if (m_recipe.isEmpty())
        return {QStringLiteral("%1: it holds no steps").arg(m_options.file)};
    QStringList problems;
    const QVector<BrokenRecipeRule> broken = brokenStepRules(m_recipe);
    for (const BrokenRecipeRule &rule : broken)
        problems.append(rule.text());
    return problems;
}

QStringList SendRun::readConfiguration()
{
    QString reason;
    if (!m_configuration.read(m_options.file, &reason))
        return {QStringLiteral("%1: %2").arg(m_options.file, reason)};
    QStringList problems = m_configuration.problems;
    if (problems.isEmpty() && m_configuration.missing.isEmpty())
        problems = contradictionsOf(m_configuration.configuration);
    for (QString &problem : problems)
        problem = QStringLiteral("%1: %2").arg(m_options.file, problem);
    return problems;
}

/// The first answer decides: a connection that fails before it stands is not waited for.
void SendRun::statusChanged(const QString &message)
{
    const bool wasSilent = std::exchange(m_timedOut, message == QLatin1String("Connection timed out"));
    if (message == QLatin1String("Connected")) {
        upload();
    } else if (message == QLatin1String("Reconnecting") && !m_asked) {
        const QString place = QStringLiteral("%1:%2").arg(m_options.sensor.host).arg(m_options.sensor.port);
        const bool listens = somethingListens(m_options.sensor.host, m_options.sensor.port);
        if (listens && wasSilent)
            finish(ExitCode::Unreachable, {QStringLiteral("%1 does not answer in time").arg(place)});
        else if (listens)
            finish(ExitCode::Unusable, {QStringLiteral("%1 answers, but not as a sensor does").arg(place)});
        else
            finish(ExitCode::Unreachable, {QStringLiteral("%1 cannot be reached").arg(place)});
    }
}

void SendRun::upload()
{
    if (m_asked)
        return;
    m_asked = true;
    if (m_options.what == SendOptions::SendConfiguration && !m_configuration.missing.isEmpty())
        askConfiguration();
    else
        post();
}

void SendRun::askConfiguration()
{
    const auto refuse = [this](ExitCode code, const QString &reason) {
        finish(code, {QStringLiteral("%1 does not carry every field (%2), and what the sensor has in them cannot be "
                                     "read: %3. Nothing was sent")
                          .arg(m_options.file, m_configuration.missingTitles().join(QStringLiteral(", ")), reason)});
    };
    m_reader = std::make_unique<SensorWorker>();
    connect(m_reader.get(), &SensorWorker::processReply, this, &SendRun::completeConfiguration);
    connect(m_reader.get(), &SensorWorker::processReplyError, this,
            [this, refuse] { refuse(codeOfSilence(), m_reader->lastErrorText()); });
    connect(m_reader.get(), &SensorWorker::replyTimedOut, this,
            [refuse] { refuse(ExitCode::Unreachable, QStringLiteral("no answer in time")); });
    m_reader->queueGet(sensorrequest::downloadUrl(m_options.sensor.host, m_options.sensor.port,
                                                  sensorrequest::page(eMessage::Config)));
    m_reader->start();
}

void SendRun::completeConfiguration(const QByteArray &page)
{
    SensorConfiguration own;
    if (!own.configFromJSON(page)) {
        finish(ExitCode::Unusable, {QStringLiteral("%1 does not carry every field, and the sensor's own configuration "
                                                   "is none. Nothing was sent")
                                        .arg(m_options.file)});
        return;
    }
    m_configuration.completeFrom(own);
    const QStringList problems = contradictionsOf(m_configuration.configuration);
    if (!problems.isEmpty())
        return finish(ExitCode::Failed, problems);
    post();
}

void SendRun::post()
{
    FrequencyRange range;
    PostOutcome outcome = PostOutcome::NotConnected;
    if (m_options.what == SendOptions::SendRecipe)
        outcome = m_sensor->postRecipe(m_recipe, &range);
    else if (m_options.what == SendOptions::SendConfiguration)
        outcome = m_sensor->postConfiguration(m_configuration.configuration);
    else
        outcome = m_sensor->triggerSnapshot();
    if (outcome == PostOutcome::FrequencyOutOfRange) {
        finish(ExitCode::Failed,
               {QStringLiteral("One or more of the steps in the recipe has a frequency outside of the sensors range. "
                               "The sensors frequency range is between %1 Hz and %2 Hz")
                    .arg(range.low)
                    .arg(range.high)});
    } else if (outcome == PostOutcome::NotConnected) {
        finish(ExitCode::Unreachable, {QStringLiteral("the connection was lost")});
    }
}

void SendRun::uploadFinished(bool ok, const QString &reason)
{
    if (ok) {
        tellSent();
        finish(ExitCode::Done);
    } else if (m_timedOut) {
        finish(ExitCode::Unreachable,
               {QStringLiteral("the sensor did not say whether it took the %1: %2").arg(what(), reason)});
    } else {
        finish(codeOfSilence(), {QStringLiteral("the sensor has not confirmed the %1: %2").arg(what(), reason)});
    }
}

/// Of an exchange that failed: a sensor that is still there has answered, in its way.
ExitCode SendRun::codeOfSilence() const
{
    return somethingListens(m_options.sensor.host, m_options.sensor.port) ? ExitCode::Unusable : ExitCode::Unreachable;
}

QString SendRun::what() const
{
    return m_options.what == SendOptions::SendRecipe          ? QStringLiteral("recipe")
           : m_options.what == SendOptions::SendConfiguration ? QStringLiteral("configuration")
                                                              : QStringLiteral("snapshot request");
}

void SendRun::tellSent()
{
    const QString serial = m_sensor->info().serial_number;
    if (!m_configuration.missing.isEmpty()) {
        m_console.complain(QStringLiteral("%1 does not carry %2: the sensor keeps what it had there")
                               .arg(m_options.file, m_configuration.missingTitles().join(QStringLiteral(", "))));
    }
    if (!m_options.json) {
        m_console.out << QStringLiteral("Sensor ") << serial << QStringLiteral(" has taken the ") << what() << '\n';
        return;
    }
    QJsonObject result{
        {QStringLiteral("serial"), serial}, {QStringLiteral("sent"), what()}, {QStringLiteral("file"), m_options.file}};
    QJsonArray kept;
    for (const int field : qAsConst(m_configuration.missing))
        kept.append(configurationFields()[std::size_t(field)].readKey);
    if (!kept.isEmpty())
        result.insert(QStringLiteral("kept"), kept);
    m_console.out << QJsonDocument(result).toJson();
}

void SendRun::tellFailed(const QStringList &complaints)
{
    for (const QString &complaint : complaints)
        m_console.complain(complaint);
    if (!m_options.json)
        return;
    const QString serial = m_sensor ? m_sensor->info().serial_number : QString();
    const QJsonObject result{{QStringLiteral("serial"), serial},
                             {QStringLiteral("sent"), QJsonValue()},
                             {QStringLiteral("file"), m_options.file},
                             {QStringLiteral("error"), complaints.join(QStringLiteral("; "))},
                             {QStringLiteral("exitCode"), int(m_code)}};
    m_console.out << QJsonDocument(result).toJson();
}

void SendRun::finish(ExitCode code, const QStringList &complaints)
{
    if (m_finished)
        return;
    m_finished = true;
    m_code = code;
    if (!complaints.isEmpty())
        tellFailed(complaints);
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
