#pragma once

#include "recipe/recipe.h"

#include <QObject>
#include <QVector>

class QCheckBox;
class QLineEdit;
class QSpinBox;
class QWidget;

/// The controls of a step editor, found in its window by their names, ranged and explained by the list of step fields:
/// copies between them and a step. It also keeps the mouse wheel from changing a number that has no focus, and lets the
/// window's undo through where a field has nothing to undo. Owned by its window; GUI thread.
class StepControls : public QObject
{
    Q_OBJECT

public:
    explicit StepControls(QWidget *window);

    /// A recipe of the one step that the controls show.
    Recipe step() const;
    /// Shows a step. Returns what lies outside the controls' ranges and was changed, in words.
    QStringList show(const Recipe &recipe, int step);
    QLineEdit *nameEdit() const { return m_name; }

signals:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Control
    {
        QSpinBox *number = nullptr;
        QCheckBox *box = nullptr;
    };

    QLineEdit *m_name = nullptr;
    QVector<Control> m_controls; // in the order of stepFields()
    bool m_showing = false;
};
