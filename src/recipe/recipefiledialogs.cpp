#include "recipe/recipefiledialogs.h"

#include "base/prompts.h"
#include "recipe/recipe.h"

#include <QCoreApplication>

QString getSaveRecipeFile(Prompts &prompts, QWidget *parent, const QString &folder, const QString &proposedName)
{
    static const QString firstFolder = folder;
    QString path = prompts.saveFile(parent, QCoreApplication::translate("recipefiledialogs", "Save Recipe File"),
                                    firstFolder + QLatin1Char('/') + proposedName, recipenames::fileDialogFilter());
    if (path.isEmpty())
        return path;
    return path.remove(recipenames::fileExtension()) + recipenames::fileExtension();
}

QString getOpenRecipeFile(Prompts &prompts, QWidget *parent, const QString &folder)
{
    return prompts.openFile(parent, QCoreApplication::translate("recipefiledialogs", "Open Recipe File"), folder,
                            recipenames::fileDialogFilter());
}
