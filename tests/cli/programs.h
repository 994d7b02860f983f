#pragma once

#include <QCoreApplication>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

/// Runs the built programs as a user would, with a home folder of their own.
class Programs
{
public:
    struct Result
    {
        int code = -1;
        QByteArray out;
        QByteArray err;
    };

    explicit Programs(const QString &home) : m_environment(QProcessEnvironment::systemEnvironment())
    {
        m_environment.insert(QStringLiteral("HOME"), home);
        m_environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/data"));
        m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/config"));
    }

    void start(QProcess &process, const QString &program, const QStringList &arguments) const
    {
        process.setProcessEnvironment(m_environment);
        process.start(QCoreApplication::applicationDirPath() + QLatin1Char('/') + program, arguments);
    }

    /// Starts a simulated sensor and waits until it listens; its port, or 0.
    quint16 startSensor(QProcess &process, const QStringList &arguments) const
    {
        const QStringList sameData{QStringLiteral("--seed"), QStringLiteral("1")};
        start(process, QStringLiteral("norvex-sensor-sim"), sameData + arguments);
        if (!process.waitForReadyRead(patienceMs))
            return 0;
        const QByteArray line = process.readLine().trimmed();
        return line.startsWith("listening on ") ? line.mid(line.lastIndexOf(':') + 1).toUShort() : quint16(0);
    }

    Result cli(const QStringList &arguments) const
    {
        QProcess process;
        start(process, QStringLiteral("norvex-cli"), arguments);
        return resultOf(process);
    }

    /// The same in a process whose files cannot grow beyond `blocks` times 512 bytes: as if the disk were full then.
    Result cliWithoutRoom(const QStringList &arguments, int blocks) const
    {
        const QString program = QCoreApplication::applicationDirPath() + QStringLiteral("/norvex-cli");
        const QString script = QStringLiteral("trap '' XFSZ; ulimit -f %1; exec \"$@\"").arg(blocks);
        QProcess process;
        process.setProcessEnvironment(m_environment);
        process.start(QStringLiteral("sh"),
                      QStringList{QStringLiteral("-c"), script, QStringLiteral("sh"), program} + arguments);
        return resultOf(process);
    }

    /// Waits until a recorder has found its sensor.
    static bool isRecording(QProcess &recorder) { return says(recorder, "records into"); }

    /// Waits until a program has said this on standard error.
    static bool says(QProcess &program, const char *text)
    {
        QByteArray said;
        program.setReadChannel(QProcess::StandardError);
        while (!said.contains(text) && program.waitForReadyRead(patienceMs))
            said += program.readAllStandardError();
        return said.contains(text);
    }

    static Result resultOf(QProcess &process, int timeoutMs = patienceMs)
    {
        Result result;
        if (process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit)
            result.code = process.exitCode();
        result.out = process.readAllStandardOutput();
        result.err = process.readAllStandardError();
        return result;
    }

private:
    static constexpr int patienceMs = 30000;

    QProcessEnvironment m_environment;
};
