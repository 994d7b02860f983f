#include "display/views/runsview.h"

#include "data/norvexdata.h"
#include "data/valuetype.h"
#include "display/look/emptypage.h"
#include "display/look/typecolours.h"
#include "display/plot/arcplotdisplay.h"
#include "display/records/derivedsources.h"
#include "display/records/runsearcher.h"
#include "display/records/storesource.h"
#include "display/views/recordtable.h"
#include "display/views/runlistmodel.h"
#include "display/views/runsearchbar.h"
#include "display/views/sessionviews.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
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

RunsView::RunsView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records,
                   RunSearcher &searcher, QWidget *parent)
    : RecordView(context, selection, records, parent), m_model(new RunListModel(this)),
      m_search(new RunSearchBar(searcher)), m_searcher(searcher), m_tasks(this)
{
    auto *panel = new RecordPanel(m_model, tr("runs"));
    panel->addFooter(m_search);
    m_search->setEnabled(false); // until there is a sensor
    layOut(m_model, panel, buildDetails(),
           {QStringLiteral("runs"), tr("No sensor yet.\nConnect one: its runs are listed here."),
            tr("Reading the runs…")});
    connectAll();
    filterChanged();
    showReason();
    showChosen();
}

RunsView::~RunsView() = default;

QWidget *RunsView::buildDetails()
{
    auto *details = new QWidget;
    m_title = new QLabel;
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_title->setWordWrap(true);
    m_title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_title->setObjectName(QStringLiteral("runTitle"));
    makeSteps(tr("The run above in the list (P)"), tr("The run below in the list (N)"));
    auto *inPlot = new QPushButton(tr("Show in Live View"));
    inPlot->setObjectName(QStringLiteral("b_runInPlot"));
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_previous);
    buttons->addWidget(m_next);
    buttons->addStretch();
    buttons->addWidget(inPlot);
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
    m_steps->horizontalHeader()->setMinimumSectionSize(
        m_steps->fontMetrics().horizontalAdvance(m_steps->horizontalHeaderItem(2)->text() + QStringLiteral("00")));
    m_steps->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    auto *copySteps = new QAction(tr("Copy the steps"), m_steps);
    copySteps->setShortcut(QKeySequence::Copy);
    copySteps->setShortcutContext(Qt::WidgetShortcut);
    m_steps->addAction(copySteps);
    m_steps->setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(copySteps, &QAction::triggered, this,
            [this] { QApplication::clipboard()->setText(stepTableText(*m_steps)); });
    connect(inPlot, &QPushButton::clicked, this, [this] {
        if (const RunRow *run = m_model->run(m_model->rowOf(m_shown)))
            emit plotRequested(run->record.start, run->record.end);
    });
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_title);
    layout->addLayout(buttons);
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
    connect(&m_searcher, &RunSearcher::changed, this, &RunsView::showRecords);
    connect(&m_selection, &SessionSelection::runSelected, this, [this](const QString &sensor, quint64 start) {
        m_wanted = {sensor, start, eventtype::RfOn};
        chooseWanted();
    });
    followKeys(m_plot);
    connect(m_plot, &arcPlotDisplay::eventActivated, &m_selection, &SessionSelection::selectEvent);
    connect(m_plot, &arcPlotDisplay::yieldView, this, [this] { emit viewRequested(SessionViews::Events); });
}

void RunsView::setSensors(const QVector<ViewSensor> &sensors)
{
    RecordView::setSensors(sensors);
    m_search->setEnabled(!sensors.isEmpty());
}

const QVector<SessionRecords::Sensor> &RunsView::listed()
{
    return m_searcher.sensors();
}

void RunsView::filterChanged()
{
    m_plot->setEventLooks(eventLooks(m_context));
    showTypes();
    showSteps();
}

void RunsView::showTypes()
{
    const QStringList names = m_records.typeNames();
    m_model->setTypes(shownTypes(names, m_context.filter), names);
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

bool RunsView::isStored(const RecordSet &records, const RecordKey &key) const
{
    return records.findRun(key.time) >= 0;
}

QString RunsView::emptyText(QString *button) const
{
    if (m_searcher.hasFound()) {
        button->clear();
        return tr("No stretch reaches this threshold.\nSearch with a lower one, or go back to the stored runs.");
    }
    return tr("No run yet.\nA run begins when the voltage rises to the sensor's threshold (%1 V) and is listed when it "
              "has ended.")
        .arg(m_sensors.first().store->configuration().signalBaseThreshold);
}

void RunsView::showChosen()
{
    const int row = m_panel->table()->currentIndex().row();
    const RunRow *run = m_model->run(row);
    m_detailStack->setCurrentIndex(run ? 0 : 1);
    if (!run) {
        m_shown = {};
        m_plot->removeAllSensors();
        return;
    }
    enableSteps(row);
    const RecordKey key = m_model->key(row);
    const SessionRecords::Sensor &sensor = m_model->sensorAt(row);
    if (key == m_shown) {
        m_plot->setRecords(key.sensor, sensor.records);
        showSteps(); // events may go by other names
        return;
    }
    m_shown = key;
    if (!m_searcher.hasFound())
        m_selection.selectRun(key.sensor, key.time);
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
    m_plot->setRecords(sensor.view.serial, sensor.records);
    m_plot->setSections({});
    m_plot->setTimeOrigin(m_model->timeAxis().origin());
    m_plot->setFixedRange(range);
    m_steps->setRowCount(0);
    m_stepMeans.clear();
    m_tasks.cancel();
    m_tasks.start([source, record = run.record](
                      const std::atomic<bool> &cancelled) { return stepMeans(*source, record, cancelled); },
                  [this](const QVector<StepMeans> &steps) {
                      m_stepMeans = steps;
                      showSteps();
                  });
}

void RunsView::showSteps()
{
    const int shown = m_model->rowOf(m_shown);
    const RunRow *run = m_model->run(shown);
    if (!run || m_stepMeans.isEmpty())
        return;
    const RecordSet &records = *m_model->sensorAt(shown).records;
    QVector<PlotSection> sections;
    m_steps->setRowCount(m_stepMeans.size());
    for (int row = 0; row < m_stepMeans.size(); ++row) {
        const StepMeans &step = m_stepMeans.at(row);
        const TimeRange range = step.step.range;
        sections.append({range, step.step.name, step.means});
        const int events =
            int(std::count_if(records.events.begin() + records.firstEvent(range.from),
                              records.events.begin() + records.firstEvent(range.to), [&](const EventRow &event) {
                                  return m_context.filter.isEnabled(records.nameOf(event));
                              }));
        const QString name = step.step.name.isEmpty() ? tr("Whole run") : step.step.name;
        const auto mean = [&step](int quantity, int digits) {
            return step.samples ? QString::number(step.means.at(quantity), 'f', digits) : QStringLiteral("–");
        };
        const QStringList cells{name,
                                QString::number(double(qint64(range.from - run->record.start)) * 1e-6, 'f', 3),
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
    const int rows = std::min(m_stepMeans.size(), mostStepRows);
    m_steps->setFixedHeight(m_steps->horizontalHeader()->sizeHint().height() +
                            rows * m_steps->verticalHeader()->defaultSectionSize() + 2 * m_steps->frameWidth() + 2);
    m_plot->setSections(sections);
}
