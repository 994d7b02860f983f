#pragma once

#include "cli/command.h"
#include "cli/commandline.h"
#include "sensor/arcsensor.h"
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

/// One upload over a connection of its own, which downloads nothing. Main thread; it runs the event loop in run() only.
class SendRun : public QObject
{
    Q_OBJECT

public:
    SendRun(const SendOptions &options, Console &console);

    ExitCode run();

private:
    bool readFile();
    void statusChanged(const QString &message);
    void upload();
    void tellSent();
    void finish(ExitCode code, const QString &complaint = {});

    const SendOptions m_options;
    Console &m_console;
    Recipe m_recipe;
    SensorConfiguration m_configuration;
    std::unique_ptr<arcSensor> m_sensor;
    bool m_asked = false;
    ExitCode m_code = ExitCode::Failed;
};
