#pragma once

#include "base/prompts.h"

/// The real boxes, choosers and desktop. Texts from sensors and files are shown as plain text, never as markup.
class WidgetPrompts final : public Prompts
{
public:
    void warn(QWidget *parent, const QString &title, const QString &text, const More &more = {}) override;
    void inform(QWidget *parent, const QString &title, const QString &text, const More &more = {}) override;
    bool ask(QWidget *parent, const QString &title, const QString &text, const More &more = {}) override;
    int choose(QWidget *parent, const QString &title, const QString &text, const QStringList &buttons,
               const More &more = {}) override;
    QString openFile(QWidget *parent, const QString &title, const QString &folder, const QString &filter) override;
    QString saveFile(QWidget *parent, const QString &title, const QString &proposedPath, const QString &filter,
                     const QString &defaultSuffix = QString()) override;
    QString chooseFolder(QWidget *parent, const QString &title, const QString &start) override;
    QString chooseNewFolder(QWidget *parent, const QString &title, const QString &start) override;
    std::optional<double> askNumber(QWidget *parent, const QString &title, const QString &label,
                                    const Number &number) override;
    bool openUrl(const QUrl &url) override;
    bool startProgram(const QString &path, const QStringList &arguments) override;
};
