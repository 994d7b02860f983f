#include "base/coretext.h"
#include "base/log.h"
#include "base/pathlook.h"
#include "base/safefile.h"
#include "data/datanames.h"
#include "data/journal.h"
#include "data/journalfile.h"
#include "data/journalreplay.h"
#include "session/session.h"
#include "session/sessionfile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

bool Session::holdsSession(const QString &folder)
{
    if (QFileInfo::exists(folder + QLatin1Char('/') + fileName()))
        return true;
    const QStringList names = QDir(journalfile::folderOf(folder)).entryList(QDir::Files | QDir::NoSymLinks);
    return std::any_of(names.begin(), names.end(), [](const QString &n) { return journalfile::numberOf(n) > 0; });
}

void Session::closeJournal()
{
    for (const SensorEntry &entry : sensors())
        entry.data->setDurableLog(nullptr);
    delete m_journal;
    m_journal = nullptr;
}

void Session::attachLog(const std::shared_ptr<norvexData> &data) const
{
    data->setDurableLog(m_journal);
}

/// The store of a sensor folder, which may have got another name since. A sensor that was added after the last save of
/// the session file is added again.
norvexData *Session::storeForReplay(const JournalSensor &sensor)
{
    const std::shared_ptr<norvexData> known = sensor.serial.isEmpty() ? nullptr : store(sensor.serial);
    if (known)
        return known.get();
    const QString name = m_renamedFolders.value(sensor.folder, sensor.folder);
    for (const SensorEntry &entry : sensors()) {
        if (entry.data->folderName() == name)
            return entry.data.get();
    }
    if (sensor.serial.isEmpty())
        return nullptr;
    const QString folder = m_path + QLatin1Char('/') + sensor.folder;
    if (!m_readOnly && !makeFolderSafely(folder))
        return nullptr;
    auto data = std::make_shared<norvexData>(m_clock);
    data->setSensorSerial(sensor.serial);
    data->setChamberSerial(sensor.chamber);
    data->setFolderName(sensor.folder);
    const pathlook::Listing held = pathlook::list(folder);
    if (!held.complete || !held.files.isEmpty())
        loadFolder(*data);
    logInfo(QStringLiteral("Session::load: sensor %1 was added after the last save").arg(sensor.serial));
    const QMutexLocker locker(&m_sessionLock);
    SensorEntry entry;
    entry.data = data;
    entry.colour = freeColourLocked();
    m_sensors.append(entry);
    return data.get();
}
