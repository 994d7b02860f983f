#include "display/views/summaryview.h"

#include "data/eventtypelist.h"
#include "data/norvexdata.h"
#include "display/look/emptypage.h"
#include "display/look/keptlayout.h"
#include "display/look/typecolours.h"
#include "display/records/runsearcher.h"
#include "display/records/sessionrecords.h"
#include "display/records/sessionselection.h"
#include "display/views/runsearchbar.h"
#include "display/views/summarymodel.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <QToolButton>

#include <algorithm>
#include <numeric>

namespace {

constexpr int restFactor = 10; // of the time that a filling took, until the next

QTableView *tableOf(QAbstractItemModel *model, const char *name, const QString &accessibleName)
{
    auto *table = new QTableView;
    table->setModel(model);
    table->setObjectName(QLatin1String(name));
    table->setAccessibleName(accessibleName);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setWordWrap(false);
    table->setTabKeyNavigation(false);
    table->setAlternatingRowColors(true);
    table->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    table->horizontalHeader()->setHighlightSections(false);
    return table;
}

void limitHeight(QTableView *table, int rows, bool header)
{
    const int height = rows * table->verticalHeader()->defaultSectionSize() + 2 * table->frameWidth() +
                       (header ? table->horizontalHeader()->sizeHint().height() : 0);
    table->setFixedHeight(height);
}

} // namespace

