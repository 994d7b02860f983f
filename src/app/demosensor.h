#pragma once

#include <QObject>
#include <QProcess>
#include <QString>

/// Starts the simulated sensor that is installed beside the program, for somebody without hardware, and says where it
/// listens. It ends with this object, and with this program when that is killed. GUI thread.
class DemoSensor : public QObject
{
    Q_OBJECT

public:
    explicit DemoSensor(QObject *parent = nullptr);
    ~DemoSensor() override;

    /// False when the simulator is not there; listening() or failed() follows otherwise.
    bool start();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    static QString programPath();

signals:
    void listening(const QString &address, quint16 port);
    void failed(const QString &reason);

private:
    void readOutput();

    QProcess m_process;
    bool m_listening = false;
};
