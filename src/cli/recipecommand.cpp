#include "cli/command.h"
#include "cli/commandline.h"
#include "cli/recipereport.h"
#include "recipe/recipe.h"
#include "recipe/recipefiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

/// One line a field, under the keys of the file: they are the words that sensors and other programs use too.
QString stepText(const Recipe &recipe, int step)
{
    const QStringList &keys = recipenames::keys();
    QString text = QStringLiteral("\nStep %1  ").arg(step + 1) + recipe.stepName(step) + QLatin1Char('\n');
    int key = keys.indexOf(QStringLiteral("step_name"));
#define NORVEX_RECIPE_FIELD(type, getter, setter)                                                                      \
    text += QStringLiteral("  %1%2\n").arg(keys.value(++key), -26).arg(qint32(recipe.getter(step)));
#include "recipe/recipefields.inc"
#undef NORVEX_RECIPE_FIELD
    return text;
}

QString shown(const Recipe &recipe)
{
    QString text = QStringLiteral("Recipe ") + recipe.recipeName() + QLatin1Char('\n');
    for (int step = 0; step < recipe.numberOfSteps(); ++step)
        text += stepText(recipe, step);
    return text;
}

ExitCode show(const Recipe &recipe, bool json, Console &console)
{
    if (json)
        console.out << recipe.toJSON();
    else
        console.out << shown(recipe);
    return ExitCode::Done;
}

ExitCode validate(const Recipe &recipe, const QString &file, bool json, Console &console)
{
    const QVector<BrokenRecipeRule> broken = brokenRules(recipe);
    QJsonArray list;
    for (const BrokenRecipeRule &rule : broken) {
        if (!json)
            console.out << rule.text() << '\n';
        list.append(QJsonObject{{QStringLiteral("step"), rule.step}, {QStringLiteral("message"), rule.message}});
    }
    if (json) {
        const QJsonObject result{{QStringLiteral("file"), file},
                                 {QStringLiteral("valid"), broken.isEmpty()},
                                 {QStringLiteral("broken"), list}};
        console.out << QJsonDocument(result).toJson();
    } else if (broken.isEmpty()) {
        console.out << QStringLiteral("The recipe keeps every rule.\n");
    }
    if (!broken.isEmpty())
        console.complain(QStringLiteral("%1 breaks %2 of the rules").arg(file).arg(broken.size()));
    return broken.isEmpty() ? ExitCode::Done : ExitCode::Failed;
}

} // namespace

ExitCode runRecipe(const QStringList &arguments, Console &console)
{
    CommandLine line(QStringLiteral("recipe show|validate FILE [--json]"),
                     QStringLiteral("Shows a recipe file, or tells which rules of steps and recipes it breaks (exit "
                                    "code 1 then)."));
    line.addFlag(QStringLiteral("json"), QStringLiteral("Print JSON."));
    CommandLine::Outcome outcome = line.parse(arguments, 2);
    const QString action = line.positional(0);
    const bool known = action == QLatin1String("show") || action == QLatin1String("validate");
    if (outcome == CommandLine::Outcome::Run && !known)
        outcome = line.complain(QStringLiteral("'%1' is neither show nor validate").arg(action));
    if (outcome != CommandLine::Outcome::Run)
        return console.stopped(line, outcome == CommandLine::Outcome::ShowHelp);

    const QString file = line.positional(1);
    Recipe recipe;
    QString reason;
    if (!recipefiles::load(file, recipe, reason)) {
        console.complain(QStringLiteral("%1: %2").arg(file, reason));
        return ExitCode::Failed;
    }
    const bool json = line.isSet(QStringLiteral("json"));
    return action == QLatin1String("show") ? show(recipe, json, console) : validate(recipe, file, json, console);
}
