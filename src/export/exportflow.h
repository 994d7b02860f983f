#pragma once

#include "data/abstractnorvexdata.h"
#include "export/exportdialog.h"
#include "export/exportjob.h"

#include <QCoreApplication>
#include <QString>

#include <memory>

class Prompts;
class QWidget;

/// The whole export of one sensor as the user goes through it: dialog, file name, progress, boxes. GUI thread; no
/// lock is held while a dialog is open.
class ExportFlow
{
    Q_DECLARE_TR_FUNCTIONS(ExportFlow)

public:
    ExportFlow(std::shared_ptr<const abstractNorvexData> data, const QString &sessionFolder, Prompts &prompts);

    /// True when every file that was asked for is written.
    bool run(QWidget *parent, const exportDialog::Setup &setup);
    /// The file that was chosen; the others stand beside it.
    const QString &file() const { return m_file; }

private:
    ExportJob jobOf(const exportDialog &dialog, const exportDialog::Setup &setup) const;
    QString askFileName(QWidget *parent, ExportFormat format, const exportDialog::Setup &setup);
    ExportOutcome writeFixedFiles(QWidget *parent, const ExportJob &job) const;
    bool tell(QWidget *parent, const ExportOutcome &outcome);

    std::shared_ptr<const abstractNorvexData> m_data;
    const QString m_sessionFolder;
    Prompts &m_prompts;
    QString m_file;
};
