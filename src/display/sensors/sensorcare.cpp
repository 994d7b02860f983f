#include "display/sensors/sensorcare.h"

#include "base/jobdialog.h"
#include "base/jobprogress.h"
#include "base/nestedloop.h"
#include "base/prompts.h"
#include "data/norvexdata.h"
#include "data/reanalysis.h"
#include "display/sensors/importtabledialog.h"
#include "display/sensors/reanalysisresultdialog.h"
#include "recipe/reconfiguresensordialog.h"
#include "session/appsettings.h"
#include "session/sessionimport.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>

namespace {

constexpr qint64 previewBytes = 64 * 1024;
const QString localTimesKey = QStringLiteral("importTable/localTimes");

} // namespace

SensorCare::SensorCare(QWidget *window, Prompts &prompts, const std::shared_ptr<norvexData> &store,
                       const QString &sessionFolder)
    : m_window(window), m_prompts(prompts), m_store(store), m_sessionFolder(sessionFolder)
{}

bool SensorCare::importTable(AppSettings &settings)
{
    const QString path = m_prompts.openFile(m_window, tr("Import Ext Data"), QFileInfo(m_sessionFolder).path(),
                                            tr("Tables (*.csv *.txt *.tsv);;All files (*)"));
    if (path.isEmpty())
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_prompts.warn(m_window, tr("Warning"), tr("Unable to open the file: ") + path,
                       {file.errorString(), QString()});
        return false;
    }
    const QByteArray beginning = file.read(previewBytes);
    file.close();
    csvsamples::Preview preview = csvsamples::previewOf(path);
    if (settings.value(localTimesKey, false).toBool())
        preview.layout.zone = QTimeZone::systemTimeZone();
    ImportTableDialog dialog(QFileInfo(path).fileName(), beginning, preview, m_window);
    if (execNested(dialog) != QDialog::Accepted)
        return false;
    const csvsamples::Layout layout = dialog.layoutOfTable();
    settings.setValue(localTimesKey, layout.zone.isValid());
    ImportOutcome outcome;
    runJob(m_window, tr("Import Ext Data"),
           [&](JobProgress &progress) { outcome = ::importTable(path, layout, *m_store, m_sessionFolder, &progress); });
    const QLocale locale;
    const QString added =
        tr("%1 samples were added to sensor %2").arg(locale.toString(outcome.samples), m_store->sensorSerial()) +
        (outcome.knownSamples > 0 ? tr(", %1 were there already.").arg(locale.toString(outcome.knownSamples))
                                  : QStringLiteral("."));
    if (outcome.kind == ImportOutcome::Kind::Done || outcome.kind == ImportOutcome::Kind::Cancelled)
        m_prompts.inform(m_window, tr("Import Ext Data"), added, {QString(), outcome.problems.join(QLatin1Char('\n'))});
    else
        m_prompts.warn(m_window, tr("Warning"), tr("The file was not imported completely: ") + path,
                       {outcome.reason + QLatin1Char('\n') + added, outcome.problems.join(QLatin1Char('\n'))});
    return outcome.samples > 0;
}

SensorCare::Reanalysed SensorCare::reanalyse()
{
    reconfigureSensordialog dialog(tr("Configure Reanalysis"), m_store->configuration(), m_prompts, m_window);
    dialog.setSubject(
        tr("Stored events of sensor %1, chamber %2").arg(m_store->sensorSerial(), m_store->chamberSerial()));
    if (execNested(dialog) != QDialog::Accepted)
        return Reanalysed::Nothing;
    const SensorConfiguration configuration = dialog.configuration();
    reanalysis::Outcome outcome;
    runJob(m_window, tr("Reanalyse Event Data"), [&](JobProgress &progress) {
        outcome = reanalysis::run(*m_store, m_sessionFolder, configuration, &progress);
    });
    if (outcome.kind == reanalysis::Outcome::Kind::Cancelled)
        return Reanalysed::Nothing;
    if (outcome.kind == reanalysis::Outcome::Kind::Failed) {
        m_prompts.warn(m_window, tr("Warning"), tr("The events could not be reanalysed"),
                       {outcome.reason + tr("\nThe stored events are unchanged."), QString()});
        return Reanalysed::Nothing;
    }
    ReanalysisResultDialog result(m_store->sensorSerial(), outcome, m_window);
    return execNested(result) == QDialog::Accepted ? Reanalysed::Show : Reanalysed::Done;
}

bool SensorCare::showReanalysis()
{
    QString reason;
    const auto codes = reanalysis::read(*m_store, m_sessionFolder, &reason);
    if (!codes) {
        m_prompts.warn(m_window, tr("Warning"), tr("Sensor %1 has no reanalysed data yet").arg(m_store->sensorSerial()),
                       {tr("\"Reanalyse Event Data\" makes them."), reason});
        return false;
    }
    m_store->setReanalysis(codes);
    return true;
}

void SensorCare::showOriginal()
{
    m_store->setReanalysis(nullptr);
}
