#include "data/filenumbers.h"

#include "data/datanames.h"
#include "data/eventfile.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <algorithm>

namespace {

constexpr qint64 largestBlock = 2000000000; // beyond, a name is not one of ours

QString blockName(qint64 number)
{
    return QStringLiteral("block_%1%2").arg(number).arg(datanames::blockExtension());
}

/// The number of "block_<number>.norvexdata", 0 for any other name.
qint64 blockNumber(const QString &name)
{
    if (!name.startsWith(QLatin1String("block_")) || !name.endsWith(datanames::blockExtension()))
        return 0;
    const qint64 number =
        name.midRef(6, std::max(name.size() - 6 - datanames::blockExtension().size(), 0)).toLongLong();
    return number < largestBlock ? number : 0;
}

} // namespace

FileNumbers::FileNumbers(const QString &folder, const QStringList &alsoTaken) : m_folder(folder)
{
    QDirIterator files(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (files.hasNext()) {
        files.next();
        take(files.fileName());
    }
    for (const QString &name : alsoTaken)
        take(name);
}

void FileNumbers::take(const QString &name)
{
    m_lastBlock = std::max(m_lastBlock, blockNumber(name));
    m_lastEvent = std::max(m_lastEvent, eventfile::numberOf(name));
}

QString FileNumbers::nextBlock()
{
    QString name;
    do
        name = blockName(++m_lastBlock);
    while (QFileInfo::exists(m_folder + QLatin1Char('/') + name));
    return name;
}

QString FileNumbers::nextEvent()
{
    QString name;
    do
        name = eventfile::fileName(++m_lastEvent);
    while (QFileInfo::exists(m_folder + QLatin1Char('/') + name));
    return name;
}
