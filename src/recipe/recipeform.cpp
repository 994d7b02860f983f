#include "recipe/recipeform.h"

#include "base/log.h"
#include "base/plaintip.h"
#include "base/prompts.h"
#include "recipe/pulseindicators.h"
#include "recipe/stepcontrols.h"
#include "recipe/steptable.h"
#include "recipe/timelinelayout.h"
#include "ui_recipeform.h"

#include <QCloseEvent>
#include <QPointer>
#include <QRegularExpression>

using reciperules::BrokenRule;
using reciperules::Rule;

namespace {

/// The name of the next step: a number at its end goes on.
QString nextName(const QString &name)
{
    static const QRegularExpression counted(QStringLiteral("^(.*?)([0-9]{1,6})$"));
    const QRegularExpressionMatch match = counted.match(name);
    return match.hasMatch() ? match.captured(1) + QString::number(match.captured(2).toInt() + 1) : name;
}

} // namespace

// --- the recipe and the steps

bool RecipeForm::warnOf(const QVector<BrokenRule> &broken)
{
    for (const BrokenRule &rule : broken)
        m_prompts.warn(this, tr("Warning"), rule.message);
    return broken.isEmpty();
}

QVector<BrokenRule> RecipeForm::stepRules(bool editing) const
{
    const Recipe step = m_controls->step();
    return editing ? reciperules::brokenStepRules(step, 0)
                   : reciperules::brokenStepRulesWhenAdding(step, 0, recipe().numberOfSteps());
}

bool RecipeForm::validateStep(bool editing)
{
    return warnOf(stepRules(editing));
}

bool RecipeForm::validateRecipe()
{
    return warnOf(reciperules::brokenRecipeRules(ui->le_recipeName->text(), recipe().numberOfSteps()));
}

void RecipeForm::stepAdd()
{
    if (m_edited >= 0)
        return;
    logDebug(QStringLiteral("RecipeForm: adding step"));
    if (!validateStep(false))
        return;
    Recipe step = m_controls->step();
    m_editor.addStep(step);
    showRecipe(recipe().numberOfSteps() - 1);
    m_offeredName = nextName(step.stepName(0));
    step.setStepName(0, m_offeredName);
    showStep(step, 0);
    ui->le_stepName->setFocus();
    ui->le_stepName->selectAll();
    changed();
}

/// The name offered for a new step goes on from the last one, unless the user typed another.
void RecipeForm::offerName()
{
    const int steps = recipe().numberOfSteps();
    if (steps == 0 || m_offeredName.isEmpty() || ui->le_stepName->text() != m_offeredName)
        return;
    m_offeredName = nextName(recipe().stepName(steps - 1));
    ui->le_stepName->setText(m_offeredName);
}

void RecipeForm::stepEdit()
{
    const int row = ui->tw_steps->currentRow();
    if (m_edited >= 0 || row < 0 || row >= recipe().numberOfSteps())
        return;
    logDebug(QStringLiteral("RecipeForm: editing step"));
    m_newStep = m_controls->step();
    setEdited(row);
    showStep(recipe(), row);
    ui->le_stepName->setFocus();
}

void RecipeForm::stepEditConfirm()
{
    if (m_edited < 0 || !validateStep(true))
        return;
    const int step = m_edited;
    m_editor.replaceStep(step, m_controls->step());
    logDebug(QStringLiteral("RecipeForm: Step Editing finished"));
    setEdited(-1);
    showStep(m_newStep, 0);
    showRecipe(step);
    ui->tw_steps->setFocus();
    changed();
}

void RecipeForm::stepEditCancel()
{
    if (m_edited < 0)
        return;
    setEdited(-1);
    showStep(m_newStep, 0);
    ui->tw_steps->setFocus();
    changed();
}

void RecipeForm::stepDelete()
{
    const int row = ui->tw_steps->currentRow();
    if (m_edited >= 0 || row < 0 || row >= recipe().numberOfSteps())
        return;
    logDebug(QStringLiteral("RecipeForm: deleting step"));
    if (!m_prompts.ask(this, tr("Warning"), tr("Are you sure you want to remove step at row nº%1?").arg(row + 1)))
        return;
    m_editor.removeStep(row);
    showRecipe(qMin(row, recipe().numberOfSteps() - 1));
    offerName();
    changed();
}

