#include "session/supportfile.h"

#include "base/safefile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSettings>
#include <QStorageInfo>
#include <QSysInfo>

namespace {

constexpr qint64 logTail = 512 * 1024;
constexpr qint64 largestText = 1024 * 1024;
constexpr int mostLines = 300;
constexpr int mostSensors = 200;
constexpr int longestSetting = 200;

QByteArray title(const QString &text)
{
    return "\n== " + text.toUtf8() + " ==\n";
}

QByteArray line(const QString &key, const QString &value)
{
    return key.toUtf8() + ": " + value.toUtf8() + '\n';
}

QByteArray systemPart(const SupportFacts &facts)
{
    return line(QStringLiteral("program"), facts.program) +
           line(QStringLiteral("written"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)) +
           line(QStringLiteral("toolkit"), QString::fromLatin1(qVersion())) +
           line(QStringLiteral("system"), QSysInfo::prettyProductName()) +
           line(QStringLiteral("kernel"), QSysInfo::kernelType() + QLatin1Char(' ') + QSysInfo::kernelVersion()) +
           line(QStringLiteral("processor"), QSysInfo::currentCpuArchitecture());
}

/// Values that are text or numbers; of the others (window positions) only the size.
QByteArray settingsPart(const QSettings &settings)
{
    QByteArray out;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys.mid(0, mostLines)) {
        const QVariant value = settings.value(key);
        const QString text = value.type() == QVariant::ByteArray
                                 ? QStringLiteral("(%1 bytes)").arg(value.toByteArray().size())
                                 : value.toStringList().join(QStringLiteral(", "));
        out += line(key, text.left(longestSetting));
    }
    return out;
}

/// The lines of a text file of the session, as far as they are few.
QByteArray textFile(const QString &path)
{
    QByteArray bytes;
    QString reason;
    if (!readWholeFile(path, bytes, largestText, &reason))
        return "cannot be read: " + reason.toUtf8() + '\n';
    const QList<QByteArray> lines = bytes.split('\n');
    QByteArray out = lines.mid(0, mostLines).join('\n');
    if (lines.size() > mostLines)
        out += "\n(" + QByteArray::number(lines.size() - mostLines) + " lines left out)";
    return out.endsWith('\n') ? out : out + '\n';
}

/// An index without its event lines: they hold measured values.
QByteArray indexFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "cannot be read: " + file.errorString().toUtf8() + '\n';
    QByteArray out;
    for (int lines = 0; lines < mostLines && !file.atEnd();) {
        const QByteArray text = file.readLine(4096);
        if (text.startsWith("Event;"))
            continue;
        out += text.trimmed() + '\n';
        ++lines;
    }
    return out;
}

/// How many files of each kind a folder has, with their bytes.
QByteArray filesIn(const QString &folder)
{
    struct Kind
    {
        int files = 0;
        qint64 bytes = 0;
    };
    QMap<QString, Kind> kinds;
    const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files | QDir::Hidden);
    for (const QFileInfo &file : files) {
        Kind &kind = kinds[file.suffix()];
        ++kind.files;
        kind.bytes += file.size();
    }
    QByteArray out;
    for (auto it = kinds.constBegin(); it != kinds.constEnd(); ++it)
        out += line(QStringLiteral("  *.%1").arg(it.key()),
                    QStringLiteral("%1 files, %2 bytes").arg(it->files).arg(it->bytes));
    return out;
}

QByteArray sessionPart(const QString &folder)
{
    const QStorageInfo disk(folder);
    QByteArray out = line(QStringLiteral("folder"), folder) +
                     line(QStringLiteral("free"), QStringLiteral("%1 bytes").arg(disk.bytesAvailable())) +
                     line(QStringLiteral("file system"), QString::fromUtf8(disk.fileSystemType())) + filesIn(folder);
    out += title(QStringLiteral("Session file")) + textFile(folder + QStringLiteral("/index.norvex_session"));
    const QStringList sensors = QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &sensor : sensors.mid(0, mostSensors)) {
        const QString path = folder + QLatin1Char('/') + sensor;
        out += title(QStringLiteral("Folder ") + sensor) + filesIn(path);
        const QString index = path + QStringLiteral("/index.dat");
        if (QFileInfo::exists(index))
            out += indexFile(index);
        const QString configuration = path + QStringLiteral("/config_last.norvexconfig");
        if (QFileInfo::exists(configuration))
            out += textFile(configuration);
    }
    return out;
}

QByteArray logPart(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "cannot be read: " + file.errorString().toUtf8() + '\n';
    const qint64 skipped = qMax<qint64>(0, file.size() - logTail);
    if (skipped > 0) {
        file.seek(skipped);
        file.readLine(); // the rest of a line that was cut
    }
    return file.read(logTail);
}

} // namespace

QByteArray supportText(const SupportFacts &facts)
{
    QByteArray out = "Norvex support file. It holds names, addresses and settings, but nothing that was measured.\n\n";
    out += systemPart(facts);
    if (!facts.problems.isEmpty())
        out += title(QStringLiteral("Problems")) + facts.problems.join(QLatin1Char('\n')).toUtf8() + '\n';
    if (facts.settings)
        out += title(QStringLiteral("Settings")) + settingsPart(*facts.settings);
    if (!facts.sessionFolder.isEmpty())
        out += title(QStringLiteral("Session")) + sessionPart(facts.sessionFolder);
    if (!facts.logFile.isEmpty())
        out += title(QStringLiteral("Log")) + logPart(facts.logFile);
    return out;
}

QString supportFileName(qint64 utcMs)
{
    return QDateTime::fromMSecsSinceEpoch(utcMs, Qt::UTC)
        .toString(QStringLiteral("'norvex-support-'yyyyMMdd-HHmmss'.txt'"));
}
