#include "app/demosensor.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

constexpr int endWaitMs = 2000;
const QByteArray listeningOn = QByteArrayLiteral("listening on ");

} // namespace

DemoSensor::DemoSensor(QObject *parent) : QObject(parent)
{
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &DemoSensor::readOutput);
    connect(&m_process, &QProcess::errorOccurred, this, [this] {
        if (!m_listening)
            emit failed(m_process.errorString());
    });
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, [this] {
        if (!m_listening)
            emit failed(QString::fromLocal8Bit(m_process.readAllStandardError()).trimmed());
    });
}

DemoSensor::~DemoSensor()
{
    m_process.disconnect(this);
    if (!isRunning())
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(endWaitMs))
        m_process.kill();
    m_process.waitForFinished(endWaitMs);
}

QString DemoSensor::programPath()
{
    const QString base = QCoreApplication::applicationDirPath() + QStringLiteral("/norvex-sensor-sim");
    return QFileInfo::exists(base) ? base : base + QStringLiteral(".exe");
}

bool DemoSensor::start()
{
    const QString program = programPath();
    if (!QFileInfo(program).isExecutable())
        return false;
    m_listening = false;
    m_process.start(program, {QStringLiteral("--rate"), QStringLiteral("200"), QStringLiteral("--end-with-input")});
    return true;
}

void DemoSensor::readOutput()
{
    while (m_process.canReadLine()) {
        const QByteArray line = m_process.readLine().trimmed();
        if (m_listening || !line.startsWith(listeningOn))
            continue;
        const QString address = QString::fromLatin1(line.mid(listeningOn.size()));
        const int colon = address.lastIndexOf(QLatin1Char(':'));
        m_listening = true;
        emit listening(address.left(colon), quint16(address.mid(colon + 1).toUInt()));
    }
}