SummaryView::SummaryView(const DisplayContext &context, SessionSelection &selection, const SessionRecords &records,
                         RunSearcher &searcher, QWidget *parent)
    : SessionView(context, selection, parent), m_records(records), m_searcher(searcher),
      m_model(new SummaryModel(context.theme, this)), m_totals(new SummaryTotals(*m_model, this)),
      m_steps(new QStandardItemModel(this))
{
    setObjectName(QStringLiteral("summaryView"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(buildToolBar());
    buildTables();
    layout->addWidget(m_table, 1);
    auto *totals = new QHBoxLayout;
    totals->setContentsMargins(0, 0, style()->pixelMetric(QStyle::PM_ScrollBarExtent), 0); // below the columns alone
    totals->addWidget(m_totalsTable);
    layout->addLayout(totals);
    layout->addWidget(m_stepsTable);
    m_search = new RunSearchBar(m_searcher);
    layout->addWidget(m_search);
    const auto showSearch = [this] { m_search->setVisible(!m_searcher.text().isEmpty()); };
    showSearch();
    connect(&m_searcher, &RunSearcher::stateChanged, this, showSearch);
    connect(&m_searcher, &RunSearcher::changed, this, &SummaryView::fillSoon);
    connect(&m_records, &SessionRecords::changed, this, &SummaryView::fillSoon);
    m_empty = new EmptyPage(m_table, context.theme);
    m_fillTimer.setSingleShot(true);
    connect(&m_fillTimer, &QTimer::timeout, this, &SummaryView::fill);
    connect(m_empty, &EmptyPage::pressed, this, [this] { m_range->setCurrentIndex(Whole); });
    connect(&m_selection, &SessionSelection::periodSelected, this, [this] {
        if (m_range->currentIndex() == Chosen)
            fillSoon();
    });
    connect(&m_selection, &SessionSelection::runSelected, this,
            [this](const QString &serial, quint64 start) { restore(serial, start, -1); });
    connect(&m_context.theme, &Theme::changed, this, &SummaryView::fillSoon);
    filterChanged();
}

SummaryView::~SummaryView() = default;

QToolButton *SummaryView::button(const QString &text, const QString &tip, const char *name)
{
    auto *made = new QToolButton;
    made->setText(text);
    made->setToolTip(tip);
    made->setObjectName(QLatin1String(name));
    return made;
}

QWidget *SummaryView::buildToolBar()
{
    auto *bar = new QWidget;
    auto *layout = new QHBoxLayout(bar);
    layout->setContentsMargins(4, 2, 4, 2);
    m_range = new QComboBox;
    m_range->setObjectName(QStringLiteral("cb_range"));
    m_range->setAccessibleName(tr("Which runs are listed"));
    m_range->addItems({tr("Whole recording"), tr("Range in view"), tr("Chosen period")});
    m_range->setItemData(InView, tr("What the live plot shows"), Qt::ToolTipRole);
    m_range->setItemData(Chosen, tr("What was chosen in the bar chart or with both cursors"), Qt::ToolTipRole);
    m_text = new QLabel;
    m_text->setTextFormat(Qt::PlainText);
    m_showSteps = new QCheckBox(tr("Steps"));
    m_showSteps->setObjectName(QStringLiteral("cb_steps"));
    auto *threshold =
        button(tr("RF-ON threshold"), tr("The voltage from which RF counts as on when runs are searched for"),
               "b_rfOnThreshold");
    auto *unload =
        button(tr("Unload data"),
               tr("Let go of the displayed sensor's saved samples in memory; they are read again when needed"),
               "b_unloadData");
    auto *csv =
        button(tr("Export to CSV"), tr("Export the displayed sensor's samples, events and runs"), "b_summaryCsv");
    auto *copies = button(tr("Copy"), tr("Copy the selected rows, or all, as a table (Ctrl+C)"), "b_copy");
    m_sensorButtons = {threshold, unload, csv};
    layout->addWidget(m_range);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_showSteps);
    for (QToolButton *each : {threshold, unload, csv, copies})
        layout->addWidget(each);
    connect(m_range, qOverload<int>(&QComboBox::currentIndexChanged), this, &SummaryView::fillSoon);
    connect(m_showSteps, &QCheckBox::toggled, this, &SummaryView::fillSteps);
    connect(threshold, &QToolButton::clicked, this, &SummaryView::thresholdRequested);
    connect(unload, &QToolButton::clicked, this, &SummaryView::unloadRequested);
    connect(csv, &QToolButton::clicked, this, &SummaryView::exportRequested);
    connect(copies, &QToolButton::clicked, this, &SummaryView::copy);
    return bar;
}

void SummaryView::buildTables()
{
    m_table = tableOf(m_model, "summaryTable", tr("Runs"));
    m_table->setSortingEnabled(true);
    m_table->sortByColumn(SummaryModel::Start, Qt::AscendingOrder);
    m_table->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    m_totalsTable = tableOf(m_totals, "totalsTable", tr("Totals of the runs"));
    m_totalsTable->horizontalHeader()->hide();
    m_totalsTable->setSelectionMode(QAbstractItemView::NoSelection);
    m_totalsTable->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_totalsTable->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    limitHeight(m_totalsTable, 4, false);
    m_stepsTable = tableOf(m_steps, "stepsTable", tr("Means of the recipe steps"));
    m_stepsTable->hide();
    m_columns = new KeptColumns(m_table, m_context.settings, QStringLiteral("views/summaryColumns"));
    followColumns();
    m_table->installEventFilter(this);
    connect(m_table, &QTableView::doubleClicked, this, &SummaryView::openCurrent);
    connect(m_table->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &SummaryView::chooseCurrent);
}

void SummaryView::followColumns()
{
    // The totals stand under their columns, also when one is moved, widened or scrolled.
    connect(m_table->horizontalHeader(), &QHeaderView::sectionResized, m_totalsTable,
            [this](int section, int, int width) { m_totalsTable->setColumnWidth(section, width); });
    connect(m_table->horizontalScrollBar(), &QScrollBar::valueChanged, m_totalsTable->horizontalScrollBar(),
            &QScrollBar::setValue);
    m_totalsTable->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
}

// --- content

void SummaryView::setSensors(const QVector<ViewSensor> &sensors)
{
    SessionView::setSensors(sensors);
    const bool any = std::any_of(sensors.begin(), sensors.end(), [](const ViewSensor &sensor) { return sensor.on; });
    for (QToolButton *each : qAsConst(m_sensorButtons))
        each->setEnabled(any);
    fillSoon();
}

void SummaryView::refresh() {} // it follows the records

void SummaryView::filterChanged()
{
    fillSoon();
}

void SummaryView::setTimeMode(TimeMode mode)
{
    SessionView::setTimeMode(mode);
    fillSoon();
}

void SummaryView::setViewRange(const TimeRange &range, bool use)
{
    m_viewRange = range;
    m_range->setCurrentIndex(use ? InView : Whole);
    fillSoon();
}

QVector<RecordKey> SummaryView::chosenRecords(bool runs) const
{
    const QModelIndexList rows = m_table->selectionModel()->selectedRows();
    QVector<RecordKey> keys;
    for (const QModelIndex &row : rows)
        keys.append({m_model->row(row.row()).serial, m_model->row(row.row()).run.start, eventtype::RfOn});
    return runs && keys.size() > 1 ? keys : QVector<RecordKey>(); // one is always selected
}

TimeRange SummaryView::rangeInView() const
{
    if (m_range->currentIndex() == InView && !m_viewRange.isEmpty())
        return m_viewRange;
    if (m_range->currentIndex() == Chosen && !m_selection.period().isEmpty())
        return m_selection.period();
    return {0, ~quint64(0)};
}

void SummaryView::showEvent(QShowEvent *event)
{
    SessionView::showEvent(event);
    fillSoon();
}

void SummaryView::fillSoon()
{
    if (!m_fillTimer.isActive())
        m_fillTimer.start(std::min(m_fillCostMs * restFactor, 3000));
}

void SummaryView::fill()
{
    if (!isVisible())
        return;
    QElapsedTimer cost;
    cost.start();
    const TimeRange range = rangeInView();
    const QStringList names = m_records.typeNames();
    const QVector<int> types = shownTypes(names, m_context.filter);
    QStringList titles;
    for (const int type : types)
        titles.append(names.at(type));
    QVector<SummaryRow> rows;
    QStringList labels;
    quint64 origin = 0;
    for (const SessionRecords::Sensor &sensor : m_searcher.sensors()) {
        if (!sensor.view.on)
            continue;
        const quint64 first = sensor.view.store->firstTime();
        origin = origin == 0 ? first : std::min(origin, first);
        for (const RunRow &run : sensor.records->runs) {
            if (run.record.start >= range.to || run.record.end < range.from)
                continue;
            SummaryRow row{labels.size(), sensor.view.serial, run.number, run.record, {}, 0};
            for (const int type : types) {
                row.counts.append(run.count(type));
                row.total += row.counts.last();
            }
            rows.append(row);
        }
        labels.append(sensor.view.label);
    }
    const QString serial = m_selection.sensor();
    const quint64 start = m_selection.run();
    const int scroll = m_table->verticalScrollBar()->value();
    m_restoring = true;
    m_model->setTimeMode(m_timeMode, origin);
    m_model->setRows(std::move(rows), labels, titles);
    m_restoring = false;
    m_table->setColumnHidden(SummaryModel::Sensor, labels.size() < 2);
    m_totalsTable->setColumnHidden(SummaryModel::Sensor, labels.size() < 2);
    restore(serial, start, scroll);
    fitColumns();
    const int marked = m_model->markedCount();
    const QString runs = m_model->rowCount() == 1 ? tr("1 run") : tr("%1 runs").arg(m_model->rowCount());
    m_text->setText(marked == 0 ? runs : tr("%1, %2 out of family").arg(runs).arg(marked));
    m_text->setToolTip(tr("Out of family: more than %1 robust standard deviations from the median of the runs of the "
                          "same sensor and recipe. N and P go to the next and the one before.")
                           .arg(outOfFamilyScore));
    const bool elsewhere = m_model->rowCount() == 0 && m_range->currentIndex() != Whole;
    m_empty->show(emptyText(), elsewhere ? tr("Show the whole recording") : QString());
    fillSteps();
    m_fillCostMs = int(cost.elapsed());
}

void SummaryView::fitColumns()
{
    const bool fitted = m_fittedColumns != m_model->columnCount();
    if (fitted) {
        m_fittedColumns = m_model->rowCount() > 0 ? m_model->columnCount() : 0; // again when there are rows
        m_table->horizontalHeader()->setResizeContentsPrecision(50);
        m_table->resizeColumnsToContents();
        m_totalsTable->resizeColumnsToContents();
        for (int column = 0; column < m_model->columnCount(); ++column)
            m_table->setColumnWidth(column, std::max(m_table->columnWidth(column), m_totalsTable->columnWidth(column)));
    }
    if (fitted)
        m_columns->apply();
    const QAbstractItemView &totals = *m_totalsTable;
    for (int column = 0; column < m_model->columnCount(); ++column) {
        if (m_table->isColumnHidden(column))
            continue;
        if (totals.sizeHintForColumn(column) > m_table->columnWidth(column)) // totals grow with the recording
            m_table->setColumnWidth(column, totals.sizeHintForColumn(column));
        m_totalsTable->setColumnWidth(column, m_table->columnWidth(column));
    }
}

void SummaryView::fillSteps()
{
    m_stepsTable->setVisible(m_showSteps->isChecked());
    if (!m_showSteps->isChecked())
        return;
    QVector<RunRecord> runs;
    for (int row = 0; row < m_model->rowCount(); ++row)
        runs.append(m_model->row(row).run);
    const QVector<StepStatistics> steps = statisticsOfSteps(runs);
    m_steps->clear();
    m_steps->setHorizontalHeaderLabels({tr("Recipe"), tr("Step"), tr("Name"), tr("Runs"), tr("Mean V"), tr("Min V"),
                                        tr("Max V"), tr("Mean I"), tr("Min I"), tr("Max I")});
    for (const StepStatistics &step : steps) {
        QStringList cells{step.recipe, QString::number(step.step + 1), step.name, QString::number(step.voltage.count)};
        const bool kept = step.voltage.count > 0;
        for (const double value : {step.voltage.mean(), step.voltage.low, step.voltage.high})
            cells.append(kept ? m_model->valueText(SummaryModel::MeanVoltage, value) : tr("not kept"));
        for (const double value : {step.current.mean(), step.current.low, step.current.high})
            cells.append(kept ? m_model->valueText(SummaryModel::MeanCurrent, value) : tr("not kept"));
        QList<QStandardItem *> items;
        for (const QString &cell : qAsConst(cells)) {
            items.append(new QStandardItem(cell));
            if (!kept)
                items.last()->setToolTip(tr("None of these runs has the mean of this step: a run that is followed to "
                                            "its end keeps that of the last step in its place"));
            const bool word = items.size() == 1 || items.size() == 3;
            items.last()->setTextAlignment(Qt::AlignVCenter | (word ? Qt::AlignLeft : Qt::AlignRight));
        }
        m_steps->appendRow(items);
    }
    m_stepsTable->resizeColumnsToContents();
    limitHeight(m_stepsTable, std::clamp(m_steps->rowCount(), 1, 8), true);
    m_showSteps->setToolTip(steps.isEmpty() ? tr("None of these runs followed a recipe with steps")
                                            : tr("Mean, least and greatest values of each recipe step"));
}

QString SummaryView::emptyText() const
{
    if (m_model->rowCount() > 0)
        return QString();
    if (m_sensors.isEmpty())
        return tr("No sensor yet.\nConnect one, and its runs are listed here.");
    bool on = false;
    QString thresholds;
    for (const ViewSensor &sensor : m_sensors) {
        on = on || sensor.on;
        if (sensor.on && thresholds.isEmpty())
            thresholds = QString::number(sensor.store->configuration().signalBaseThreshold);
    }
    if (!on)
        return tr("Every sensor is switched off.\nSwitch one on with \"Data display on/off\" on its card.");
    if (m_records.isReading())
        return tr("Reading runs...");
    if (m_searcher.hasFound())
        return tr("No stretch reaches this threshold.\nSearch with a lower one, or go back to the stored runs.");
    if (m_range->currentIndex() != Whole)
        return tr("There is no run in this range.");
    return tr("No run has been recorded yet.\nA run begins when the voltage rises to the threshold (%1 V), and is "
              "listed when RF has been off for a while.")
        .arg(thresholds);
}

// --- choosing

void SummaryView::restore(const QString &serial, quint64 start, int scroll)
{
    m_restoring = true;
    const int row = start == 0 ? -1 : m_model->find(serial, start);
    if (row >= 0 && m_table->currentIndex().row() != row)
        m_table->selectRow(row);
    if (scroll >= 0)
        m_table->verticalScrollBar()->setValue(scroll);
    m_restoring = false;
}

void SummaryView::chooseCurrent()
{
    const QModelIndex index = m_table->currentIndex();
    if (!m_restoring && index.isValid())
        m_selection.selectRun(m_model->row(index.row()).serial, m_model->row(index.row()).run.start);
}

void SummaryView::openCurrent()
{
    const QModelIndex index = m_table->currentIndex();
    if (!index.isValid())
        return;
    m_selection.selectRun(m_model->row(index.row()).serial, m_model->row(index.row()).run.start);
    emit viewRequested(1);
}

void SummaryView::chooseMarked(int direction)
{
    const int current = m_table->currentIndex().row();
    for (int row = current < 0 && direction < 0 ? m_model->rowCount() - 1 : current + direction;
         row >= 0 && row < m_model->rowCount(); row += direction) {
        for (int column = 0; column < m_model->columnCount(); ++column) {
            if (m_model->isMarked(row, column)) {
                m_table->setCurrentIndex(m_model->index(row, column));
                return;
            }
        }
    }
}

void SummaryView::copy()
{
    QVector<int> rows;
    const QModelIndexList selected = m_table->selectionModel()->selectedRows();
    for (const QModelIndex &index : selected)
        rows.append(index.row());
    if (rows.isEmpty()) {
        rows.resize(m_model->rowCount());
        std::iota(rows.begin(), rows.end(), 0);
    }
    std::sort(rows.begin(), rows.end());
    QApplication::clipboard()->setText(m_model->toText(rows));
}

bool SummaryView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_table || event->type() != QEvent::KeyPress)
        return SessionView::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    if (key->matches(QKeySequence::Copy))
        copy(); // rows, where the table itself would copy one cell
    else if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
        openCurrent();
    else if (key->key() == Qt::Key_N || key->key() == Qt::Key_P)
        chooseMarked(key->key() == Qt::Key_N ? 1 : -1);
    else
        return false;
    return true;
}
