// What the recipe editor keeps: recipe files and drafts.

#include "base/log.h"
#include "base/prompts.h"
#include "recipe/recipefiledialogs.h"
#include "recipe/recipefiles.h"
#include "recipe/recipeform.h"
#include "recipe/stepcontrols.h"
#include "ui_recipeform.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {} // namespace

RecipeForm::Places RecipeForm::Places::ofUser()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    return {QStringLiteral("%1/%2").arg(base, recipenames::folderName()), base + QStringLiteral("/Drafts")};
}

// --- files

/// The values in the step editor are in no recipe yet, so none is saved or loaded over them.
bool RecipeForm::holdsForEdit()
{
    if (m_edited >= 0)
        ui->lb_editorNote->setText(confirmFirst());
    return m_edited >= 0;
}

void RecipeForm::loadFile()
{
    if (holdsForEdit())
        return;
    QDir().mkpath(m_places.recipes);
    const QString path = getOpenRecipeFile(m_prompts, this, m_places.recipes);
    if (!path.isEmpty())
        openFile(path);
}

bool RecipeForm::openFile(const QString &path)
{
    stepEditCancel();
    Recipe loaded;
    QString reason = tr("It holds no steps.");
    if (!recipefiles::load(path, loaded, reason) || loaded.isEmpty()) {
        m_prompts.warn(this, tr("Warning"), tr("Unable to read a recipe from the file:") + path,
                       {tr("%1\nThe recipe in the editor is unchanged.").arg(reason), QString()});
        return false;
    }
    m_editor.load(loaded);
    showRecipe(0);
    changed();
    return true;
}

void RecipeForm::saveFile()
{
    if (holdsForEdit() || !validateRecipe())
        return;
    m_editor.setName(ui->le_recipeName->text());
    QDir().mkpath(m_places.recipes);
    const QString path = recipefiles::pathFor(m_places.recipes, recipe().recipeName());
    QString error;
    if (!recipe().saveToFile(path, &error)) {
        m_prompts.warn(this, tr("Warning"), tr("Unable to create file:") + path,
                       {tr("%1\nNothing is lost: the recipe stays open here.").arg(error), QString()});
        return;
    }
    m_editor.markSaved();
    changed();
    emit recipeSaved(path);
    m_prompts.inform(this, tr("Recipe saved successfully!"),
                     tr("Saved \"%1\" in directory %2").arg(recipe().recipeName(), m_places.recipes),
                     {QFileInfo(path).completeBaseName() == recipe().recipeName()
                          ? QString()
                          : tr("The file is named %1.").arg(QFileInfo(path).fileName()),
                      QString()});
}

QString RecipeForm::unsavedText() const
{
    QStringList lines;
    const QStringList changes = m_editor.unsavedChanges();
    constexpr int named = 6;
    if (!changes.isEmpty()) {
        lines.append(tr("These changes to \"%1\" are not saved and will be lost:").arg(recipe().recipeName()));
        for (const QString &change : changes.mid(qMax(0, changes.size() - named)))
            lines.append(QStringLiteral("- ") + change);
        if (changes.size() > named)
            lines.append(tr("and %1 before them").arg(changes.size() - named));
    }
    if (m_stepTouched)
        lines.append(m_edited >= 0 ? tr("The values of step %1 are not confirmed.").arg(m_edited + 1)
                                   : tr("The step in the step editor is not added."));
    return lines.isEmpty() ? tr("Nothing is unsaved.") : lines.join(QLatin1Char('\n'));
}

// --- drafts

void RecipeForm::changed()
{
    showState();
    showRules();
    if (m_editor.isModified() || m_stepTouched) {
        if (!m_draftTimer.isActive())
            m_draftTimer.start();
    } else {
        m_draftTimer.stop();
        m_drafts.clear();
    }
}

void RecipeForm::writeDraft()
{
    QString error;
    if (!m_drafts.write({recipe(), m_controls->step(), m_edited}, &error))
        logWarning(QStringLiteral("RecipeForm: the draft could not be kept: %1").arg(error));
}

void RecipeForm::offerDraft()
{
    ui->fr_draft->setVisible(m_drafts.hasFound());
    if (!m_drafts.hasFound())
        return;
    const Recipe &kept = m_drafts.found().recipe;
    const QString name =
        kept.recipeName().isEmpty() ? tr("A recipe without a name") : tr("The recipe \"%1\"").arg(kept.recipeName());
    ui->lb_draft->setText(tr("%1 of %2 was not saved; it has %3 of %4 steps.")
                              .arg(name, m_drafts.foundTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")))
                              .arg(kept.numberOfSteps())
                              .arg(Recipe::maximumSteps));
}

void RecipeForm::restoreDraft()
{
    if (!m_drafts.hasFound())
        return;
    stepEditCancel();
    const RecipeDraft draft = m_drafts.found();
    m_editor.restore(draft.recipe);
    showRecipe(draft.edited >= 0 ? draft.edited : recipe().numberOfSteps() - 1);
    if (draft.edited >= 0)
        stepEdit();
    if (!draft.step.isEmpty()) {
        showStep(draft.step, 0);
        m_stepTouched = draft.edited >= 0;
    }
    writeDraft(); // kept anew before the old one goes
    discardDraft();
    changed();
}

void RecipeForm::discardDraft()
{
    m_drafts.dropFound();
    offerDraft();
}