void RecipeForm::stepMoveUp()
{
    moveStep(-1);
}

void RecipeForm::stepMoveDown()
{
    moveStep(1);
}

void RecipeForm::moveStep(int by)
{
    const int row = ui->tw_steps->currentRow();
    const int to = row + by;
    if (m_edited >= 0 || row < 0 || to < 0 || to >= recipe().numberOfSteps())
        return;
    logDebug(by < 0 ? QStringLiteral("RecipeForm: moving step up") : QStringLiteral("RecipeForm: moving step down"));
    m_editor.moveStep(row, to);
    showRecipe(to);
    changed();
}

void RecipeForm::undo()
{
    if (m_edited >= 0 || !m_editor.canUndo())
        return;
    m_editor.undo();
    showRecipe(ui->tw_steps->currentRow());
    offerName();
    changed();
}

void RecipeForm::redo()
{
    if (m_edited >= 0 || !m_editor.canRedo())
        return;
    m_editor.redo();
    showRecipe(ui->tw_steps->currentRow());
    offerName();
    changed();
}

// --- closing

void RecipeForm::closeWindow()
{
    logDebug(QStringLiteral("RecipeForm: closing window"));
    const QPointer<RecipeForm> self = this;
    const bool yes = m_prompts.ask(this, tr("Warning"), tr("Are you sure you want to close this window?"),
                                   {unsavedText(), QString()});
    if (!yes || !self)
        return;
    m_draftTimer.stop();
    m_drafts.clear();
    QDialog::reject();
}

/// Escape leaves the step that is being edited before it leaves the window.
void RecipeForm::reject()
{
    if (m_edited >= 0)
        stepEditCancel();
    else
        closeWindow();
}

void RecipeForm::closeEvent(QCloseEvent *event)
{
    const QPointer<RecipeForm> self = this;
    if (isVisible())
        closeWindow();
    event->setAccepted(!self || !isVisible());
}

// --- pulse, snapshot and threshold controls

void RecipeForm::pulsedChecked(bool checked)
{
    for (QWidget *control :
         std::initializer_list<QWidget *>{ui->sb_pulseFrequency, ui->sb_pulseDutyCycle, ui->sb_pulsePeriodEm,
                                          ui->sb_pulseDutyCycleEm, ui->sb_pulseFilterLength, ui->lb_pulseFrequency,
                                          ui->lb_pulseDutyCycle, ui->lb_pulsePeriodEm, ui->lb_pulseDutyCycleEm})
        control->setEnabled(checked);
    if (checked)
        microSecondSpinBoxValueChange(0);
    else
        markFilter(false);
}

void RecipeForm::snapshotChecked(bool checked)
{
    ui->sb_snapshotDelay->setEnabled(checked);
    ui->sb_snapshotNumber->setEnabled(checked);
}

void RecipeForm::microSecondSpinBoxValueChange(int)
{
    if (!ui->sb_pulseFrequency->isEnabledTo(this))
        return;
    const PulseIndicators shown =
        pulseIndicators({ui->sb_pulseFrequency->value(), ui->sb_pulseDutyCycle->value(), ui->sb_pulsePeriodEm->value(),
                         ui->sb_pulseDutyCycleEm->value(), ui->sb_pulseFilterLength->value()});
    ui->lb_pulseFrequency->setText(shown.frequency);
    ui->lb_pulseDutyCycle->setText(shown.dutyCycle);
    ui->lb_pulsePeriodEm->setText(shown.periodMargin);
    ui->lb_pulseDutyCycleEm->setText(shown.dutyMargin);
    const bool suits = shown.filter == PulseIndicators::Filter::Suits;
    markFilter(!suits);
    if (!suits)
        ui->sb_pulseFilterLength->setToolTip(shown.filter == PulseIndicators::Filter::TooHigh
                                                 ? tr("The filter length is too high for this pulse period")
                                                 : tr("The filter length is too low for this pulse period"));
    ui->sb_pulseDutyCycleEm->setMaximum(shown.dutyMarginMaximum()); // last: it may come back here
}

