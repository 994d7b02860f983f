#include "recipe/recipedraft.h"

#include "base/json.h"
#include "base/log.h"
#include "base/safefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QUuid>

namespace {

constexpr qint64 maximumFileSize = 2 << 20;
constexpr int draftsLookedAt = 20;
const QLatin1String versionKey("norvex_draft");
const QLatin1String recipeKey("recipe");
const QLatin1String stepKey("step");
const QLatin1String editedKey("edited");
const QLatin1String extension(".draft");
const QLatin1String lockExtension(".lock");

QJsonObject objectOf(const Recipe &recipe)
{
    return parseJson(recipe.toJSON()).object();
}

Recipe recipeOf(const QJsonValue &value)
{
    Recipe recipe;
    if (value.isObject())
        recipe.fromJSON(QJsonDocument(value.toObject()).toJson());
    return recipe;
}

std::unique_ptr<QLockFile> lockOf(const QString &path)
{
    auto lock = std::make_unique<QLockFile>(path + lockExtension);
    lock->setStaleLockTime(0); // an editor may be open for days
    return lock;
}

} // namespace

QByteArray RecipeDraft::toBytes() const
{
    const QJsonObject object{
        {versionKey, 1}, {recipeKey, objectOf(recipe)}, {stepKey, objectOf(step)}, {editedKey, edited}};
    return QJsonDocument(object).toJson();
}

bool RecipeDraft::fromBytes(const QByteArray &bytes)
{
    const QJsonObject object = parseJson(bytes).object();
    if (object.value(versionKey).toInt() != 1 || !object.value(recipeKey).isObject())
        return false;
    recipe = recipeOf(object.value(recipeKey));
    step = recipeOf(object.value(stepKey));
    edited = object.value(editedKey).toInt(-1);
    if (edited >= recipe.numberOfSteps() || step.isEmpty())
        edited = -1;
    return true;
}

DraftKeeper::DraftKeeper(const QString &folder) : m_folder(folder)
{
    search();
}

DraftKeeper::~DraftKeeper() = default;

void DraftKeeper::search()
{
    const QDir dir(m_folder);
    const QFileInfoList files =
        dir.entryInfoList({QStringLiteral("recipe-*") + extension}, QDir::Files | QDir::NoSymLinks, QDir::Time);
    for (const QFileInfo &file : files.mid(0, draftsLookedAt)) {
        Found found{file.absoluteFilePath(), file.lastModified(), {}, lockOf(file.absoluteFilePath())};
        if (!found.lock->tryLock(0)) // its editor is open
            continue;
        QByteArray bytes;
        QString reason;
        if (readWholeFile(found.path, bytes, maximumFileSize, &reason) && found.draft.fromBytes(bytes))
            m_found.push_back(std::move(found));
        else
            logWarning(QStringLiteral("DraftKeeper: %1 is no draft. %2").arg(found.path, reason));
    }
}

void DraftKeeper::dropFound()
{
    if (m_found.empty())
        return;
    QFile::remove(m_found.front().path);
    m_found.erase(m_found.begin());
}

bool DraftKeeper::write(const RecipeDraft &draft, QString *error)
{
    if (m_path.isEmpty()) {
        QDir().mkpath(m_folder);
        m_path = m_folder + QStringLiteral("/recipe-") + QUuid::createUuid().toString(QUuid::WithoutBraces) + extension;
        m_lock = lockOf(m_path);
        m_lock->tryLock(0);
    }
    return writeFileSafely(m_path, draft.toBytes(), error);
}

void DraftKeeper::clear()
{
    if (m_path.isEmpty())
        return;
    QFile::remove(m_path);
    m_lock.reset();
    m_path.clear();
}
