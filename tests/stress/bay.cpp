#include "bay.h"

#include <QCoreApplication>
#include <QDir>
#include <QTcpSocket>

namespace {

constexpr int patienceMs = 60000;

} // namespace

Bay::Bay(const Options &options, const Setup &setup)
    : m_options(options), m_setup(setup), m_folder(options.scratch + QStringLiteral("/bay-XXXXXX"))
{
    m_folder.setAutoRemove(!options.keep);
    for (int i = 0; i < setup.sensors; ++i)
        m_watches.push_back(std::make_unique<LedgerWatch>(ledger(i)));
}

Bay::~Bay()
{
    for (QProcess *process : {&m_recorder, &m_sensors}) {
        process->kill();
        process->waitForFinished();
    }
}

QString Bay::ledger(int number) const
{
    return m_folder.filePath(QStringLiteral("ledger-%1").arg(number));
}

bool Bay::startSensors()
{
    m_sensors.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_sensors.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("sensors"), m_folder.path(), QString::number(m_setup.sensors),
                     QString::number(m_setup.rate), QString::number(m_setup.arcs), QString::number(m_setup.speed),
                     QString::number(m_options.seed)});
    while (m_addresses.size() < m_setup.sensors) {
        if (!m_sensors.canReadLine() && !m_sensors.waitForReadyRead(patienceMs))
            return false;
        m_addresses.append(QStringLiteral("127.0.0.1:") + QString::fromLatin1(m_sensors.readLine().trimmed()));
    }
    return true;
}

void Bay::setPlan(int number, const QString &plan)
{
    m_sensors.write(QStringLiteral("%1 %2\n").arg(number).arg(plan).toUtf8());
    while (!m_sensors.canReadLine() && m_sensors.waitForReadyRead(patienceMs)) {
    }
    m_sensors.readLine();
}

bool Bay::startRecorder()
{
    m_recorder.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_recorder.start(QCoreApplication::applicationFilePath(),
                     QStringList{QStringLiteral("recorder"), session(), m_folder.filePath(QStringLiteral("locks")),
                                 QString::number(m_setup.speed), QString::number(m_setup.uploadMs)}
                         << m_addresses);
    return m_recorder.waitForStarted();
}

bool Bay::isListening(int number) const
{
    const QString &address = m_addresses.at(number);
    QTcpSocket socket;
    socket.connectToHost(address.section(QLatin1Char(':'), 0, 0), address.section(QLatin1Char(':'), 1).toUShort());
    return socket.waitForConnected(2000);
}

bool Bay::endRecorder()
{
    m_recorder.terminate();
    return m_recorder.waitForFinished(patienceMs) && m_recorder.exitStatus() == QProcess::NormalExit &&
           m_recorder.exitCode() == 0;
}

void Bay::updateWatches()
{
    for (const auto &watch : m_watches)
        watch->update();
}

QString Bay::judge(const QVector<QPair<int, Compared>> &sensors) const
{
    SessionError error;
    const std::unique_ptr<Session> loaded = Session::loadReadOnly(session(), &error);
    if (!loaded)
        return QStringLiteral("the session does not open: %1").arg(error.text);
    for (const auto &[number, compared] : sensors) {
        LedgerSnapshot facts;
        QString problem;
        if (readLedger(ledger(number), facts, &problem))
            problem = compare(*loaded, facts, serial(number), compared).text;
        if (!problem.isEmpty())
            return QStringLiteral("sensor %1: %2").arg(number).arg(problem);
    }
    return {};
}

Bay::Usage Bay::usage() const
{
    const QString process = QStringLiteral("/proc/%1").arg(m_recorder.processId());
    Usage usage;
    QFile status(process + QStringLiteral("/status"));
    if (!status.open(QIODevice::ReadOnly))
        return usage;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const qint64 number = line.simplified().split(' ').value(1).toLongLong();
        if (line.startsWith("VmRSS:"))
            usage.bytes = number * 1024;
        else if (line.startsWith("VmHWM:"))
            usage.peak = number * 1024;
        else if (line.startsWith("Threads:"))
            usage.threads = int(number);
    }
    usage.files = QDir(process + QStringLiteral("/fd")).entryList(QDir::AllEntries | QDir::System).size();
    return usage;
}

void Bay::forgetPeak()
{
    QFile file(QStringLiteral("/proc/%1/clear_refs").arg(m_recorder.processId()));
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}
