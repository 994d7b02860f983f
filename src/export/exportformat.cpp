#include "export/exportformat.h"

#include "export/exportnames.h"

const QStringList &exportFormatNames()
{
    static const QStringList names{QStringLiteral("legacy"), QStringLiteral("tidy"), QStringLiteral("sqlite"),
                                   QStringLiteral("line")};
    return names;
}

bool readExportFormat(const QString &name, ExportFormat &format)
{
    const int index = exportFormatNames().indexOf(name);
    if (index >= 0)
        format = static_cast<ExportFormat>(index);
    return index >= 0;
}

bool holdsOneSensor(ExportFormat format)
{
    return format == ExportFormat::Legacy || format == ExportFormat::Tidy;
}

bool isFixed(ExportFormat format)
{
    return format == ExportFormat::Legacy;
}

QString exportSuffix(ExportFormat format)
{
    switch (format) {
    case ExportFormat::Legacy:
        return QStringLiteral(".vi.csv");
    case ExportFormat::Tidy:
        return QStringLiteral(".csv");
    case ExportFormat::Sqlite:
        return QStringLiteral(".sqlite");
    case ExportFormat::Line:
        return QStringLiteral(".lp");
    }
    return {};
}

QString exportFileName(ExportFormat format, const QString &chosen)
{
    static const QStringList databases{QStringLiteral(".sqlite"), QStringLiteral(".sqlite3"), QStringLiteral(".db")};
    static const QStringList lines{QStringLiteral(".lp"), QStringLiteral(".line"), QStringLiteral(".txt")};
    const QStringList &own = format == ExportFormat::Sqlite ? databases : lines;
    for (const QString &suffix : own) {
        if (chosen.endsWith(suffix, Qt::CaseInsensitive))
            return chosen;
    }
    return exportStem(chosen) + exportSuffix(format);
}
