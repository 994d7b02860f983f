#include "export/exportflow.h"

#include "base/jobdialog.h"
#include "base/nestedloop.h"
#include "base/prompts.h"
#include "export/exportevents.h"
#include "export/exportnames.h"
#include "export/tablechoices.h"

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
    ExportJob job = jobOf(dialog, setup);
    job.file = askFileName(parent, job.format, setup);
    m_file = job.file;
    if (job.file.isEmpty())
        return false;
    ExportOutcome outcome;
    if (setup.kind == ExportKind::FixedFiles)
        outcome = writeFixedFiles(parent, job);
    else
        runJob(parent, tr("Norvex Export Data"),
               [&](JobProgress &progress) { outcome = job.run(QDateTime::currentDateTime(), progressInto(progress)); });
    if (!outcome.isCancelled())
        setup.keepSetting(QStringLiteral("exportDialog/TotPoints"), outcome.points);
    return tell(parent, outcome);
}

ExportJob ExportFlow::jobOf(const exportDialog &dialog, const exportDialog::Setup &setup) const
{
    ExportRequest request = setup.filter;
    request.from = dialog.rangeStart();
    request.to = dialog.rangeEnd();
    request.toIncluded = dialog.isEndUntouched();
    request.knownNames = dialog.knownNames();
    request.delimiter = dialog.delimiter();
    request.exportEvents = dialog.exportEvents();
    request.exportRfOn = dialog.exportRfOn();
    request.sessionName = QDir(m_sessionFolder).dirName();
    ExportJob job;
    const TableChoices *const tables = dialog.tables();
    if (tables) {
        job.format = tables->format();
        request.quantities = tables->quantities();
        request.binWidth = tables->binWidth();
    }
    job.parts.append({m_data, request});
    if (!tables || !tables->allSensors())
        return job;
    const bool isWhole = request.from == wholeRecording(*m_data).from && request.toIncluded;
    for (const auto &other : setup.others) {
        ExportRequest ofOther = request;
        ofOther.knownNames.reset();
        if (isWhole) {
            const ExportRange whole = wholeRecording(*other);
            ofOther.from = whole.from;
            ofOther.to = whole.to;
        }
        job.parts.append({other, ofOther});
    }
    return job;
}

QString ExportFlow::askFileName(QWidget *parent, ExportFormat format, const exportDialog::Setup &setup)
{
    QDir().mkpath(exportFolder(m_sessionFolder));
    const QString suffix = exportSuffix(format);
    const QString proposed = exportStem(defaultExportFile(m_sessionFolder, QDateTime::currentDateTime())) + suffix;
    const QString filter = format == ExportFormat::Sqlite ? tr("SQLite (*.sqlite *.sqlite3 *.db)")
                           : format == ExportFormat::Line ? tr("Line protocol (*.lp *.line *.txt)")
                                                          : tr("Comma Separated Values (*.csv)");
    const QString chosen = m_prompts.saveFile(parent, tr("Kindly enter export file TAG"), proposed, filter);
    if (!chosen.isEmpty())
        setup.keepSetting(
            QStringLiteral("%1-%2/lastfile").arg(groupPart(m_data->chamberSerial()), groupPart(m_data->sensorSerial())),
            chosen);
    return chosen;
}

/// With the progress window that these files have always had: without a button, closed to cancel.
ExportOutcome ExportFlow::writeFixedFiles(QWidget *parent, const ExportJob &job) const
{
    QProgressDialog progress(parent);
    progress.setWindowTitle(tr("Norvex Export Data"));
    progress.setLabelText(tr("Preparing data for Export..."));
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
        job.run(QDateTime::currentDateTime(), [&](const QString &label, int value, int maximum) {
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
    return outcome;
}

bool ExportFlow::tell(QWidget *parent, const ExportOutcome &outcome)
{
    for (const ExportedFile &file : outcome.files) {
        if (file.result == ExportedFile::CannotWrite)
            m_prompts.warn(parent, cannotCreateTitle(), cannotCreateText(file.path), {file.error, QString()});
    }
    if (outcome.isIncomplete)
        m_prompts.warn(parent, tr("Warning"),
                       tr("Some stored samples could not be read and are missing from the files."),
                       {tr("The session may be damaged; \"norvex-cli check\" says where."), QString()});
    return outcome.isWritten();
}