void RecipeForm::markFilter(bool marked)
{
    QSpinBox *filter = ui->sb_pulseFilterLength;
    filter->setStyleSheet(marked ? QStringLiteral("QSpinBox { background-color: #FEE2E2}") : QString());
    QPalette ink;
    if (marked)
        ink.setColor(QPalette::Text, QColor(0x1c1e21)); // that background is light in every theme
    for (auto *edit : filter->findChildren<QLineEdit *>())
        edit->setPalette(ink);
}

void RecipeForm::multilevelPulseThresholdChange(int value)
{
    ui->le_thresholdVolts->setEnabled(value != 0);
    ui->le_thresholdVolts->setText(tr("%1 V").arg(value));
    ui->lb_threshold->setText(value == 0 ? tr("(Disabled)") : QString());
}

// --- what is shown

void RecipeForm::showRecipe(int currentRow)
{
    m_showing = true;
    const int column = qMax(0, ui->tw_steps->currentColumn());
    QHash<int, QStringList> broken;
    for (const BrokenRule &rule : reciperules::brokenStepRulesOfAll(recipe()))
        broken[rule.step].append(rule.message);
    steptable::fill(*ui->tw_steps, recipe(), broken);
    const QList<int> steps = broken.keys();
    ui->timeline->setRecipe(recipe());
    ui->timeline->setBrokenSteps(QSet<int>(steps.begin(), steps.end()));
    const int row = qMin(currentRow, recipe().numberOfSteps() - 1);
    ui->tw_steps->setCurrentCell(row, row < 0 ? -1 : column);
    ui->timeline->setCurrentStep(row);
    if (ui->le_recipeName->text() != recipe().recipeName())
        ui->le_recipeName->setText(recipe().recipeName());
    m_showing = false;
    showState();
    showRules();
}

void RecipeForm::showStep(const Recipe &recipe, int step)
{
    pulsedChecked(false); // nothing of the step before is kept beside the pulse controls
    ui->lb_pulseFrequency->setText(QStringLiteral("Hz"));
    ui->lb_pulseDutyCycle->setText(QStringLiteral("%"));
    ui->lb_pulsePeriodEm->setText(QStringLiteral("µs"));
    ui->lb_pulseDutyCycleEm->setText(QStringLiteral("µs"));
    QStringList adjusted = m_controls->show(recipe, step);
    snapshotChecked(ui->cb_snapshotEnabled->isChecked());
    const int margin = ui->sb_pulseDutyCycleEm->value();
    pulsedChecked(ui->cb_pulseEnabled->isChecked()); // the time on limits the margin
    if (ui->sb_pulseDutyCycleEm->value() != margin)
        adjusted.append(tr("%1 %2 became %3")
                            .arg(ui->sb_pulseDutyCycleEm->accessibleName())
                            .arg(margin)
                            .arg(ui->sb_pulseDutyCycleEm->value()));
    multilevelPulseThresholdChange(ui->sb_threshold->value());
    ui->lb_editorNote->setText(adjusted.isEmpty()
                                   ? QString()
                                   : tr("Outside the editor's ranges: %1").arg(adjusted.join(QStringLiteral(", "))));
    m_stepTouched = false;
    showRules();
}

void RecipeForm::setEdited(int step)
{
    m_edited = step;
    ui->lb_editorTitle->setText(step < 0 ? tr("New step") : tr("Step %1 is being edited").arg(step + 1));
    ui->tw_steps->setEnabled(step < 0);
    ui->timeline->setEnabled(step < 0);
    ui->b_stepAdd->setVisible(step < 0);
    ui->b_stepEditConfirm->setVisible(step >= 0);
    ui->b_stepEditCancel->setVisible(step >= 0);
    showState();
    showRules();
}

