#include "cli/recordcommand.h"

#include "base/platform.h"
#include "cli/reachability.h"
#include "cli/sessioninfo.h"
#include "data/journal.h"
#include "session/sessionrepair.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <algorithm>

namespace {

constexpr int redrawMs = 500;
constexpr int ticksPerPlainLine = 20; // every 10 s, besides changes of state

QString addressOf(const arcSensor *sensor)
{
    return QStringLiteral("%1:%2").arg(sensor->address()).arg(sensor->port());
}

QString stateOf(const arcSensor *sensor)
{
    if (sensor->state() > 0)
        return QStringLiteral("recording");
    const int wait = sensor->retryRemainingMs();
    return wait < 0 ? QStringLiteral("connecting")
                    : QStringLiteral("no answer, next try in %1 s").arg((wait + 999) / 1000);
}

} // namespace

RecordRun::RecordRun(const RecordOptions &options, Console &console, bool inPlace)
    : m_options(options), m_console(console), m_printer(console.err, inPlace)
{}

RecordRun::~RecordRun() = default;

ExitCode RecordRun::run()
{
    if (!openSession() || !connectSensors())
        return m_failure;
    connect(&m_progressTimer, &QTimer::timeout, this, &RecordRun::showProgress);
    m_progressTimer.start(redrawMs);
    if (m_options.durationMs > 0)
        QTimer::singleShot(std::chrono::milliseconds(m_options.durationMs), this, [] { QCoreApplication::quit(); });
    platform::onInterrupt([] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    return finish();
}

bool RecordRun::openSession()
{
    SessionError error;
    const bool known = Session::holdsSession(Session::folderOf(m_options.session));
    if (!known && m_options.sensors.isEmpty()) {
        m_console.complain(
            QStringLiteral("there is no session in %1 yet; say with --sensor what to record").arg(m_options.session));
        m_failure = ExitCode::Usage;
        return false;
    }
    const auto load = [this, &error](FailedRestore failedRestore) {
        return Session::load(m_options.session, &error, {}, systemClock(), failedRestore);
    };
    m_session = known ? load(FailedRestore::Stop) : Session::create(m_options.session, &error);
    if (error.kind == SessionError::RestoreFailed) {
        m_console.complain(error.text);
        const SessionRepair repair = repairSession(m_options.session);
        if (!repair.isSessionThere())
            m_console.complain(repair.reason);
        m_session = load(FailedRestore::GoOn);
    }
    if (!m_session) {
        m_console.complain(error.text);
        m_failure = exitCodeOf(error.kind);
        return false;
    }
    const QStringList problems = m_session->loadProblems();
    for (const QString &problem : problems)
        m_console.complain(problem);
    connect(m_session->journal(), &Journal::failed, this, [this](const QString &reason) {
        m_printer.say(
            QStringLiteral("norvex-cli: the journal cannot be written (%1); the sensors keep their data until "
                           "it can")
                .arg(reason));
    });
    connect(m_session->journal(), &Journal::recovered, this,
            [this] { m_printer.say(QStringLiteral("norvex-cli: the journal is written again")); });
    return true;
}

bool RecordRun::connectSensors()
{
    Recorder::Options recorderOptions;
    recorderOptions.timings.retryWait = m_options.retryMs;
    m_recorder = std::make_unique<Recorder>(m_session.get(), recorderOptions);
    connect(m_recorder.get(), &Recorder::sensorReady, this, &RecordRun::sensorReady);
    connect(m_recorder.get(), &Recorder::sensorRefused, this, &RecordRun::sensorRefused);
    connect(m_recorder.get(), &Recorder::sensorDelayed, this, &RecordRun::sensorDelayed);
    connect(m_recorder.get(), &Recorder::sensorLocked, this, &RecordRun::sensorLocked);
    for (const SensorAddress &address : m_options.sensors) {
        QString holder;
        if (m_recorder->addSensor(address.host, address.port, address.chamber, &holder) ==
            Recorder::AddOutcome::LockedByOther) {
            m_console.complain(QStringLiteral("the sensor %1:%2 is recorded by %3")
                                   .arg(address.host, QString::number(address.port), holder));
            m_failure = ExitCode::Locked;
            return false;
        }
    }
    if (m_options.sensors.isEmpty())
        m_recorder->connectAll();
    const QVector<arcSensor *> sensors = m_recorder->connections();
    for (arcSensor *sensor : sensors) {
        Watched &watched = m_watched[sensor];
        connect(sensor, &arcSensor::statusUpdate, this, [&watched](const QString &message) {
            if (message == QLatin1String("Connection timed out"))
                watched.isSilent = true;
            else if (message == QLatin1String("Disconnected"))
                watched.isSilent = false;
        });
    }
    if (m_watched.empty() && m_lockedOut) { // each was named
        m_failure = ExitCode::Locked;
    } else if (m_watched.empty()) {
        m_console.complain(QStringLiteral("the session has no sensor to connect to; give one with --sensor"));
        m_failure = ExitCode::Usage;
    }
    return !m_watched.empty();
}

void RecordRun::sensorReady(arcSensor *sensor, const QString &serial)
{
    Watched &watched = m_watched[sensor];
    watched.wasReady = true;
    watched.refusal.clear();
    watched.delay.clear();
    const std::shared_ptr<norvexData> store = m_session->store(serial);
    m_printer.say(QStringLiteral("sensor %1 at %2 records into %3/%4")
                      .arg(serial, addressOf(sensor), m_session->path(), store->folderName()));
}

void RecordRun::sensorRefused(arcSensor *sensor, const QString &reason)
{
    Watched &watched = m_watched[sensor];
    if (watched.refusal == reason)
        return;
    watched.refusal = reason;
    watched.delay.clear();
    m_printer.say(QStringLiteral("norvex-cli: %1 is not recorded: %2").arg(addressOf(sensor), reason));
    const bool hopeless = std::all_of(m_watched.begin(), m_watched.end(), [](const auto &entry) {
        return !entry.second.wasReady && !entry.second.refusal.isEmpty();
    });
    if (hopeless)
        QCoreApplication::quit();
}

void RecordRun::sensorDelayed(arcSensor *sensor, const QString &reason)
{
    m_watched[sensor].delay = reason;
    m_printer.say(QStringLiteral("norvex-cli: %1 is not recorded yet: %2").arg(addressOf(sensor), reason));
}

/// The others of the session are recorded all the same.
void RecordRun::sensorLocked(const QString &serial, const QString &holder)
{
    m_lockedOut = true;
    m_printer.say(
        QStringLiteral("norvex-cli: the sensor %1 is not recorded: it is recorded by %2").arg(serial, holder));
}

SensorProgress RecordRun::progressOf(arcSensor *sensor)
{
    Watched &watched = m_watched[sensor];
    SensorProgress progress;
    progress.name = addressOf(sensor);
    if (m_stopped)
        progress.state = QStringLiteral("stopped");
    else if (!watched.delay.isEmpty())
        progress.state = QStringLiteral("waiting for its folder");
    else
        progress.state = watched.refusal.isEmpty() ? stateOf(sensor) : QStringLiteral("refused");
    if (m_session->lastSaveMs() > 0)
        progress.saveAgeMs = std::max(qint64(0), systemClock().utcMs() - m_session->lastSaveMs());
    if (const std::shared_ptr<norvexData> store = sensor->store()) {
        progress.name = store->sensorSerial();
        progress.samples = store->sampleCount();
        progress.events = store->eventCount();
        progress.runs = store->runCount();
        watched.rate.add(systemClock().steadyMs(), progress.samples);
        progress.samplesPerSecond = watched.rate.perSecond();
    }
    return progress;
}

void RecordRun::showProgress()
{
    const bool periodic = m_ticks++ % ticksPerPlainLine == 0;
    const QVector<arcSensor *> sensors = m_recorder->connections();
    QStringList lines;
    for (arcSensor *sensor : sensors) {
        const SensorProgress progress = progressOf(sensor);
        QString &shown = m_watched[sensor].shown;
        const bool changed = shown.section(QLatin1Char(','), 0, 0) != progress.state.section(QLatin1Char(','), 0, 0);
        if (m_printer.isInPlace() || periodic || changed)
            lines.append(progressLine(progress, m_printer.isInPlace() ? platform::terminalWidth() - 1 : 0));
        shown = progress.state;
    }
    m_printer.show(lines);
}

ExitCode RecordRun::finish()
{
    m_progressTimer.stop();
    const bool saved = m_recorder->stop();
    m_stopped = true;
    showProgress();
    const bool reached =
        std::any_of(m_watched.begin(), m_watched.end(), [](const auto &entry) { return entry.second.wasReady; });
    if (m_options.json)
        m_console.out << QJsonDocument(toJson(summaryOf(*m_session))).toJson();
    else if (reached)
        m_console.out << toText(summaryOf(*m_session));
    m_console.out.flush();
    if (!saved) {
        m_console.complain(QStringLiteral("the session could not be saved completely; see the log"));
        return ExitCode::CannotWrite;
    }
    const bool delayed = std::any_of(m_watched.begin(), m_watched.end(),
                                     [](const auto &entry) { return !entry.second.delay.isEmpty(); });
    if (delayed) // said when it began
        return ExitCode::CannotWrite;
    const ExitCode code = reached ? tellLeftOut() : reachedNothing();
    const bool lockedOut = std::any_of(m_watched.begin(), m_watched.end(),
                                       [this](const auto &entry) { return m_recorder->isLockedOut(entry.first); });
    return m_lockedOut || lockedOut ? ExitCode::Locked : code;
}

/// Of several sensors some were recorded.
ExitCode RecordRun::tellLeftOut()
{
    ExitCode code = ExitCode::Done;
    for (const auto &[sensor, watched] : m_watched) {
        if (watched.wasReady || m_recorder->isLockedOut(sensor))
            continue;
        if (!watched.refusal.isEmpty()) { // said when it came
            code = code == ExitCode::Done ? ExitCode::Unusable : code;
            continue;
        }
        m_console.complain(QStringLiteral("%1:%2 was never reached and is not recorded")
                               .arg(sensor->address())
                               .arg(sensor->port()));
        code = ExitCode::Unreachable;
    }
    return code;
}

ExitCode RecordRun::reachedNothing()
{
    const bool refused = std::any_of(m_watched.begin(), m_watched.end(),
                                     [](const auto &entry) { return !entry.second.refusal.isEmpty(); });
    if (refused)
        return ExitCode::Unusable;
    bool isSilent = false;
    for (const auto &entry : m_watched) {
        if (!somethingListens(entry.first->address(), entry.first->port()))
            continue;
        if (!entry.second.isSilent) {
            m_console.complain(QStringLiteral("something answered, but not as a sensor does"));
            return ExitCode::Unusable;
        }
        isSilent = true;
    }
    if (isSilent)
        m_console.complain(QStringLiteral("something is there, but it does not answer in time"));
    else
        m_console.complain(QStringLiteral("no sensor could be reached; check address, port, power and firewall"));
    return ExitCode::Unreachable;
}

ExitCode runRecord(const QStringList &arguments, Console &console)
{
    RecordCommandLine line;
    RecordOptions options;
    const CommandLine::Outcome outcome = line.parse(arguments, options);
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);
    const bool inPlace = platform::terminalWidth() > 0 && !line.isSet(QStringLiteral("verbose"));
    return RecordRun(options, console, inPlace).run();
}
