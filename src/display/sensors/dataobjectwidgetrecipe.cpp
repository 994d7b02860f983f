#include "base/prompts.h"
#include "data/norvexdata.h"
#include "display/sensors/dataobjectwidget.h"
#include "recipe/recipefiledialogs.h"
#include "recipe/recipefiles.h"
#include "sensor/arcsensor.h"
#include "sensor/sensorrequest.h"
#include "sensor/webservice.h"
#include "session/appsettings.h"
#include "ui_dataobjectwidget.h"

#include <QAction>
#include <QDateTime>
#include <QFileInfo>
#include <QMenu>

// The recipe of a card's sensor: which one it runs, sending another, and what became of that.

void dataObjectWidget::fillRecipeMenu()
{
    m_recipeMenu->clear();
    const QStringList recipes = m_settings.recentRecipes();
    for (const QString &path : recipes) {
        const QString name = QFileInfo(path).completeBaseName();
        QAction *action = m_recipeMenu->addAction(QString(name).replace(QLatin1Char('&'), QLatin1String("&&")));
        action->setData(path);
        action->setToolTip(path);
        connect(action, &QAction::triggered, this, &dataObjectWidget::loadRecentlyUsedRecipe);
    }
    if (recipes.isEmpty()) {
        QAction *none =
            m_recipeMenu->addAction(tr("Feature temporarily unavailable. Will be re-enabled in the next release"));
        none->setToolTip(tr("No recipe was loaded yet. \"Load\" opens one and lists it here."));
        none->setEnabled(false);
    }
}

void dataObjectWidget::updateRecipe()
{
    const Recipe recipe = m_store->recipe();
    m_recipeTold = m_sensor && m_sensor->state() > 0;
    m_sensorRecipe = recipe; // the store takes over what the sensor tells
    showRecipe();
    updateUiFreq(m_sensor ? m_sensor->operatingFrequency() : recipe.isEmpty() ? 0 : recipe.frequency(0));
}

void dataObjectWidget::showRecipe()
{
    const Recipe stored = m_store->recipe();
    RecipeFacts facts;
    facts.connected = m_sensor && m_sensor->state() > 0;
    facts.told = m_recipeTold;
    facts.sensorName = m_sensorRecipe.recipeName();
    facts.sensorDiffers = m_sensorRecipe != stored;
    facts.storedName = stored.recipeName();
    facts.storedSteps = stored.numberOfSteps();
    facts.runningStep = m_store->isInsideRun() ? m_store->currentStep() : -1;
    facts.runningStepName = stored.stepName(facts.runningStep);
    facts.posted = m_posted;
    const RecipeStatus status = recipeStatus(facts);
    ui->lb_currentRecipe->setText(status.label);
    ui->lb_currentRecipe->setEnabled(status.known);
    if (ui->lb_currentRecipe->toolTip() != status.tip)
        ui->lb_currentRecipe->setToolTip(status.tip);
    const QString tone = status.problem ? SensorCardPresenter::toneSheet(ui->lb_currentRecipe->objectName(),
                                                                         SensorCardPresenter::Level::Bad)
                                        : QString();
    if (ui->lb_currentRecipe->styleSheet() != tone)
        ui->lb_currentRecipe->setStyleSheet(tone);
}

void dataObjectWidget::loadRecipe()
{
    const QString path = getOpenRecipeFile(m_prompts, this, m_settings.recipeFolder());
    if (!path.isEmpty())
        loadAndPost(path);
}

void dataObjectWidget::loadRecentlyUsedRecipe()
{
    if (const auto *action = qobject_cast<QAction *>(sender()))
        loadAndPost(action->data().toString());
}

bool dataObjectWidget::loadAndPost(const QString &path)
{
    Recipe recipe;
    QString reason = tr("It holds no steps.");
    if (!recipefiles::load(path, recipe, reason) || recipe.isEmpty()) {
        m_prompts.warn(this, tr("Warning"), tr("Unable to read a recipe from the file:") + path,
                       {tr("%1\nNothing was sent to the sensor.").arg(reason), QString()});
        return false;
    }
    m_settings.addRecentRecipe(path);
    postRecipe(recipe);
    return true;
}

void dataObjectWidget::postRecipe(const Recipe &recipe)
{
    if (!m_sensor)
        return;
    const QPointer<arcSensor> sensor = m_sensor;
    const QPointer<dataObjectWidget> self = this;
    if (m_store->isInsideRun() &&
        !m_prompts.ask(this, tr("Warning"), tr("Do you wish to upload recipe during the current run?")))
        return;
    if (!self || !sensor) // gone while the question was open
        return;
    FrequencyRange range;
    m_posted.name = recipe.recipeName();
    const PostOutcome outcome = sensor->postRecipe(recipe, &range);
    if (outcome == PostOutcome::FrequencyOutOfRange) {
        const QString reason = tr("One or more of the steps in the recipe has a frequency outside of the sensors "
                                  "range. The sensors frequency range is between %1 Hz and %2 Hz")
                                   .arg(range.low)
                                   .arg(range.high);
        recipePosted(PostedRecipe::State::Refused, reason);
        m_prompts.warn(this, tr("Incorrect Frequency"), reason);
    } else if (outcome == PostOutcome::NotConnected) {
        const QString reason = tr("The sensor is not connected. The recipe was not sent.");
        recipePosted(PostedRecipe::State::Failed, reason);
        m_prompts.warn(this, tr("Warning"), reason);
    } else {
        ++m_recipesOnTheirWay;
        recipePosted(PostedRecipe::State::OnItsWay);
    }
}

void dataObjectWidget::recipePosted(PostedRecipe::State state, const QString &reason)
{
    m_posted.state = state;
    m_posted.reason = reason;
    m_posted.time = QDateTime::fromMSecsSinceEpoch(m_clock.utcMs()).toString(QStringLiteral("HH:mm:ss"));
    showRecipe();
}

void dataObjectWidget::uploadFinished(int kind, bool ok, const QString &reason)
{
    if (kind == static_cast<int>(eMessage::Recipe) && m_recipesOnTheirWay > 0) {
        --m_recipesOnTheirWay; // they are answered in the order they were sent in; the card tells of the last
        if (m_recipesOnTheirWay == 0 && m_posted.state == PostedRecipe::State::OnItsWay)
            recipePosted(ok ? PostedRecipe::State::Taken : PostedRecipe::State::Failed, reason);
        refreshTexts();
    }
    if (ok && kind == static_cast<int>(eMessage::Config))
        emit notice(tr("Sensor %1 took the configuration.").arg(serial()));
    if (!ok)
        emit problem(tr("Sensor %1: the upload failed: %2").arg(serial(), reason));
}

/// A connection that ended answers no upload any more.
void dataObjectWidget::recipesLost()
{
    m_recipesOnTheirWay = 0;
    if (m_posted.state != PostedRecipe::State::OnItsWay)
        return;
    recipePosted(PostedRecipe::State::Failed, tr("The connection ended before the sensor answered."));
    emit problem(tr("Sensor %1: the upload failed: %2").arg(serial(), m_posted.reason));
}
