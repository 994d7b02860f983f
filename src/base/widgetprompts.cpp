#include "base/widgetprompts.h"

#include "base/nestedloop.h"

#include <QAbstractButton>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>

namespace {

void fill(QMessageBox &box, const QString &title, const QString &text, const Prompts::More &more)
{
    box.setWindowTitle(title);
    box.setTextFormat(Qt::PlainText);
    box.setText(text);
    box.setInformativeText(more.informative);
    box.setDetailedText(more.details);
    if (auto *label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel")))
        label->setTextFormat(Qt::PlainText); // names from sensors and files are in it
}

/// Of the first pattern: "png" of "Portable Network Graphics file (*.png)"; empty when it has none.
QString suffixOf(const QString &filter)
{
    static const QRegularExpression pattern(QStringLiteral("\\*\\.(\\w+)"));
    return pattern.match(filter).captured(1);
}

/// Makes the folder that was typed, where the usual dialog only says that there is none. Of the same class name as its
/// base, so that the desktop's own dialog is still used.
class NewFolderDialog : public QFileDialog
{
public:
    using QFileDialog::QFileDialog;

    void accept() override
    {
        const QStringList chosen = selectedFiles();
        if (chosen.size() == 1 && !QFileInfo::exists(chosen.first()))
            QDir().mkdir(chosen.first());
        QFileDialog::accept(); // says so when it could not be made
    }
};

} // namespace

void WidgetPrompts::warn(QWidget *parent, const QString &title, const QString &text, const More &more)
{
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Ok, parent);
    fill(box, title, text, more);
    execNested(box);
}

void WidgetPrompts::inform(QWidget *parent, const QString &title, const QString &text, const More &more)
{
    QMessageBox box(QMessageBox::Information, title, text, QMessageBox::Ok, parent);
    fill(box, title, text, more);
    execNested(box);
}

bool WidgetPrompts::ask(QWidget *parent, const QString &title, const QString &text, const More &more)
{
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::Yes | QMessageBox::No, parent);
    fill(box, title, text, more);
    box.setDefaultButton(QMessageBox::No);
    box.setEscapeButton(QMessageBox::No);
    return execNested(box) == QMessageBox::Yes;
}

int WidgetPrompts::choose(QWidget *parent, const QString &title, const QString &text, const QStringList &buttons,
                          const More &more)
{
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::NoButton, parent);
    fill(box, title, text, more);
    QVector<QAbstractButton *> added;
    for (const QString &button : buttons)
        added.append(box.addButton(button, added.isEmpty() ? QMessageBox::RejectRole : QMessageBox::AcceptRole));
    if (!added.isEmpty())
        box.setEscapeButton(added.first());
    execNested(box);
    return qMax(0, added.indexOf(box.clickedButton()));
}

QString WidgetPrompts::openFile(QWidget *parent, const QString &title, const QString &folder, const QString &filter)
{
    const NestedLoop nested;
    return QFileDialog::getOpenFileName(parent, title, folder, filter);
}

QString WidgetPrompts::saveFile(QWidget *parent, const QString &title, const QString &proposedPath,
                                const QString &filter, const QString &defaultSuffix)
{
    QFileDialog dialog(parent, title, QFileInfo(proposedPath).absolutePath(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setDefaultSuffix(defaultSuffix);
    if (!defaultSuffix.isEmpty())
        QObject::connect(&dialog, &QFileDialog::filterSelected, &dialog,
                         [&dialog](const QString &chosen) { dialog.setDefaultSuffix(suffixOf(chosen)); });
    dialog.selectFile(QFileInfo(proposedPath).fileName());
    return execNested(dialog) == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

QString WidgetPrompts::chooseFolder(QWidget *parent, const QString &title, const QString &start)
{
    const NestedLoop nested;
    return QFileDialog::getExistingDirectory(parent, title, start);
}

QString WidgetPrompts::chooseNewFolder(QWidget *parent, const QString &title, const QString &start)
{
    NewFolderDialog dialog(parent, title, start);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    return execNested(dialog) == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

std::optional<double> WidgetPrompts::askNumber(QWidget *parent, const QString &title, const QString &label,
                                               const Number &number)
{
    const NestedLoop nested;
    bool ok = false;
    const double value = QInputDialog::getDouble(parent, title, label, number.value, number.minimum, number.maximum,
                                                 number.decimals, &ok);
    return ok ? std::optional<double>(value) : std::nullopt;
}

bool WidgetPrompts::openUrl(const QUrl &url)
{
    return QDesktopServices::openUrl(url);
}

bool WidgetPrompts::startProgram(const QString &path, const QStringList &arguments)
{
    return QProcess::startDetached(path, arguments);
}
