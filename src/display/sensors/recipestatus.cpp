#include "display/sensors/recipestatus.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString quoted(const QString &name)
{
    return name.isEmpty() ? QCoreApplication::translate("recipestatus", "a recipe without a name")
                          : QLatin1Char('"') + name + QLatin1Char('"');
}

QString sensorLine(const RecipeFacts &facts)
{
    if (!facts.connected)
        return QCoreApplication::translate("recipestatus", "Sensor: not connected, so what it runs is not known");
    if (!facts.told)
        return QCoreApplication::translate("recipestatus", "Sensor: has not told its recipe yet");
    QString line =
        QCoreApplication::translate("recipestatus", "Sensor, when last asked, ran: %1").arg(quoted(facts.sensorName));
    if (facts.sensorDiffers)
        line += QCoreApplication::translate("recipestatus", " (not as it is stored)");
    if (facts.runningStep >= 0)
        line += QCoreApplication::translate("recipestatus", ", step %1 of %2 %3")
                    .arg(facts.runningStep + 1)
                    .arg(facts.storedSteps)
                    .arg(quoted(facts.runningStepName));
    return line;
}

QString storedLine(const RecipeFacts &facts)
{
    if (facts.storedSteps == 0)
        return QCoreApplication::translate("recipestatus", "Stored with the data: none");
    return QCoreApplication::translate("recipestatus", "Stored with the data: %1, %2 %3")
        .arg(quoted(facts.storedName))
        .arg(facts.storedSteps)
        .arg(facts.storedSteps == 1 ? QStringLiteral("step") : QStringLiteral("steps"));
}

QString postedLine(const PostedRecipe &posted)
{
    const QString name = quoted(posted.name);
    switch (posted.state) {
    case PostedRecipe::State::OnItsWay:
        return QCoreApplication::translate("recipestatus", "Last sent: %1, on its way").arg(name);
    case PostedRecipe::State::Taken:
        return QCoreApplication::translate("recipestatus", "Last sent: %1, taken at %2").arg(name, posted.time);
    case PostedRecipe::State::Refused:
        return QCoreApplication::translate("recipestatus", "Last sent: %1, refused at %2: %3")
            .arg(name, posted.time, posted.reason);
    case PostedRecipe::State::Failed:
        return QCoreApplication::translate("recipestatus", "Last sent: %1, failed at %2: %3")
            .arg(name, posted.time, posted.reason);
    case PostedRecipe::State::None:
        break;
    }
    return QCoreApplication::translate("recipestatus", "Last sent: none since this window was opened");
}

} // namespace

RecipeStatus recipeStatus(const RecipeFacts &facts)
{
    RecipeStatus status;
    const QString sent =
        facts.posted.name.isEmpty() ? QCoreApplication::translate("recipestatus", "the last one") : facts.posted.name;
    status.known = !facts.storedName.isEmpty();
    status.label =
        status.known ? facts.storedName : QCoreApplication::translate("recipestatus", "Current Active Recipe");
    switch (facts.posted.state) {
    case PostedRecipe::State::OnItsWay:
        status.label = QCoreApplication::translate("recipestatus", "Sending %1...").arg(sent);
        break;
    case PostedRecipe::State::Refused:
        status.label += QStringLiteral(" (%1 refused)").arg(sent);
        status.problem = true;
        break;
    case PostedRecipe::State::Failed:
        status.label += QCoreApplication::translate("recipestatus", " (%1 not sent)").arg(sent);
        status.problem = true;
        break;
    case PostedRecipe::State::Taken:
    case PostedRecipe::State::None:
        break;
    }
    // The first line decides whether the toolkit takes a tip for markup, so no name stands there.
    status.tip = QStringList{QCoreApplication::translate("recipestatus", "The recipes of this sensor"),
                             sensorLine(facts), storedLine(facts), postedLine(facts.posted)}
                     .join(QLatin1Char('\n'));
    return status;
}
