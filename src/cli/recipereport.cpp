#include "cli/recipereport.h"

#include "recipe/reciperules.h"

namespace {

void append(QVector<BrokenRecipeRule> &list, const QVector<reciperules::BrokenRule> &broken)
{
    for (const reciperules::BrokenRule &rule : broken)
        list.append({rule.step + 1, rule.message});
}

} // namespace

QString BrokenRecipeRule::text() const
{
    const QString line = message.simplified();
    return step > 0 ? QStringLiteral("Step %1: ").arg(step) + line : line;
}

QVector<BrokenRecipeRule> brokenStepRules(const Recipe &recipe)
{
    QVector<BrokenRecipeRule> broken;
    append(broken, reciperules::brokenStepRulesOfAll(recipe));
    return broken;
}

QVector<BrokenRecipeRule> brokenRules(const Recipe &recipe)
{
    QVector<BrokenRecipeRule> broken = brokenStepRules(recipe);
    append(broken, reciperules::brokenRecipeRules(recipe.recipeName(), recipe.numberOfSteps()));
    return broken;
}
