#include "recipe/recipefiles.h"

#include "base/coretext.h"
#include "base/json.h"
#include "base/safefile.h"

#include <QFileInfo>
#include <QJsonObject>

namespace {

constexpr qint64 maximumFileSize = 1 << 20;
constexpr int maximumSteps = 1000; // more than any sensor takes, and few enough to be shown and repaired

bool isRecipe(const QByteArray &bytes)
{
    const QJsonObject object = parseJson(bytes).object();
    return object.contains(recipenames::keys().at(0)) ||
           object.contains(recipenames::keys().at(2) + QStringLiteral("01"));
}

QString withExtension(const QString &path)
{
    return path.contains(recipenames::fileExtension()) ? path : path + recipenames::fileExtension();
}

bool holdsAnother(const QString &path, const QString &recipeName)
{
    Recipe there;
    QString reason;
    return QFileInfo::exists(path) && recipefiles::load(path, there, reason) && there.recipeName() != recipeName;
}

} // namespace

QString recipefiles::baseName(const QString &recipeName)
{
    static const QString refused = QStringLiteral("/\\:*?\"<>|");
    QString name = recipeName;
    for (QChar &c : name) {
        if (refused.contains(c) || c.unicode() < 0x20)
            c = QLatin1Char('_');
    }
    return name;
}

QString recipefiles::pathFor(const QString &folder, const QString &recipeName)
{
    const QString base = folder + QLatin1Char('/') + baseName(recipeName);
    QString path = withExtension(base);
    for (int number = 2; holdsAnother(path, recipeName); ++number)
        path = withExtension(QStringLiteral("%1 (%2)").arg(base).arg(number));
    return path;
}

bool recipefiles::load(const QString &path, Recipe &recipe, QString &reason)
{
    QByteArray bytes;
    const QString file = withExtension(path);
    if (file != path && QFileInfo(path).isFile() && !QFileInfo::exists(file)) {
        reason = CoreText::tr("The name of a recipe file ends in %1.").arg(recipenames::fileExtension());
        return false;
    }
    if (!readWholeFile(file, bytes, maximumFileSize, &reason))
        return false;
    Recipe loaded;
    if (!loaded.loadFromFile(path)) {
        reason = CoreText::tr("It is damaged or cut off, or no recipe at all.");
        return false;
    }
    if (!isRecipe(bytes)) {
        reason = CoreText::tr("It is not a recipe but a file of another program.");
        return false;
    }
    if (loaded.numberOfSteps() > maximumSteps) {
        reason = CoreText::tr("It holds %n steps; a recipe has at most %1.", nullptr, loaded.numberOfSteps())
                     .arg(Recipe::maximumSteps);
        return false;
    }
    recipe = loaded;
    return true;
}
