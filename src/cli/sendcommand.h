#pragma once

#include "cli/command.h"
#include "cli/commandline.h"
#include "recipe/configurationfile.h"
#include "sensor/arcsensor.h"
#include "sensor/sensorworker.h"
#include "session/sensoraddress.h"

/// What "norvex-cli send" was asked for.
struct SendOptions
{
    enum What { Nothing, SendRecipe, SendConfiguration, TriggerSnapshot };

    SensorAddress sensor;
    What what = Nothing;
    QString file;
    bool json = false;
};

class SendCommandLine : public CommandLine
{
public:
    SendCommandLine();
    Outcome parse(const QStringList &arguments, SendOptions &options);
};

/// One upload over a connection of its own, which downloads nothing. What a configuration file does not carry is read
/// from the sensor first and sent back as it was. Main thread; it runs the event loop in run() only.
class SendRun : public QObject
{
    Q_OBJECT

public:
    SendRun(const SendOptions &options, Console &console);

    ExitCode run();

private:
    QStringList readRecipe();
    QStringList readConfiguration();
    void statusChanged(const QString &message);
    void upload();
    void askConfiguration();
    void completeConfiguration(const QByteArray &page);
    void post();
    void uploadFinished(bool ok, const QString &reason);
    ExitCode codeOfSilence() const;
    QString what() const;
    void tellSent();
    void tellFailed(const QStringList &complaints);
    void finish(ExitCode code, const QStringList &complaints = {});

    const SendOptions m_options;
    Console &m_console;
    Recipe m_recipe;
    ConfigurationFile m_configuration;
    std::unique_ptr<arcSensor> m_sensor;
    std::unique_ptr<SensorWorker> m_reader; // of the sensor's own configuration
    bool m_asked = false;
    bool m_timedOut = false;
    bool m_finished = false;
    ExitCode m_code = ExitCode::Failed;
};
