#include "display/views/recordview.h"

#include "display/look/keptlayout.h"
#include "display/look/theme.h"
#include "display/plot/arcplotdisplay.h"
#include "display/records/sessionselection.h"
#include "display/views/recordtable.h"
#include "display/views/sessionviews.h"
#include "events/eventfilter.h"
#include "events/swatch.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>

RecordView::RecordView(const DisplayContext &context, SessionSelection &selection, SessionRecords &records,
                       QWidget *parent)
    : SessionView(context, selection, parent), m_records(records)
{}

void RecordView::makeSteps(const QString &previousTip, const QString &nextTip)
{
    m_previous = new QPushButton(tr("◀ Previous"));
    m_previous->setToolTip(previousTip);
    m_next = new QPushButton(tr("Next ▶"));
    m_next->setToolTip(nextTip);
    connect(m_previous, &QPushButton::clicked, this, [this] { m_panel->table()->step(-1); });
    connect(m_next, &QPushButton::clicked, this, [this] { m_panel->table()->step(1); });
}

void RecordView::layOut(RecordModel *model, RecordPanel *panel, QWidget *details, const Words &words)
{
    m_list = model;
    m_panel = panel;
    m_words = words;
    auto *splitter = new QSplitter;
    splitter->addWidget(m_panel);
    splitter->addWidget(details);
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({440, 660});
    splitter->setChildrenCollapsible(false);
    keepSplitter(splitter, m_context.settings, QStringLiteral("views/%1Splitter").arg(words.name));
    m_panel->table()->keepColumns(m_context.settings, QStringLiteral("views/%1Columns").arg(words.name));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);
    const auto tellSensorsApart = [this] {
        m_list->setSensorIcon([this](const ViewSensor &sensor) {
            return swatchIcon(*m_panel->table(), m_context.theme.themed(sensor.colour).name());
        });
    };
    tellSensorsApart();
    connect(&m_context.theme, &Theme::changed, this, tellSensorsApart);
    connect(&m_records, &SessionRecords::changed, this, &RecordView::showRecords);
    connect(m_panel->table(), &RecordTable::currentKeyChanged, this, [this] { showChosen(); });
    connect(m_panel, &RecordPanel::reasonPressed, this, [this] { emit viewRequested(SessionViews::Live); });
    connect(m_panel, &RecordPanel::periodDropped, this, [this] { m_selection.selectPeriod({}); });
    connect(&m_selection, &SessionSelection::periodSelected, m_panel, &RecordPanel::setPeriod);
}

void RecordView::followKeys(arcPlotDisplay *plot)
{
    connect(plot, &arcPlotDisplay::neighbourWanted, this,
            [this](bool forward) { m_panel->table()->step(forward ? 1 : -1); });
}

void RecordView::setSensors(const QVector<ViewSensor> &sensors)
{
    SessionView::setSensors(sensors);
    m_shown = {}; // its colour may be another one
}

void RecordView::refresh()
{
    samplesPlot()->markDirty();
    if (m_stale)
        showRecords();
    else
        chooseWanted();
    showReason();
}

void RecordView::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() == Qt::NoModifier && (event->key() == Qt::Key_N || event->key() == Qt::Key_P))
        m_panel->table()->step(event->key() == Qt::Key_N ? 1 : -1);
    else
        SessionView::keyPressEvent(event);
}

void RecordView::showRecords()
{
    m_stale = !isVisible();
    if (m_stale)
        return;
    m_list->setSensors(listed());
    showTypes();
    showReason();
    chooseWanted();
    if (!m_panel->table()->currentIndex().isValid() && m_list->rowCount() > 0 && m_wanted.time == 0)
        m_panel->table()->choose(m_list->key(m_list->rowCount() - 1));
    showChosen();
}

void RecordView::showReason()
{
    QString text;
    QString button = tr("Show Live View");
    if (std::none_of(m_sensors.begin(), m_sensors.end(), [](const ViewSensor &sensor) { return sensor.on; })) {
        text = m_sensors.isEmpty() ? m_words.noSensor
                                   : tr("No sensor is switched on for display.\nSwitch one on with \"Data display "
                                        "on/off\" on its card.");
    } else if (m_records.isReading()) {
        text = m_words.reading;
        button.clear();
    } else if (m_list->total() == 0) {
        text = emptyText(&button);
    }
    m_panel->setReason(text, button);
}

void RecordView::chooseWanted()
{
    if (m_wanted.time == 0 || !isVisible())
        return; // when it is shown
    const QVector<SessionRecords::Sensor> &sensors = listed();
    const auto sensor = std::find_if(sensors.begin(), sensors.end(), [this](const SessionRecords::Sensor &each) {
        return each.view.serial == m_wanted.sensor;
    });
    if (sensor == sensors.end() || !isStored(*sensor->records, m_wanted))
        return;
    if (m_list->rowOf(m_wanted) < 0)
        m_panel->showAll(); // hidden by the search, the period or the filter
    m_panel->table()->choose(m_wanted);
    m_wanted = {};
}

TimeRange RecordView::rangeInView() const
{
    return m_shown.time ? samplesPlot()->visibleRange() : TimeRange();
}

QVector<RecordKey> RecordView::selectedKeys() const
{
    QVector<RecordKey> keys;
    const QModelIndexList rows = m_panel->table()->selectionModel()->selectedRows();
    for (const QModelIndex &row : rows)
        keys.append(m_list->key(row.row()));
    return keys;
}

void RecordView::enableSteps(int row)
{
    m_previous->setEnabled(row > 0);
    m_next->setEnabled(row + 1 < m_list->rowCount());
}

QSet<QString> RecordView::hiddenTypes() const
{
    const QStringList names = m_context.filter.names();
    QSet<QString> hidden;
    for (const QString &name : names)
        if (!m_context.filter.isEnabled(name))
            hidden.insert(name);
    return hidden;
}
