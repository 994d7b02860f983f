#pragma once

#include "data/abstractnorvexdata.h"
#include "export/exportdialog.h"

#include <QString>

#include <memory>

class Prompts;
class QWidget;

/// The whole CSV export of one sensor as the user goes through it: dialog, file name, progress, boxes. GUI thread; no
/// lock is held while a dialog is open.
class ExportFlow
{
public:
    ExportFlow(std::shared_ptr<const abstractNorvexData> data, const QString &sessionFolder, Prompts &prompts);

    /// True when every file that was asked for is written.
    bool run(QWidget *parent, const exportDialog::Setup &setup);

private:
    QString askFileName(QWidget *parent, const exportDialog::Setup &setup);
    bool write(QWidget *parent, const ExportRequest &request, const exportDialog::Setup &setup);

    std::shared_ptr<const abstractNorvexData> m_data;
    const QString m_sessionFolder;
    Prompts &m_prompts;
};
