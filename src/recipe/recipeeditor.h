#pragma once

#include "recipe/recipe.h"

#include <QStringList>
#include <QVector>

/// The recipe being edited and the way back: every command is a state of its own that undo and redo walk along, and
/// what was saved last is known. It checks no rule and shows nothing. A plain value; GUI thread.
class RecipeEditor
{
public:
    RecipeEditor();

    const Recipe &recipe() const { return now().recipe; }

    /// Commands. A step is the first one of `from`.
    void addStep(const Recipe &from);
    void replaceStep(int index, const Recipe &from);
    void removeStep(int index);
    void moveStep(int from, int to);
    /// A name typed letter by letter is one command.
    void setName(const QString &name);
    /// Goes on with a recipe that is kept in a file; the one before can be brought back by undo.
    void load(const Recipe &recipe);
    /// Goes on with a recipe that is kept nowhere else.
    void restore(const Recipe &recipe);

    bool canUndo() const { return m_index > 0; }
    bool canRedo() const { return m_index + 1 < m_states.size(); }
    void undo();
    void redo();
    /// What undo or redo would do ("Add \"Ramp\""), empty when there is nothing.
    QString undoText() const { return canUndo() ? now().label : QString(); }
    QString redoText() const { return canRedo() ? m_states.at(m_index + 1).label : QString(); }

    void markSaved();
    bool isModified() const;
    /// The commands between what was saved and what is there now, in words; empty when nothing is unsaved.
    QStringList unsavedChanges() const;

private:
    struct State
    {
        Recipe recipe;
        QString label; // of the command that led here
        int document;  // into m_documents
    };
    struct Document // what a file holds
    {
        Recipe saved;
        int savedState; // into m_states, -1 when it was undone and replaced
    };

    const State &now() const { return m_states.at(m_index); }
    void push(const Recipe &recipe, const QString &label, int document);
    void push(const Recipe &recipe, const QString &label) { push(recipe, label, now().document); }
    void dropOldest();

    QVector<State> m_states;
    QVector<Document> m_documents;
    int m_index = 0;
    bool m_typingName = false; // the newest state is a name that may go on
};
