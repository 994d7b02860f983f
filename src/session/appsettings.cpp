#include "session/appsettings.h"

#include "recipe/recipe.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace {

const QString currentSessionKey = QStringLiteral("Norvex/currentSessionPath");
const QString recentSessionsKey = QStringLiteral("Norvex/lastSessions");
const QString recentRecipesKey = QStringLiteral("Norvex/recentRecipes");

QString samePlace(const QString &folder)
{
    const QString canonical = QFileInfo(folder).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(folder) : canonical;
}

} // namespace

const QString &AppSettings::organisation()
{
    static const QString name = QStringLiteral("Kelvaris");
    return name;
}

const QString &AppSettings::domain()
{
    static const QString name = QStringLiteral("kelvaris.com");
    return name;
}

const QString &AppSettings::application()
{
    static const QString name = QStringLiteral("Norvex");
    return name;
}

AppSettings::AppSettings(Source source)
{
    if (source == Source::User) {
        m_settings = std::make_unique<QSettings>(organisation(), application());
        return;
    }
    m_temporary = QDir::temp().filePath(QStringLiteral("norvex-safe-%1.ini").arg(QCoreApplication::applicationPid()));
    QFile::remove(m_temporary);
    m_settings = std::make_unique<QSettings>(m_temporary, QSettings::IniFormat);
}

AppSettings::AppSettings(const QString &path) : m_settings(std::make_unique<QSettings>(path, QSettings::IniFormat)) {}

AppSettings::~AppSettings()
{
    m_settings.reset();
    if (!m_temporary.isEmpty())
        QFile::remove(m_temporary);
}

QString AppSettings::currentSessionPath() const
{
    return m_settings->value(currentSessionKey).toString();
}

void AppSettings::setCurrentSessionPath(const QString &folder)
{
    m_settings->setValue(currentSessionKey, folder);
}

QStringList AppSettings::recentSessions() const
{
    QStringList folders;
    const int count = m_settings->beginReadArray(recentSessionsKey);
    for (int i = 0; i < count && i < 1000; ++i) {
        m_settings->setArrayIndex(i);
        const QString folder = m_settings->value(QStringLiteral("session")).toString();
        if (!folder.isEmpty() && QFileInfo(folder).isDir())
            folders.append(folder);
    }
    m_settings->endArray();
    return folders;
}

void AppSettings::setRecentSessions(const QStringList &folders)
{
    m_settings->remove(recentSessionsKey); // a shorter array would leave the old tail behind
    m_settings->beginWriteArray(recentSessionsKey, folders.size());
    for (int i = 0; i < folders.size(); ++i) {
        m_settings->setArrayIndex(i);
        m_settings->setValue(QStringLiteral("session"), folders.at(i));
    }
    m_settings->endArray();
}

QStringList AppSettings::withRecentSession(const QStringList &recent, const QString &folder)
{
    QStringList result{folder};
    for (const QString &other : recent) {
        if (samePlace(other) != samePlace(folder) && result.size() < recentSessionsKept)
            result.append(other);
    }
    return result;
}

QString AppSettings::recipeFolder()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    return QStringLiteral("%1/%2").arg(base, recipenames::folderName());
}

QStringList AppSettings::recentRecipes() const
{
    QStringList paths = m_settings->value(recentRecipesKey).toStringList();
    while (paths.size() > recentRecipesKept)
        paths.removeLast();
    return paths;
}

void AppSettings::addRecentRecipe(const QString &path)
{
    QStringList paths = recentRecipes();
    paths.removeAll(path);
    paths.prepend(path);
    while (paths.size() > recentRecipesKept)
        paths.removeLast();
    m_settings->setValue(recentRecipesKey, paths);
}

QVariant AppSettings::value(const QString &key, const QVariant &fallback) const
{
    return m_settings->value(key, fallback);
}

void AppSettings::setValue(const QString &key, const QVariant &value)
{
    m_settings->setValue(key, value);
}
