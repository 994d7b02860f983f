#include "app/screenfit.h"

#include "base/scrollframe.h"

#include <QApplication>
#include <QColorDialog>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace {

/// A box of buttons beside anything, or buttons alone.
bool isButtonRow(const QLayout &row)
{
    int buttons = 0;
    int items = 0;
    for (int i = 0; i < row.count(); ++i) {
        const QWidget *const widget = row.itemAt(i)->widget();
        if (qobject_cast<const QDialogButtonBox *>(widget))
            return true;
        buttons += qobject_cast<const QPushButton *>(widget) ? 1 : 0;
        items += row.itemAt(i)->spacerItem() ? 0 : 1;
    }
    return buttons > 0 && items == buttons;
}

/// The buttons at the end of a column, to stay in view; nullptr when it ends otherwise.
QLayoutItem *takeButtons(QLayout *layout)
{
    auto *column = qobject_cast<QVBoxLayout *>(layout);
    QLayoutItem *const last = column && column->count() > 1 ? column->itemAt(column->count() - 1) : nullptr;
    if (!last)
        return nullptr;
    const bool found =
        last->layout() ? isButtonRow(*last->layout()) : qobject_cast<QDialogButtonBox *>(last->widget()) != nullptr;
    return found ? column->takeAt(column->count() - 1) : nullptr;
}

/// Puts what is in the dialog into a frame that scrolls.
void letScroll(QDialog &dialog)
{
    QLayout *const inside = dialog.layout();
    const QMargins margins = inside->contentsMargins();
    QLayoutItem *const buttons = takeButtons(inside);
    auto *content = new QWidget;
    content->setLayout(inside);
    auto *outside = new QVBoxLayout(&dialog);
    outside->setContentsMargins(0, 0, 0, 0);
    outside->addWidget(new ScrollFrame(content), 1);
    if (!buttons)
        return;
    auto *row = new QHBoxLayout;
    row->setContentsMargins(margins.left(), 0, margins.right(), margins.bottom());
    outside->addLayout(row);
    if (buttons->layout()) {
        row->addLayout(buttons->layout());
    } else {
        row->addWidget(buttons->widget());
        delete buttons;
    }
}

} // namespace

ScreenFit::ScreenFit(QObject *parent) : QObject(parent)
{
    qApp->installEventFilter(this);
}

bool ScreenFit::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Show && !event->spontaneous()) {
        auto *dialog = qobject_cast<QDialog *>(watched);
        if (dialog && dialog->isWindow() && dialog->layout() && !qobject_cast<QMessageBox *>(dialog) &&
            !qobject_cast<QFileDialog *>(dialog) && !qobject_cast<QColorDialog *>(dialog))
            fit(*dialog);
    }
    return QObject::eventFilter(watched, event);
}

void ScreenFit::fit(QDialog &dialog)
{
    const QScreen *const screen = dialog.screen();
    if (!screen)
        return;
    const int title = 2 * dialog.fontMetrics().lineSpacing(); // what the window's frame takes
    const QSize room = screen->availableSize() - QSize(title / 2, title);
    const QSize least = dialog.minimumSizeHint().expandedTo(dialog.minimumSize());
    if (least.boundedTo(room) != least) {
        dialog.setMinimumSize(0, 0);
        letScroll(dialog);
    }
    if (dialog.size().boundedTo(room) != dialog.size())
        dialog.resize(dialog.size().boundedTo(room));
}
