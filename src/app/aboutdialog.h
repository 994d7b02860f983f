#pragma once

#include <QDialog>

/// Name and version of the program.
class AboutDialog : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDialog(QWidget *parent = nullptr);

    /// "Version %1.%2.%3 (Build %4)"
    static QString versionText();
};
