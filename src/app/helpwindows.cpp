#include "app/helpwindows.h"

#include "base/prompts.h"
#include "base/safefile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QHeaderView>
#include <QScrollBar>
#include <QStandardPaths>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

QString translated(const char *text)
{
    return QCoreApplication::translate("helpwindows", text);
}

} // namespace

const std::vector<helpwindows::Shortcut> &helpwindows::shortcuts()
{
    static const std::vector<Shortcut> list{
        {"Main window", "F1", "the guide's page for this window, in every window"},
        {"Main window", "Ctrl+O", "load a session"},
        {"Main window", "Ctrl+N", "create a session"},
        {"Main window", "Ctrl+E", "export"},
        {"Main window", "Ctrl+1 … Ctrl+5", "live view, runs view, events view, runs overlay, events overlay"},
        {"Main window", "F11", "the display only, without sensor column and command buttons; again: with them"},
        {"Main window", "Ctrl+Q", "quit"},
        {"Live view", "Space", "follow or hold"},
        {"Live view", "L", "jump to the newest data"},
        {"Live view", "Home", "whole range"},
        {"Live view", "+", "zoom in"},
        {"Live view", "-", "zoom out"},
        {"Live view", "Left", "move back; with Shift a page"},
        {"Live view", "Right", "move on; with Shift a page"},
        {"Live view", "Alt+Left", "the view before"},
        {"Live view", "Alt+Right", "the view after"},
        {"Live view", "1", "place the first cursor"},
        {"Live view", "2", "place the second cursor"},
        {"Live view", "Esc", "remove the cursors"},
        {"Live view", "N", "next run or event"},
        {"Live view", "P", "previous run or event"},
        {"Live view", "Ctrl+C", "copy the picture"},
        {"Recipe editor", "Ctrl+O", "load a recipe"},
        {"Recipe editor", "Ctrl+S", "save it"},
        {"Recipe editor", "Ctrl+Z", "undo"},
        {"Recipe editor", "Ctrl+Y", "redo"},
        {"Recipe editor", "Ctrl+Return", "add the step, or confirm the edit"},
        {"Recipe editor", "F2", "edit the chosen step"},
        {"Recipe editor", "Alt+Up", "move it earlier"},
        {"Recipe editor", "Alt+Down", "move it later"},
        {"Recipe editor", "Delete", "remove it"},
    };
    return list;
}

void helpwindows::showShortcuts(QWidget *parent)
{
    auto *dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("ShortcutsDialog"));
    dialog->setWindowTitle(translated("Keyboard Shortcuts"));
    auto *table = new QTableWidget(int(shortcuts().size()), 3);
    table->setAccessibleName(translated("Keyboard Shortcuts"));
    table->setHorizontalHeaderLabels({translated("Where"), translated("Key"), translated("Does")});
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setTabKeyNavigation(false);
    for (int row = 0; row < table->rowCount(); ++row) {
        const Shortcut &shortcut = shortcuts()[std::size_t(row)];
        table->setItem(row, 0, new QTableWidgetItem(translated(shortcut.window)));
        table->setItem(row, 1, new QTableWidgetItem(QString::fromUtf8(shortcut.key)));
        table->setItem(row, 2, new QTableWidgetItem(translated(shortcut.does)));
    }
    table->resizeColumnsToContents();
    table->horizontalHeader()->setStretchLastSection(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(table);
    layout->addWidget(buttons);
    const int around = 2 * table->frameWidth() + table->verticalScrollBar()->sizeHint().width() +
                       layout->contentsMargins().left() + layout->contentsMargins().right();
    dialog->resize(table->horizontalHeader()->length() + around, dialog->fontMetrics().height() * 28);
    dialog->show();
}

void helpwindows::createSupportFile(QWidget *parent, Prompts &prompts, const SupportFacts &facts)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString path = prompts.saveFile(parent, translated("Create Support File"),
                                          QDir(folder).filePath(supportFileName(QDateTime::currentMSecsSinceEpoch())),
                                          translated("Text file (*.txt)"));
    QString reason;
    if (!path.isEmpty() && !writeFileSafely(path, supportText(facts), &reason))
        prompts.warn(parent, translated("Create Support File"),
                     QCoreApplication::translate("helpwindows", "Unable to create file:") + path, {reason, QString()});
}
