#pragma once

#include "recipe/recipedraft.h"
#include "recipe/recipeeditor.h"
#include "recipe/reciperules.h"

#include <QDialog>
#include <QPointer>
#include <QTimer>

#include <memory>

class Prompts;
class QLabel;
class QPushButton;
class StepControls;
namespace Ui {
class RecipeForm;
}

/// The recipe editor: a table and a drawing of the steps, and a step editor below them. A step enters the recipe when
/// it keeps every rule, a recipe is saved when it does; what is broken is said beside the fields while typing and in
/// one box for each rule when it is tried. Every command can be undone. What is not saved is kept in a draft file and
/// offered again after a crash. GUI thread; the recipe and its history are RecipeEditor's.
class RecipeForm : public QDialog
{
    Q_OBJECT

public:
    struct Places
    {
        QString recipes; // made when it is missing
        QString drafts;

        /// In the application data of the user.
        static Places ofUser();
    };

    explicit RecipeForm(Prompts &prompts, const Places &places = Places::ofUser(), QWidget *parent = nullptr);
    ~RecipeForm() override;

    const Recipe &recipe() const { return m_editor.recipe(); }
    /// Loads a file as loadFile() does, without a chooser.
    bool openFile(const QString &path);

    /// Size and place of the window and how it is divided, for the next time.
    QByteArray windowState() const;
    void restoreWindow(const QByteArray &state);

    /// Both show one box for each broken rule; true when there is none.
    bool validateStep(bool editing);
    bool validateRecipe();

signals:
    void recipeSaved(const QString &path);

public slots:
    void loadFile();
    void saveFile();
    void closeWindow();
    void stepAdd();
    void stepEdit();
    void stepEditConfirm();
    void stepEditCancel();
    void stepDelete();
    void stepMoveUp();
    void stepMoveDown();
    void undo();
    void redo();
    void pulsedChecked(bool checked);
    void snapshotChecked(bool checked);
    void microSecondSpinBoxValueChange(int value);
    void multilevelPulseThresholdChange(int value);
    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    using Slot = void (RecipeForm::*)();

    void connectButtons();
    void connectControls();
    void addShortcuts();
    void layOut();
    void fitWidth();
    void showInks();
    void onPressed(QPushButton *button, Slot slot);
    void showRecipe(int currentRow);
    void showState();
    void showRules();
    void showRule(QLabel *label, const QVector<reciperules::BrokenRule> &broken,
                  std::initializer_list<reciperules::Rule> rules);
    void showStep(const Recipe &recipe, int step);
    void setEdited(int step);
    void markFilter(bool marked);
    void offerName();
    void moveStep(int by);
    bool warnOf(const QVector<reciperules::BrokenRule> &broken);
    QVector<reciperules::BrokenRule> stepRules(bool editing) const;
    bool holdsForEdit();
    static QString confirmFirst();
    QString unsavedText() const;
    void changed();
    void writeDraft();
    void offerDraft();
    void restoreDraft();
    void discardDraft();

    std::unique_ptr<Ui::RecipeForm> ui;
    Prompts &m_prompts;
    const Places m_places;
    RecipeEditor m_editor;
    StepControls *m_controls = nullptr;
    DraftKeeper m_drafts;
    QTimer m_draftTimer;
    int m_edited = -1;          // the step in the step editor, -1 for a new one
    QString m_offeredName;      // for the next new step
    Recipe m_newStep;           // what the step editor held before a step was edited
    bool m_stepTouched = false; // the step editor holds what is nowhere else
    bool m_showing = false;
    bool m_fitted = false; // the window has the width that its controls need, or that it had before
};
