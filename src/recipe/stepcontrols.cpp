#include "recipe/stepcontrols.h"

#include "recipe/stepfields.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSpinBox>

namespace {

QLineEdit *lineEditOf(QObject *field)
{
    auto *edit = qobject_cast<QLineEdit *>(field);
    return edit ? edit : field->findChild<QLineEdit *>();
}

} // namespace

StepControls::StepControls(QWidget *window) : QObject(window)
{
    m_name = window->findChild<QLineEdit *>(QStringLiteral("le_stepName"));
    m_name->installEventFilter(this);
    connect(m_name, &QLineEdit::textChanged, this, [this] {
        if (!m_showing)
            emit changed();
    });
    const auto told = [this] {
        if (!m_showing)
            emit changed();
    };
    for (const StepField &field : stepFields()) {
        Control control;
        const QString name = QLatin1String(field.name);
        QWidget *widget = nullptr;
        if (field.isSwitch) {
            control.box = window->findChild<QCheckBox *>(QStringLiteral("cb_") + name);
            connect(control.box, &QCheckBox::toggled, this, told);
            widget = control.box;
        } else {
            control.number = window->findChild<QSpinBox *>(QStringLiteral("sb_") + name);
            control.number->setRange(field.minimum, field.maximum);
            control.number->setSingleStep(field.singleStep);
            control.number->setAccelerated(true);
            control.number->setFocusPolicy(Qt::StrongFocus);
            connect(control.number, qOverload<int>(&QSpinBox::valueChanged), this, told);
            widget = control.number;
            widget->setAccessibleName(QCoreApplication::translate("StepField", field.title));
        }
        widget->setToolTip(QCoreApplication::translate("StepField", field.help));
        widget->installEventFilter(this);
        m_controls.append(control);
    }
}

Recipe StepControls::step() const
{
    Recipe one;
    one.addStep();
    one.setStepName(0, m_name->text());
    for (int i = 0; i < m_controls.size(); ++i) {
        const Control &control = m_controls.at(i);
        stepFields()[std::size_t(i)].setValue(one, 0,
                                              control.box ? qint32(control.box->isChecked()) : control.number->value());
    }
    return one;
}

QStringList StepControls::show(const Recipe &recipe, int step)
{
    QStringList adjusted;
    m_showing = true;
    m_name->setText(recipe.stepName(step));
    for (int i = 0; i < m_controls.size(); ++i) {
        const StepField &field = stepFields()[std::size_t(i)];
        const Control &control = m_controls.at(i);
        const qint32 value = field.value(recipe, step);
        if (control.box) {
            control.box->setChecked(value == 1);
            continue;
        }
        control.number->setRange(field.minimum, field.maximum);
        control.number->setValue(value);
        if (control.number->value() != value)
            adjusted.append(tr("%1 %2 became %3")
                                .arg(QCoreApplication::translate("StepField", field.title))
                                .arg(value)
                                .arg(control.number->value()));
    }
    m_showing = false;
    return adjusted;
}

bool StepControls::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Wheel) {
        const auto *number = qobject_cast<QSpinBox *>(watched);
        if (number && !number->hasFocus()) {
            event->ignore(); // the window scrolls instead
            return true;
        }
    } else if (event->type() == QEvent::ShortcutOverride) {
        const auto *key = static_cast<QKeyEvent *>(event);
        const QLineEdit *edit = lineEditOf(watched);
        const bool undo = key->matches(QKeySequence::Undo) && !(edit && edit->isUndoAvailable());
        const bool redo = key->matches(QKeySequence::Redo) && !(edit && edit->isRedoAvailable());
        if (undo || redo) {
            event->ignore();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}
