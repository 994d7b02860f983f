#include "scene.h"

#include <QCoreApplication>
#include <QDir>
#include <QThread>

#include <csignal>
#include <cstring>

namespace {

constexpr int patienceMs = 20000;

void copyText(char *to, std::size_t size, const QString &text)
{
    qstrncpy(to, QFile::encodeName(text).constData(), uint(size));
}

QString program(const char *name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + QLatin1String(name);
}

} // namespace

FileCalls::FileCalls(const QString &controlPath, const QString &root, const QString &trace) : m_file(controlPath)
{
    const bool opened = m_file.open(QIODevice::ReadWrite | QIODevice::Truncate) && m_file.resize(sizeof(*m_control));
    uchar *const memory = opened ? m_file.map(0, sizeof(*m_control)) : nullptr;
    if (!memory)
        qFatal("cannot make %s", qPrintable(controlPath));
    m_control = new (memory) filecalls::Control{};
    copyText(m_control->root, sizeof m_control->root, root);
    copyText(m_control->trace, sizeof m_control->trace, trace);
}

FileCalls::~FileCalls() = default;

void FileCalls::plan(filecalls::Action action, quint64 number, int error, bool lasting)
{
    m_control->calls = 0;
    m_control->acted = 0;
    m_control->what[0] = 0;
    m_control->action = quint32(action);
    m_control->error = error;
    m_control->lasting = lasting ? 1 : 0;
    m_control->actAt = number;
}

void FileCalls::endFault()
{
    m_control->actAt = 0;
    m_control->lasting = 0;
}

void FileCalls::addTo(QProcessEnvironment &environment) const
{
    environment.insert(QStringLiteral("NORVEX_FILECALLS"), m_file.fileName());
    environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(NORVEX_FILECALLS_LIBRARY));
}

Scene::Scene(const Options &options)
    : m_options(options), m_folder(options.scratch + QStringLiteral("/scene-XXXXXX")), m_watch(ledger())
{
    m_folder.setAutoRemove(!options.keep);
    QDir(m_folder.path()).mkdir(QStringLiteral("disk"));
}

Scene::~Scene()
{
    if (m_recorder)
        m_recorder->kill();
    stopSensor();
    if (m_recorder)
        m_recorder->waitForFinished();
}

bool Scene::startSensor(const QStringList &arguments)
{
    m_sensor.setProcessChannelMode(QProcess::SeparateChannels);
    const QStringList ways{QStringLiteral("--seed"), QStringLiteral("1"), QStringLiteral("--ledger"), ledger()};
    m_sensor.start(program("norvex-sensor-sim"), ways + arguments);
    if (!m_sensor.waitForReadyRead(patienceMs))
        return false;
    const QByteArray line = m_sensor.readLine().trimmed();
    m_port = line.mid(line.lastIndexOf(':') + 1).toUShort();
    return m_port > 0;
}

void Scene::stopSensor()
{
    m_sensor.kill();
    m_sensor.waitForFinished();
}

void Scene::startRecorder(const FileCalls *calls)
{
    m_recorder = std::make_unique<QProcess>();
    m_recorder->setStandardErrorFile(path(QStringLiteral("said")), QIODevice::Append);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("data")));
    if (calls)
        calls->addTo(environment);
    m_recorder->setProcessEnvironment(environment);
    const QString address = QStringLiteral("127.0.0.1:%1").arg(m_port);
    if (m_options.real)
        m_recorder->start(program("norvex-cli"),
                          {QStringLiteral("record"), QStringLiteral("--session"), session(), QStringLiteral("--sensor"),
                           address, QStringLiteral("--retry"), QStringLiteral("0.3")});
    else
        m_recorder->start(QCoreApplication::applicationFilePath(),
                          {QStringLiteral("recorder"), session(), path(QStringLiteral("locks")), QStringLiteral("1"),
                           QStringLiteral("0"), address});
    m_recorder->waitForStarted();
}

bool Scene::killRecorder()
{
    m_recorder->kill();
    return waitForDeath(patienceMs);
}

bool Scene::waitForDeath(int ms)
{
    return m_recorder->waitForFinished(ms) && m_recorder->exitStatus() == QProcess::CrashExit;
}

Verdict Scene::judgeMeanwhile()
{
    const auto recorder = pid_t(m_recorder->processId());
    if (recorder <= 0 || ::kill(recorder, SIGSTOP) != 0)
        return judge(); // it has ended
    Verdict verdict = judge();
    ::kill(recorder, SIGCONT);
    return verdict;
}

bool Scene::endRecorder()
{
    m_recorder->terminate();
    return m_recorder->waitForFinished(patienceMs) && m_recorder->exitStatus() == QProcess::NormalExit &&
           m_recorder->exitCode() == 0;
}

bool Scene::waitForCleared(qint64 samples, int ms)
{
    const auto isThere = [&] {
        m_watch.update();
        return m_watch.clearedSamples() >= samples || m_recorder->state() == QProcess::NotRunning;
    };
    constexpr int most = 10;
    qint64 before = -1;
    for (int i = 0; i < most && before < m_watch.handings() && !isThere(); ++i) {
        before = m_watch.handings();
        waitFor(ms, isThere);
    }
    return m_watch.clearedSamples() >= samples;
}

QString Scene::said() const
{
    QFile file(path(QStringLiteral("said")));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll().right(2000).trimmed() : QByteArray();
    return text.isEmpty() ? QString() : QStringLiteral("\n  the recorder said: ") + QString::fromLocal8Bit(text);
}

bool waitFor(int ms, const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > ms)
            return false;
        QThread::msleep(3);
        QCoreApplication::processEvents();
    }
    return true;
}

bool Score::failed(int number, const QString &what, const QString &row)
{
    ++m_failures;
    say(QStringLiteral("FAILED case %1: %2\n  repeat with: %3")
            .arg(number)
            .arg(what, m_options.repeating(number, row)));
    return m_failures < (m_options.stop ? 1 : 10);
}
