#pragma once

#include "data/abstractnorvexdata.h"
#include "export/eventnamereader.h"
#include "export/exportrequest.h"
#include "export/overviewreader.h"

#include <QDateTime>
#include <QDialog>
#include <QRectF>

#include <functional>
#include <memory>
#include <optional>

class Prompts;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QLabel;
class QLayout;
class QwtPlot;
class OverviewCurve;
class QwtPlotZoneItem;
class TableChoices;

enum class ExportKind { FixedFiles, OtherPrograms };

/// Chooses what an export writes: the range (typed, dragged on a picture of the recording, or one of the ranges at
/// hand), events and runs, and either the delimiter of the three fixed CSV files, which refuse more events than a
/// spreadsheet opens, or the format for other programs. GUI thread.
class exportDialog : public QDialog
{
    Q_OBJECT

public:
    struct Range
    {
        quint64 from = 0;
        quint64 to = 0;
    };
    struct Setup
    {
        ExportKind kind = ExportKind::FixedFiles;
        QVector<std::shared_ptr<const abstractNorvexData>> others; // further sensors that one file may hold too
        ExportRequest filter; // what the event filter shows: its eventTypes, disabledTypes and userTypes
        std::optional<Range> visible;
        std::optional<Range> betweenCursors;
        QColor curveColour;
        std::function<QVariant(const QString &key, const QVariant &fallback)> setting;
        std::function<void(const QString &key, const QVariant &value)> keepSetting;
    };

    /// The recording from `first` to `last` is the range offered first; both 0 when there is none.
    exportDialog(std::shared_ptr<const abstractNorvexData> recording, quint64 first, quint64 last, const Setup &setup,
                 Prompts &prompts, QWidget *parent = nullptr);

    QChar delimiter() const;
    bool exportEvents() const;
    bool exportRfOn() const;
    /// Of an export for other programs; nullptr otherwise.
    const TableChoices *tables() const { return m_tables; }
    quint64 rangeStart() const;
    quint64 rangeEnd() const;
    /// The end was left at the end of the recording, so the last of it belongs to the export.
    bool isEndUntouched() const;
    /// What counting the events has found; null before it is done.
    std::shared_ptr<const EventNames> knownNames() const { return m_names; }

public slots:
    void updateSelection(const QRectF &selection);
    void accept() override;

private:
    bool isEmpty() const { return m_last == 0; }
    QLabel *whoIsExported() const;
    void buildPlot(const QColor &colour);
    QWidget *buildRangeRow();
    QComboBox *buildRunChoice();
    QWidget *buildChoices();
    void addDelimiters(QLayout *row);
    void setRange(quint64 from, quint64 to);
    void rangeChanged();
    bool isCounting() const { return !m_setup.filter.userTypes.isEmpty() && !m_names; }
    void takeNames(const EventNames &names);
    int eventCount() const; // in the range, as the filter shows them
    void showOverview(const QVector<OverviewReader::Column> &columns);

    std::shared_ptr<const abstractNorvexData> m_data;
    const quint64 m_first;
    const quint64 m_last;
    const Setup m_setup;
    Prompts &m_prompts;
    OverviewReader *m_overview = nullptr;
    std::shared_ptr<const EventNames> m_names;
    bool m_acceptWhenCounted = false;
    QDateTimeEdit *m_start = nullptr;
    QDateTimeEdit *m_end = nullptr;
    QButtonGroup *m_delimiters = nullptr; // of the fixed files
    TableChoices *m_tables = nullptr;     // for other programs
    QCheckBox *m_events = nullptr;
    QCheckBox *m_rfOn = nullptr;
    QLabel *m_summary = nullptr;
    QwtPlot *m_plot = nullptr;
    OverviewCurve *m_curve = nullptr;
    QwtPlotZoneItem *m_zone = nullptr;
    QDateTime m_defaultEnd; // as the editor shows it
};
