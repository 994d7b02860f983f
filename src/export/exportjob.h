#pragma once

#include "data/abstractnorvexdata.h"
#include "export/csvexport.h"
#include "export/exportformat.h"
#include "export/exportrequest.h"

#include <QVector>

#include <memory>

class JobProgress;

/// One sensor of an export, with the range that is wanted of it.
struct ExportPart
{
    std::shared_ptr<const abstractNorvexData> data;
    ExportRequest request;
};

/// An export in one of the formats. Those that hold one sensor take the first part.
struct ExportJob
{
    ExportFormat format = ExportFormat::Legacy;
    QString file; // as chosen
    QVector<ExportPart> parts;

    /// The files it writes.
    QStringList files() const;
    /// Each file is replaced as a whole or not at all. Blocks its thread; the data may grow meanwhile.
    ExportOutcome run(const QDateTime &exportDate, const ExportProgress &progress = nullptr) const;
};

/// Tells a job how far an export is, and the export that the job is cancelled.
ExportProgress progressInto(JobProgress &job);
