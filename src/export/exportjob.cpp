#include "export/exportjob.h"

#include "base/jobprogress.h"
#include "export/exportnames.h"
#include "export/lineexport.h"
#include "export/sqliteexport.h"
#include "export/tidyexport.h"

namespace {

ExportRequest withFixedFiles(const ExportJob &job)
{
    const ExportNames names = exportNames(job.file);
    ExportRequest request = job.parts.constFirst().request;
    request.viFile = names.viFile;
    request.rfOnFile = names.rfOnFile;
    request.eventsFile = names.eventsFile;
    return request;
}

QStringList fixedFiles(const ExportRequest &request)
{
    QStringList files{request.viFile};
    if (request.exportEvents)
        files.append(request.eventsFile);
    if (request.exportRfOn)
        files.append(request.rfOnFile);
    return files;
}

/// Writes all parts through one sink; false when cancelled.
template <typename Sink>
bool writeParts(const QVector<ExportPart> &parts, Sink &sink, const ExportProgress &progress, ExportOutcome &outcome)
{
    ExportKeys keys;
    for (const ExportPart &part : parts) {
        const QString serial = part.data->sensorSerial();
        const ExportProgress ofPart = [&](const QString &label, int value, int maximum) {
            return !progress ||
                   progress(parts.size() > 1 ? serial + QStringLiteral(": ") + label : label, value, maximum);
        };
        sink.beginSensor(*part.data, part.request);
        if (!writeTables(*part.data, part.request, sink, keys, ofPart, outcome))
            return false;
    }
    return true;
}

template <typename Sink>
ExportOutcome exportOneFile(const ExportJob &job, const QDateTime &exportDate, const ExportProgress &progress)
{
    ExportOutcome outcome;
    Sink sink(exportFileName(job.format, job.file), job.parts.constFirst().request);
    const bool isCancelled = !writeParts(job.parts, sink, progress, outcome);
    outcome.files.append(sink.finish(isCancelled, exportDate, !outcome.isIncomplete));
    return outcome;
}

} // namespace

QStringList ExportJob::files() const
{
    switch (format) {
    case ExportFormat::Legacy:
        return fixedFiles(withFixedFiles(*this));
    case ExportFormat::Tidy:
        return tidyNames(file).written(parts.constFirst().request);
    case ExportFormat::Sqlite:
    case ExportFormat::Line:
        return {exportFileName(format, file)};
    }
    return {};
}

ExportOutcome ExportJob::run(const QDateTime &exportDate, const ExportProgress &progress) const
{
    const ExportPart &first = parts.constFirst();
    switch (format) {
    case ExportFormat::Legacy:
        return exportCsv(*first.data, withFixedFiles(*this), exportDate, progress);
    case ExportFormat::Tidy:
        return exportTidy(*first.data, first.request, tidyNames(file), exportDate, progress);
    case ExportFormat::Sqlite:
        return exportOneFile<SqliteSink>(*this, exportDate, progress);
    case ExportFormat::Line:
        return exportOneFile<LineSink>(*this, exportDate, progress);
    }
    return {};
}

ExportProgress progressInto(JobProgress &job)
{
    return [&job, step = QString(), done = 0](const QString &label, int value, int maximum) mutable {
        if (label != step) {
            step = label;
            done = 0;
            job.begin(label, maximum);
        }
        job.advance(value - done);
        done = value;
        return !job.isCancelled();
    };
}
