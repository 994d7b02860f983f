#include "app/commandline.h"

#include <QCommandLineParser>

CommandLine parseCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Watches and records the RF power of plasma chambers."));
    parser.addPositionalArgument(QStringLiteral("SESSION_DIR"),
                                 QStringLiteral("Session folder to open; made when it is missing. Without it the last "
                                                "session is opened again."),
                                 QStringLiteral("[SESSION_DIR]"));
    const QCommandLineOption connectOption(QStringLiteral("connect"),
                                           QStringLiteral("Connect to this sensor. May be given several times."),
                                           QStringLiteral("HOST[:PORT][,CHAMBER]"));
    const QCommandLineOption safeOption(QStringLiteral("safe"), QStringLiteral("Ignore the settings and keep none."));
    parser.addOptions({connectOption, safeOption});
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();

    CommandLine line;
    const auto finish = [&line](int code, const QString &message) {
        line.finished = true;
        line.exitCode = code;
        line.message = message;
        return line;
    };
    if (!parser.parse(arguments))
        return finish(2, QStringLiteral("norvex: %1\n").arg(parser.errorText()));
    if (parser.isSet(help))
        return finish(0, parser.helpText());
    if (parser.isSet(version))
        return finish(0, QStringLiteral("norvex %1\n").arg(QCoreApplication::applicationVersion()));
    if (parser.positionalArguments().size() > 1)
        return finish(2, QStringLiteral("norvex: more than one session folder was given\n"));
    line.sessionFolder = parser.positionalArguments().value(0);
    line.safe = parser.isSet(safeOption);
    const QStringList sensors = parser.values(connectOption);
    for (const QString &text : sensors) {
        SensorAddress address;
        QString reason;
        if (!parseSensorAddress(text, address, &reason))
            return finish(2, QStringLiteral("norvex: --connect %1: %2\n").arg(text, reason));
        line.sensors.append(address);
    }
    return line;
}
