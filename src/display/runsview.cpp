#include "display/runsview.h"

#include "data/norvexdata.h"
#include "data/valuetype.h"
#include "display/arcplotdisplay.h"
#include "display/derivedsources.h"
#include "display/emptypage.h"
#include "display/recordtable.h"
#include "display/runlistmodel.h"
#include "display/runsearchbar.h"
#include "display/sessionviews.h"
#include "display/storesource.h"
#include "events/eventfilter.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QStackedLayout>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int mostStepRows = 6; // shown at once

QString stepTableText(const QTableWidget &table)
{
    QString text;
    for (int row = -1; row < table.rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < table.columnCount(); ++column)
            cells.append(row < 0 ? table.horizontalHeaderItem(column)->text() : table.item(row, column)->text());
        text += cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    return text;
}

} // namespace

RunsView::RunsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records, QWidget *parent)
    : SessionView(context, selection, parent), m_records(records), m_model(new RunListModel(this)),
      m_search(new RunSearchBar(records)), m_panel(new RecordPanel(m_model, tr("runs"))), m_splitter(new QSplitter),
      m_tasks(this)
{
    m_panel->addFooter(m_search);
    m_splitter->addWidget(m_panel);
    m_splitter->addWidget(buildDetails());
    m_splitter->setStretchFactor(0, 2);
    m_splitter->setStretchFactor(1, 3);
    m_splitter->setSizes({440, 660});
    m_splitter->setChildrenCollapsible(false);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_splitter);
    connectAll();
    filterChanged();
    showReason();
    showRun();
}

RunsView::~RunsView() = default;

QWidget *RunsView::buildDetails()
{
    auto *details = new QWidget;
    m_title = new QLabel;
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_title->setObjectName(QStringLiteral("runTitle"));
    m_previous = new QPushButton(tr("◀ Previous"));
    m_previous->setToolTip(tr("The run above in the list (P)"));
    m_next = new QPushButton(tr("Next ▶"));
    m_next->setToolTip(tr("The run below in the list (N)"));
    auto *inPlot = new QPushButton(tr("Show in Live View"));
    inPlot->setObjectName(QStringLiteral("b_runInPlot"));
    auto *row = new QHBoxLayout;
    row->addWidget(m_title, 1);
    row->addWidget(m_previous);
    row->addWidget(m_next);
    row->addWidget(inPlot);
    m_plot = new arcPlotDisplay(m_context.theme);
    m_plot->setQuantities(Voltage, Current);
    m_steps = new QTableWidget(0, 6);
    m_steps->setObjectName(QStringLiteral("runSteps"));
    m_steps->setHorizontalHeaderLabels(
        {tr("Step"), tr("Start [s]"), tr("Duration [s]"), tr("Mean V [V]"), tr("Mean I [A]"), tr("Events")});
    m_steps->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_steps->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_steps->setAlternatingRowColors(true);
    m_steps->setShowGrid(false);
    m_steps->verticalHeader()->hide();
    m_steps->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    m_steps->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    auto *copySteps = new QAction(tr("Copy the steps"), m_steps);
    copySteps->setShortcut(QKeySequence::Copy);
    copySteps->setShortcutContext(Qt::WidgetShortcut);
    m_steps->addAction(copySteps);
    m_steps->setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(copySteps, &QAction::triggered, this,
            [this] { QApplication::clipboard()->setText(stepTableText(*m_steps)); });
    connect(m_previous, &QPushButton::clicked, this, [this] { m_panel->table()->step(-1); });
    connect(m_next, &QPushButton::clicked, this, [this] { m_panel->table()->step(1); });
    connect(inPlot, &QPushButton::clicked, this, [this] {
        if (const RunRow *run = m_model->run(m_model->rowOf(m_shown)))
            emit plotRequested(run->record.start, run->record.end);
    });
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(row);
    layout->addWidget(m_plot, 1);
    layout->addWidget(m_steps);
    m_noRun = new EmptyPage;
    m_detailStack = new QStackedLayout(details);
    m_detailStack->addWidget(page);
    m_detailStack->addWidget(m_noRun);
    m_noRun->show(tr("No run is chosen.\nChoose one in the list, or double-click one in the live plot."));
    return details;
}

