#include "data/datanames.h"

#include <QStringList>

namespace datanames {

namespace {

constexpr int longestFolderName = 100;

bool isFolderCharacter(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '.' || u == '_' ||
           u == '-' || u == ' ';
}

/// Names that Windows gives to devices in every folder, whatever follows the first dot.
bool isDeviceName(const QString &name)
{
    static const QStringList devices{QStringLiteral("CON"), QStringLiteral("PRN"), QStringLiteral("AUX"),
                                     QStringLiteral("NUL")};
    const QString stem = name.section(QLatin1Char('.'), 0, 0).trimmed().toUpper();
    if (devices.contains(stem))
        return true;
    return stem.size() == 4 && stem.at(3).isDigit() &&
           (stem.startsWith(QLatin1String("COM")) || stem.startsWith(QLatin1String("LPT")));
}

} // namespace

const QString &indexFile()
{
    static const QString text = QStringLiteral("index.dat");
    return text;
}

const QString &blockExtension()
{
    static const QString text = QStringLiteral(".norvexdata");
    return text;
}

const QString &eventExtension()
{
    static const QString text = QStringLiteral(".norvexevent");
    return text;
}

const QString &lastConfig()
{
    static const QString text = QStringLiteral("config_last");
    return text;
}

const QString &rfOnEvent()
{
    static const QString text = QStringLiteral("RFONEVENT");
    return text;
}

QString lineSafe(const QString &text)
{
    QString safe = text;
    for (QChar &c : safe) {
        if (c == QLatin1Char(';') || c == QLatin1Char('\r') || c == QLatin1Char('\n') || c.isNull())
            c = QLatin1Char('_');
    }
    return safe;
}

QString sensorFolder(const QString &serial, const QString &chamber)
{
    QString name = serial + QLatin1Char('-') + chamber;
    for (QChar &c : name) {
        if (!isFolderCharacter(c))
            c = QLatin1Char('_');
    }
    if (isDeviceName(name))
        name.prepend(QLatin1Char('_'));
    name.truncate(longestFolderName);
    for (int i = name.size() - 1; i >= 0 && (name.at(i) == QLatin1Char('.') || name.at(i) == QLatin1Char(' ')); --i)
        name[i] = QLatin1Char('_'); // Windows drops them
    return name;
}

bool isPlainFileName(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return false;
    for (const QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c == QLatin1Char(':') || c.isNull())
            return false;
    }
    return true;
}

} // namespace datanames
