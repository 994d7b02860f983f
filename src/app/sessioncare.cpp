#include "app/sessioncare.h"

#include "app/importdialog.h"
#include "base/jobdialog.h"
#include "base/jobprogress.h"
#include "base/nestedloop.h"
#include "base/prompts.h"
#include "session/saveas.h"
#include "session/session.h"
#include "session/sessionimport.h"
#include "session/sessionrepair.h"

#include <QFileInfo>
#include <QLocale>

namespace {

QString detailsOf(const SessionRepair &repair)
{
    QStringList lines = repair.problems;
    for (const SessionRepair::Sensor &sensor : repair.sensors) {
        lines.append(sensor.folder);
        for (const QString &found : sensor.found)
            lines.append(QStringLiteral("    ") + found);
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace

/// What became of the folders of an import.
struct SessionCare::ImportReport
{
    QStringList sensors; // in words, one a folder
    QStringList details; // problems of the sources
    QString failure;
    bool isCancelled = false;
};

QString SessionCare::recover(const QString &openFolder)
{
    const QString folder = m_prompts.chooseFolder(m_window, tr("Select folder with the sensor data to recover"),
                                                  QFileInfo(openFolder).path());
    if (folder.isEmpty())
        return {};
    if (QFileInfo(folder).canonicalFilePath() == QFileInfo(openFolder).canonicalFilePath()) {
        m_prompts.warn(m_window, tr("Recover Session"), tr("This session is open: ") + folder,
                       {tr("Open another session first, then recover this one."), QString()});
        return {};
    }
    SessionRepair repair;
    runJob(m_window, tr("Recover Session"), [&](JobProgress &progress) { repair = recoverSession(folder, &progress); });
    if (repair.outcome == SessionRepair::Outcome::Cancelled)
        return {};
    if (!repair.isSessionThere()) {
        const QString reason =
            repair.outcome == SessionRepair::Outcome::NoData ? tr("The folder holds no sensor data.") : repair.reason;
        m_prompts.warn(m_window, tr("Failure"), tr("Failed to recover session"),
                       {reason + tr("\nNothing was deleted."), detailsOf(repair)});
        return {};
    }
    if (repair.outcome == SessionRepair::Outcome::Repaired) {
        const QString aside = repair.asideFolder.isEmpty()
                                  ? QString()
                                  : tr("\nThe files that were replaced are in %1.").arg(repair.asideFolder);
        m_prompts.inform(m_window, tr("Recover Session"), tr("The session was recovered."),
                         {tr("Everything that could be read is in it.") + aside, detailsOf(repair)});
    }
    return repair.session;
}

QString SessionCare::recoverDeeper(const QString &folder, const QString &text)
{
    m_prompts.warn(m_window, tr("Error in recovery process"), text,
                   {tr("The session is in %1. Nothing in it is deleted.").arg(folder), QString()});
    SessionRepair repair;
    runJob(m_window, tr("Recover Session"), [&](JobProgress &progress) { repair = repairSession(folder, &progress); });
    if (repair.outcome == SessionRepair::Outcome::Cancelled)
        return tr("The deeper recovery of %1 was cancelled.").arg(folder);
    if (!repair.isSessionThere())
        return tr("The deeper recovery of %1 did not succeed: %2").arg(folder, repair.reason);
    return repair.asideFolder.isEmpty()
               ? tr("The deeper recovery of %1 found everything.").arg(folder)
               : tr("The deeper recovery of %1 succeeded. What it replaced is in %2.").arg(folder, repair.asideFolder);
}

void SessionCare::import(Session &session, bool oldFormat)
{
    const QString source =
        m_prompts.chooseFolder(m_window, tr("Select Import Folder"), QFileInfo(session.path()).path());
    if (source.isEmpty())
        return;
    const QStringList folders = sensorFoldersOf(source);
    if (folders.isEmpty()) {
        m_prompts.warn(m_window, tr("Warning"), tr("There is no sensor data in the folder: ") + source,
                       {oldFormat ? tr("Sensor data of the old format are files named block_<number>.norvexdata.")
                                  : tr("Choose the folder of a session, or of one sensor in it."),
                        QString()});
        return;
    }
    QVector<ImportDialog::Folder> proposed;
    for (const QString &folder : folders) {
        const ImportNames names = proposedNames(folder);
        proposed.append({folder, names.sensor, names.chamber});
    }
    QStringList known;
    for (const SensorEntry &entry : session.sensors())
        known.append(entry.data->sensorSerial());
    ImportDialog dialog(proposed, known, m_window);
    if (execNested(dialog) != QDialog::Accepted)
        return;
    const QVector<ImportDialog::Folder> chosen = dialog.chosen();
    ImportReport report;
    for (const ImportDialog::Folder &folder : chosen) {
        if (!importFolder(session, folder.path, folder.sensor, folder.chamber, report))
            break; // cancelled, or a failure that the next folder would have, too
    }
    const QString added = report.sensors.join(QLatin1Char('\n'));
    const QString details = report.details.join(QLatin1Char('\n'));
    if (report.failure.isEmpty())
        m_prompts.inform(m_window, tr("Import Data"),
                         report.isCancelled ? tr("The import was ended.") : tr("The import is complete."),
                         {added, details});
    else
        m_prompts.warn(
            m_window, tr("Warning"), tr("The import did not succeed"),
            {report.failure + QLatin1Char('\n') + added + tr("\nThe source is untouched. A second try adds the rest."),
             details});
}

bool SessionCare::importFolder(Session &session, const QString &source, const QString &sensor, const QString &chamber,
                               ImportReport &report)
{
    const bool isNew = session.store(sensor) == nullptr;
    const std::shared_ptr<norvexData> store = session.sensorForImport(sensor, chamber);
    if (!store) {
        report.failure = tr("Unable to make a folder for sensor %1").arg(sensor);
        return false;
    }
    ImportOutcome outcome;
    const QString path = session.path();
    runJob(m_window, tr("Import Data"),
           [&](JobProgress &progress) { outcome = importSensorFolder(source, *store, path, &progress); });
    if (isNew && outcome.samples == 0 && outcome.events == 0)
        session.removeSensor(sensor);
    const QLocale locale;
    QString line = tr("Sensor %1: %2 samples and %3 events were added")
                       .arg(sensor, locale.toString(outcome.samples), locale.toString(outcome.events));
    if (outcome.knownSamples > 0 || outcome.knownEvents > 0)
        line += tr(", %1 samples and %2 events were there already")
                    .arg(locale.toString(outcome.knownSamples), locale.toString(outcome.knownEvents));
    report.sensors.append(line + QLatin1Char('.'));
    if (!outcome.problems.isEmpty())
        report.details.append(source + QLatin1String(":\n    ") + outcome.problems.join(QLatin1String("\n    ")));
    report.isCancelled = outcome.kind == ImportOutcome::Kind::Cancelled;
    if (outcome.kind == ImportOutcome::Kind::Failed)
        report.failure = outcome.reason;
    return outcome.kind == ImportOutcome::Kind::Done || outcome.kind == ImportOutcome::Kind::NoData;
}

bool SessionCare::saveAs(Session &session)
{
    const QString folder = m_prompts.chooseNewFolder(m_window, tr("Save Session As"), QFileInfo(session.path()).path());
    if (folder.isEmpty())
        return false;
    SaveAs saving(session, folder);
    CopyOutcome outcome;
    runJob(m_window, tr("Save Session As"), [&](JobProgress &progress) { outcome = saving.copy(&progress); });
    if (outcome.kind == CopyOutcome::Kind::Done)
        outcome = saving.finish();
    if (outcome.kind == CopyOutcome::Kind::Done)
        return true;
    if (outcome.kind != CopyOutcome::Kind::Cancelled)
        m_prompts.warn(m_window, tr("Warning"), tr("The session could not be saved as: ") + folder,
                       {outcome.reason + tr("\nThe session goes on where it was: %1").arg(session.path()), QString()});
    return false;
}