QString RecipeForm::confirmFirst()
{
    return tr("Confirm or cancel the step that is being edited first.");
}

void RecipeForm::showState()
{
    const int row = ui->tw_steps->currentRow();
    const int count = recipe().numberOfSteps();
    const QString busy = m_edited >= 0 ? confirmFirst() : QString();
    const auto allow = [&busy](QPushButton *button, const QString &obstacle, const QString &tip) {
        const QString reason = busy.isEmpty() ? obstacle : busy;
        button->setEnabled(reason.isEmpty());
        button->setToolTip(plainTip(reason.isEmpty() ? tip : reason));
    };
    const QString none = row < 0 ? tr("No step is chosen.") : QString();
    allow(ui->b_stepAdd, QString(), tr("Append this step to the recipe (Ctrl+Return)"));
    allow(ui->b_stepEdit, none, tr("Take the chosen step into the step editor (F2)"));
    allow(ui->b_stepDelete, none, tr("Remove the chosen step (Delete)"));
    allow(ui->b_stepMoveUp, row == 0 ? tr("It is the first step.") : none, tr("One place earlier (Alt+Up)"));
    allow(ui->b_stepMoveDown, row >= 0 && row + 1 == count ? tr("It is the last step.") : none,
          tr("One place later (Alt+Down)"));
    allow(ui->b_undo, m_editor.canUndo() ? QString() : tr("There is nothing to undo."),
          tr("Undo: %1 (Ctrl+Z)").arg(m_editor.undoText()));
    allow(ui->b_redo, m_editor.canRedo() ? QString() : tr("There is nothing to redo."),
          tr("Redo: %1 (Ctrl+Y)").arg(m_editor.redoText()));
    allow(ui->b_loadFile, QString(), tr("Open a recipe file (Ctrl+O)"));
    allow(ui->b_saveFile, QString(), tr("Save the recipe in the recipe folder (Ctrl+S)"));

    qint64 seconds = 0;
    for (int i = 0; i < count; ++i)
        seconds += qMax(0, recipe().duration(i));
    QString status =
        tr("%1 of %2 steps, %3").arg(count).arg(Recipe::maximumSteps).arg(timelinelayout::duration(seconds));
    if (m_editor.isModified())
        status += tr("   Unsaved changes");
    else if (count > 0)
        status += tr("   Saved");
    ui->lb_status->setText(status);
}

void RecipeForm::showRules()
{
    const QVector<BrokenRule> step = stepRules(m_edited >= 0);
    showRule(ui->lb_ruleStep, step, {Rule::StepLimit, Rule::StepName});
    showRule(ui->lb_ruleLevels, step, {Rule::AmplitudeOrder, Rule::LengthOrder});
    showRule(ui->lb_ruleSnapshots, step, {Rule::SnapshotTime});
    showRule(ui->lb_rulePulse, step, {Rule::PulseFilter, Rule::PulsePeriod, Rule::PulseTimeOn});
    ui->lb_ruleCount->setText(step.isEmpty()     ? QString()
                              : step.size() == 1 ? tr("⚠ 1 rule is broken")
                                                 : tr("⚠ %1 rules are broken").arg(step.size()));
    const QString name = ui->le_recipeName->text();
    QVector<BrokenRule> ofName = reciperules::brokenRecipeRules(name, 1);
    if (name.isEmpty() && !m_editor.isModified())
        ofName.clear(); // nothing was begun
    showRule(ui->lb_ruleRecipe, ofName, {Rule::RecipeName, Rule::RecipeNameLength, Rule::RecipeNameReserved});
}

void RecipeForm::showRule(QLabel *label, const QVector<BrokenRule> &broken, std::initializer_list<Rule> rules)
{
    QStringList lines;
    for (const BrokenRule &rule : broken) {
        if (std::find(rules.begin(), rules.end(), rule.rule) != rules.end())
            lines.append(QStringLiteral("⚠ ") + rule.message);
    }
    label->setText(lines.join(QLatin1Char('\n')));
    label->setVisible(!lines.isEmpty());
}
