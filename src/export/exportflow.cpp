#include "export/exportflow.h"

#include "base/nestedloop.h"
#include "base/prompts.h"
#include "export/csvexport.h"
#include "export/exportevents.h"
#include "export/exportnames.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QPointer>
#include <QProgressDialog>

namespace {

constexpr int eventsEveryMs = 20;

/// Names of settings groups must not nest.
QString groupPart(QString name)
{
    return name.replace(QLatin1Char('/'), QLatin1Char('_')).replace(QLatin1Char('\\'), QLatin1Char('_'));
}

} // namespace

ExportFlow::ExportFlow(std::shared_ptr<const abstractNorvexData> data, const QString &sessionFolder, Prompts &prompts)
    : m_data(std::move(data)), m_sessionFolder(sessionFolder), m_prompts(prompts)
{}

bool ExportFlow::run(QWidget *parent, const exportDialog::Setup &setup)
{
    const NestedLoop nested;
    const ExportRange whole = wholeRecording(*m_data);
    exportDialog dialog(m_data, whole.from, whole.to, setup, m_prompts, parent);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    const QString chosen = askFileName(parent, setup);
    if (chosen.isEmpty())
        return false;
    const ExportNames names = exportNames(chosen);
    ExportRequest request = setup.filter;
    request.from = dialog.rangeStart();
    request.to = dialog.rangeEnd();
    request.toIncluded = dialog.isEndUntouched();
    request.delimiter = dialog.delimiter();
    request.exportEvents = dialog.exportEvents();
    request.exportRfOn = dialog.exportRfOn();
    request.sessionName = QDir(m_sessionFolder).dirName();
    request.viFile = names.viFile;
    request.rfOnFile = names.rfOnFile;
    request.eventsFile = names.eventsFile;
    return write(parent, request, setup);
}

QString ExportFlow::askFileName(QWidget *parent, const exportDialog::Setup &setup)
{
    QDir().mkpath(exportFolder(m_sessionFolder));
    const QString chosen = m_prompts.saveFile(parent, QStringLiteral("Kindly enter export file TAG"),
                                              defaultExportFile(m_sessionFolder, QDateTime::currentDateTime()),
                                              QStringLiteral("Comma Separated Values (*.csv)"));
    if (!chosen.isEmpty())
        setup.keepSetting(
            QStringLiteral("%1-%2/lastfile").arg(groupPart(m_data->chamberSerial()), groupPart(m_data->sensorSerial())),
            chosen);
    return chosen;
}

bool ExportFlow::write(QWidget *parent, const ExportRequest &request, const exportDialog::Setup &setup)
{
    QProgressDialog progress(parent);
    progress.setWindowTitle(QStringLiteral("Norvex Export Data"));
    progress.setLabelText(QStringLiteral("Preparing data for Export..."));
    progress.setWindowModality(Qt::ApplicationModal);
    progress.setCancelButton(nullptr);
    progress.setMinimumDuration(0);
    progress.setAutoClose(false);
    progress.setAutoReset(false);
    progress.setValue(0);
    bool isCancelled = false; // the window was closed
    QObject::connect(&progress, &QProgressDialog::canceled, &progress, [&isCancelled] { isCancelled = true; });
    progress.show();
    QApplication::processEvents();

    QElapsedTimer sinceEvents;
    sinceEvents.start();
    const ExportOutcome outcome =
        exportCsv(*m_data, request, QDateTime::currentDateTime(), [&](const QString &label, int value, int maximum) {
            if (isCancelled || sinceEvents.elapsed() < eventsEveryMs)
                return !isCancelled;
            sinceEvents.restart();
            progress.setLabelText(label);
            progress.setMaximum(qMax(1, maximum));
            progress.setValue(value);
            QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
            return !isCancelled;
        });
    progress.close();
    if (!outcome.isCancelled())
        setup.keepSetting(QStringLiteral("exportDialog/TotPoints"), outcome.points);
    for (const ExportedFile &file : outcome.files) {
        if (file.result == ExportedFile::CannotWrite)
            m_prompts.warn(parent, cannotCreateTitle(), cannotCreateText(file.path), {file.error, QString()});
    }
    if (outcome.isIncomplete)
        m_prompts.warn(parent, QStringLiteral("Warning"),
                       QStringLiteral("Some stored samples could not be read and are missing from the files."),
                       {QStringLiteral("The session may be damaged; \"norvex-cli check\" says where."), QString()});
    return outcome.isWritten();
}