void RunsView::connectAll()
{
    connect(&m_records, &SessionRecords::changed, this, &RunsView::showRecords);
    connect(m_panel->table(), &RecordTable::currentKeyChanged, this, &RunsView::showRun);
    connect(m_panel, &RecordPanel::reasonPressed, this, [this] { emit viewRequested(SessionViews::Live); });
    connect(m_panel, &RecordPanel::periodDropped, this, [this] { m_selection.selectPeriod({}); });
    connect(m_search, &RunSearchBar::found, this, [this](const QVector<SessionRecords::Sensor> &sensors) {
        m_searched = true;
        m_model->setSensors(sensors);
        showReason();
    });
    connect(m_search, &RunSearchBar::dropped, this, [this] {
        m_searched = false;
        showRecords();
    });
    connect(&m_selection, &SessionSelection::runSelected, this, [this](const QString &sensor, quint64 start) {
        m_wanted = {sensor, start, eventtype::RfOn};
        chooseWanted();
    });
    connect(&m_selection, &SessionSelection::periodSelected, m_panel, &RecordPanel::setPeriod);
    connect(m_plot, &arcPlotDisplay::neighbourWanted, this,
            [this](bool forward) { m_panel->table()->step(forward ? 1 : -1); });
    connect(m_plot, &arcPlotDisplay::eventActivated, &m_selection, &SessionSelection::selectEvent);
    connect(m_plot, &arcPlotDisplay::yieldView, this, [this] { emit viewRequested(SessionViews::Events); });
}

void RunsView::setSensors(const QVector<ViewSensor> &sensors)
{
    SessionView::setSensors(sensors);
    m_shown = {}; // its colour may be another one
}

void RunsView::refresh()
{
    m_records.refresh();
    m_plot->markDirty();
    if (m_stale)
        showRecords();
    else
        chooseWanted();
    showReason();
}

void RunsView::filterChanged()
{
    const QStringList names = m_context.filter.names();
    QSet<QString> hidden;
    for (const QString &name : names)
        if (!m_context.filter.isEnabled(name))
            hidden.insert(name);
    m_plot->setEventFilter([hidden](const EventRecord &event) {
        return !hidden.contains(event.named ? event.name : eventtype::name(event.effectiveCode()));
    });
}

void RunsView::setTimeMode(TimeMode mode)
{
    SessionView::setTimeMode(mode);
    m_model->setTimeMode(mode);
    m_plot->setTimeMode(mode);
}

QImage RunsView::renderImage(qreal scale, Theme::Kind kind)
{
    return m_shown.time ? m_plot->renderImage(m_plot->size(), scale, kind) : SessionView::renderImage(scale, kind);
}

void RunsView::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() == Qt::NoModifier && (event->key() == Qt::Key_N || event->key() == Qt::Key_P))
        m_panel->table()->step(event->key() == Qt::Key_N ? 1 : -1);
    else
        SessionView::keyPressEvent(event);
}

void RunsView::showRecords()
{
    m_stale = !isVisible();
    if (m_stale || m_searched)
        return;
    m_model->setSensors(m_records.sensors());
    showReason();
    chooseWanted();
    if (!m_panel->table()->currentIndex().isValid() && m_model->rowCount() > 0 && m_wanted.time == 0)
        m_panel->table()->choose(m_model->key(m_model->rowCount() - 1));
    showRun();
}

void RunsView::showReason()
{
    QString text;
    QString button = tr("Show Live View");
    if (std::none_of(m_sensors.begin(), m_sensors.end(), [](const ViewSensor &sensor) { return sensor.on; })) {
        text = m_sensors.isEmpty() ? tr("No sensor yet.\nConnect one: its runs are listed here.")
                                   : tr("No sensor is switched on for display.\nSwitch one on with \"Data display "
                                        "on/off\" on its card.");
    } else if (m_records.isReading()) {
        text = tr("Reading the runs…");
        button.clear();
    } else if (m_model->total() == 0 && m_searched) {
        text = tr("No stretch reaches this threshold.\nSearch with a lower one, or go back to the stored runs.");
        button.clear();
    } else if (m_model->total() == 0) {
        const double threshold = m_sensors.first().store->configuration().signalBaseThreshold;
        text = tr("No run yet.\nA run begins when the voltage rises to the sensor's threshold (%1 V) and is listed "
                  "when it has ended.")
                   .arg(threshold);
    }
    m_panel->setReason(text, button);
    m_search->setEnabled(!m_sensors.isEmpty());
}

