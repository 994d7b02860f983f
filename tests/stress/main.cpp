#include "options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

const char introduction[] =
    "Looks for lost and doubled samples: records simulated sensors while everything goes wrong, and compares what is "
    "on\n"
    "disk with what the sensors say.\n\n"
    "  kill    the recorder is killed at any moment and at its file calls, recovery too\n"
    "  power   the computer loses power: what was not synced is dropped, kept, cut or garbage\n"
    "  error   a file call fails: no space, input/output error, read-only, short write, interrupted; once or lasting\n"
    "  link    the sensors and their network fail in every way\n"
    "  soak    many sensors for hours of accelerated time; memory, files and threads stay flat";

void dropMessage(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg)
        QTextStream(stderr) << text << '\n';
}

bool readOptions(Options &options)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(introduction));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("kill, power, error, link or soak."));
    const auto value = [](const char *name, const char *description) {
        return QCommandLineOption(QLatin1String(name), QLatin1String(description), QStringLiteral("N"));
    };
    parser.addOptions({value("seed", "Another seed, other cases (default 1)."),
                       value("first", "Number of the first case, with --every of the first call."),
                       value("count", "How many cases."),
                       value("seconds", "End after this time (default 10 when no count is given)."),
                       value("only", "Only the cases whose name holds this text."),
                       {QStringLiteral("keep"), QStringLiteral("Keep the folders of all cases and say where.")},
                       {QStringLiteral("stop"), QStringLiteral("End at the first failure.")},
                       {QStringLiteral("every"), QStringLiteral("Every file call (kill, error).")},
                       {QStringLiteral("real"), QStringLiteral("The delivered program with its own waits (kill).")}});
    parser.process(*QCoreApplication::instance());
    options.command = parser.positionalArguments().value(0);
    options.seed = parser.value(QStringLiteral("seed")).toULongLong();
    if (!parser.isSet(QStringLiteral("seed")))
        options.seed = 1;
    options.first = parser.value(QStringLiteral("first")).toInt();
    options.keep = parser.isSet(QStringLiteral("keep"));
    options.stop = parser.isSet(QStringLiteral("stop"));
    options.every = parser.isSet(QStringLiteral("every"));
    options.real = parser.isSet(QStringLiteral("real"));
    options.only = parser.value(QStringLiteral("only"));
    if (parser.isSet(QStringLiteral("count")))
        options.count = parser.value(QStringLiteral("count")).toInt();
    if (parser.isSet(QStringLiteral("seconds")))
        options.seconds = parser.value(QStringLiteral("seconds")).toInt();
    else if (options.count < 0 && !options.every)
        options.seconds = 10;
    return parser.positionalArguments().size() == 1;
}

} // namespace

void say(const QString &line)
{
    QTextStream out(stdout);
    out << line << '\n';
}

QString Options::repeating(int number, const QString &row) const
{
    QString text = QStringLiteral("norvex-stress %1 --seed %2 --first %3 --count 1").arg(command).arg(seed).arg(number);
    if (every)
        text += QStringLiteral(" --every");
    if (real)
        text += QStringLiteral(" --real");
    const QString name = row.isEmpty() ? only : row;
    return name.isEmpty() ? text : text + QStringLiteral(" --only '%1'").arg(name);
}

int main(int argc, char **argv)
{
    qInstallMessageHandler(dropMessage);
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("recorder"))
        return runRecorder(arguments.mid(2));
    if (arguments.value(1) == QLatin1String("sensors"))
        return runSensors(arguments.mid(2));

    Options options;
    if (!readOptions(options))
        return 2;
    // In memory when possible: what counts is the order of the calls, not how long the disk takes.
    const QString memory = QStringLiteral("/dev/shm");
    QTemporaryDir scratch((QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
                          QStringLiteral("/norvex-stress-XXXXXX"));
    options.scratch = scratch.path();
    scratch.setAutoRemove(!options.keep);
    if (options.keep)
        say(options.scratch);
    options.started.start();
    if (options.command == QLatin1String("kill"))
        return runKill(options);
    if (options.command == QLatin1String("power"))
        return runPower(options);
    if (options.command == QLatin1String("error"))
        return runError(options);
    if (options.command == QLatin1String("link"))
        return runLink(options);
    if (options.command == QLatin1String("soak"))
        return runSoak(options);
    QTextStream(stderr) << "norvex-stress: there is no '" << options.command << "'; try --help\n";
    return 2;
}
