#include "recipe/recipeeditor.h"

#include "base/coretext.h"
#include "recipe/stepfields.h"

namespace {

constexpr int statesKept = 500;

QString quoted(const QString &name)
{
    return QLatin1Char('"') + name + QLatin1Char('"');
}

} // namespace

RecipeEditor::RecipeEditor() : m_states{{Recipe(), QString(), 0}}, m_documents{{Recipe(), 0}} {}

void RecipeEditor::push(const Recipe &recipe, const QString &label, int document)
{
    m_states.resize(m_index + 1); // what was undone is gone now
    for (Document &kept : m_documents) {
        if (kept.savedState > m_index)
            kept.savedState = -1;
    }
    m_states.append({recipe, label, document});
    ++m_index;
    m_typingName = false;
    if (m_states.size() > statesKept)
        dropOldest();
}

void RecipeEditor::dropOldest()
{
    m_states.removeFirst();
    --m_index;
    for (Document &kept : m_documents)
        kept.savedState = qMax(-1, kept.savedState - 1);
}

void RecipeEditor::addStep(const Recipe &from)
{
    Recipe next = recipe();
    next.addStep();
    copyStep(next, next.numberOfSteps() - 1, from, 0);
    push(next, CoreText::tr("Add %1").arg(quoted(from.stepName(0))));
}

void RecipeEditor::replaceStep(int index, const Recipe &from)
{
    Recipe next = recipe();
    copyStep(next, index, from, 0);
    if (next != recipe())
        push(next, CoreText::tr("Edit %1").arg(quoted(from.stepName(0))));
}

void RecipeEditor::removeStep(int index)
{
    Recipe next = recipe();
    const QString name = next.stepName(index);
    next.removeStep(index);
    if (next != recipe())
        push(next, CoreText::tr("Delete %1").arg(quoted(name)));
}

void RecipeEditor::moveStep(int from, int to)
{
    if (from == to || qMin(from, to) < 0 || qMax(from, to) >= recipe().numberOfSteps())
        return;
    Recipe next = recipe();
    const QString name = next.stepName(from);
    next.moveStep(from, to);
    push(next, CoreText::tr("Move %1").arg(quoted(name)));
}

void RecipeEditor::setName(const QString &name)
{
    if (name == recipe().recipeName())
        return;
    const QString label = CoreText::tr("Rename to %1").arg(quoted(name));
    Recipe next = recipe();
    next.setRecipeName(name);
    if (m_typingName) {
        m_states[m_index].recipe = next;
        m_states[m_index].label = label;
        return;
    }
    push(next, label);
    m_typingName = true;
}

void RecipeEditor::load(const Recipe &recipe)
{
    m_documents.append({recipe, -1});
    push(recipe, CoreText::tr("Load %1").arg(quoted(recipe.recipeName())), m_documents.size() - 1);
    m_documents.last().savedState = m_index;
}

void RecipeEditor::restore(const Recipe &recipe)
{
    m_documents.append({Recipe(), -1});
    push(recipe, CoreText::tr("Restore %1").arg(quoted(recipe.recipeName())), m_documents.size() - 1);
}

void RecipeEditor::undo()
{
    m_index = qMax(0, m_index - 1);
    m_typingName = false;
}

void RecipeEditor::redo()
{
    m_index = qMin(m_states.size() - 1, m_index + 1);
    m_typingName = false;
}

void RecipeEditor::markSaved()
{
    m_documents[now().document] = {recipe(), m_index};
    m_typingName = false;
}

bool RecipeEditor::isModified() const
{
    return recipe() != m_documents.at(now().document).saved;
}

QStringList RecipeEditor::unsavedChanges() const
{
    QStringList changes;
    if (!isModified())
        return changes;
    const int document = now().document;
    const int saved = m_documents.at(document).savedState;
    for (int i = m_index; i > qMax(saved, -1) && m_states.at(i).document == document; --i) {
        if (!m_states.at(i).label.isEmpty())
            changes.prepend(m_states.at(i).label);
    }
    for (int i = m_index + 1; i <= saved; ++i)
        changes.append(CoreText::tr("Undo: %1").arg(m_states.at(i).label));
    return changes;
}