void RunsView::chooseWanted()
{
    if (m_wanted.time == 0 || m_searched || !isVisible())
        return;
    const int sensor = m_records.indexOf(m_wanted.sensor);
    if (sensor < 0 || m_records.sensors().at(sensor).records->findRun(m_wanted.time) < 0)
        return;
    if (m_model->rowOf(m_wanted) < 0)
        m_panel->showAll(); // hidden by the search or the period
    m_panel->table()->choose(m_wanted);
    m_wanted = {};
}

void RunsView::showRun()
{
    const int row = m_panel->table()->currentIndex().row();
    const RunRow *run = m_model->run(row);
    m_detailStack->setCurrentIndex(run ? 0 : 1);
    if (!run) {
        m_shown = {};
        m_plot->removeAllSensors();
        return;
    }
    m_previous->setEnabled(row > 0);
    m_next->setEnabled(row + 1 < m_model->rowCount());
    const RecordKey key = m_model->key(row);
    if (key == m_shown)
        return;
    m_shown = key;
    if (!m_searched)
        m_selection.selectRun(key.sensor, key.time);
    for (const SessionRecords::Sensor &sensor : m_model->sensors())
        if (sensor.view.serial == key.sensor)
            plotRun(sensor, *run);
}

void RunsView::plotRun(const SessionRecords::Sensor &sensor, const RunRow &run)
{
    const QString recipe = run.record.recipe.recipeName();
    m_title->setText(tr("<b>Run %1</b> · %2 · %3 · %4")
                         .arg(run.number)
                         .arg(sensor.view.label.toHtmlEscaped(), durationText(run.record.end - run.record.start),
                              recipe.isEmpty() ? tr("no recipe") : recipe.toHtmlEscaped()));
    const quint64 margin = (run.record.end - run.record.start) / 20 + 1;
    const TimeRange range{run.record.start - std::min(run.record.start, margin), run.record.end + margin};
    const auto source = std::make_shared<StoreSource>(sensor.view.store);
    m_plot->removeAllSensors();
    m_plot->addSensor(sensor.view.serial, sensor.view.label, std::make_shared<RangeSource>(source, range),
                      sensor.view.colour);
    m_plot->setSections({});
    m_plot->setTimeOrigin(m_model->timeAxis().origin());
    m_plot->setFixedRange(range);
    m_steps->setRowCount(0);
    m_tasks.cancel();
    m_tasks.start([source, record = run.record](
                      const std::atomic<bool> &cancelled) { return stepMeans(*source, record, cancelled); },
                  [this, run, sensor](const QVector<StepMeans> &steps) { showSteps(run, sensor, steps); });
}

void RunsView::showSteps(const RunRow &run, const SessionRecords::Sensor &sensor, const QVector<StepMeans> &steps)
{
    QVector<PlotSection> sections;
    m_steps->setRowCount(steps.size());
    for (int row = 0; row < steps.size(); ++row) {
        const StepMeans &step = steps.at(row);
        const TimeRange range = step.step.range;
        sections.append({range, step.step.name, step.means});
        const RecordSet &records = *sensor.records;
        const int events = records.firstEvent(range.to) - records.firstEvent(range.from);
        const QString name = step.step.name.isEmpty() ? tr("Whole run") : step.step.name;
        const auto mean = [&step](int quantity, int digits) {
            return step.samples ? QString::number(step.means.at(quantity), 'f', digits) : QStringLiteral("–");
        };
        const QStringList cells{name,
                                QString::number(double(qint64(range.from - run.record.start)) * 1e-6, 'f', 3),
                                QString::number(double(range.length()) * 1e-6, 'f', 3),
                                mean(Voltage, 2),
                                mean(Current, 3),
                                QString::number(events)};
        for (int column = 0; column < cells.size(); ++column) {
            auto *item = new QTableWidgetItem(cells.at(column));
            item->setTextAlignment(int(Qt::AlignVCenter | (column ? Qt::AlignRight : Qt::AlignLeft)));
            m_steps->setItem(row, column, item);
        }
    }
    const int rows = std::min(steps.size(), mostStepRows);
    m_steps->setFixedHeight(m_steps->horizontalHeader()->sizeHint().height() +
                            rows * m_steps->verticalHeader()->defaultSectionSize() + 2 * m_steps->frameWidth() + 2);
    m_plot->setSections(sections);
}
