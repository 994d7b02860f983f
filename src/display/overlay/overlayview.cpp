#include "display/overlay/overlayview.h"

#include "data/valuetype.h"
#include "display/look/emptypage.h"
#include "display/look/flowlayout.h"
#include "display/look/keptlayout.h"
#include "display/overlay/overlayplot.h"
#include "display/overlay/overlayset.h"
#include "display/plot/plotmodel.h"
#include "display/records/sessionselection.h"
#include "events/eventfilter.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QColorDialog>
#include <QComboBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>

namespace {

constexpr int fewCurves = 12;       // in full colour
constexpr int faintest = 70;        // of many
constexpr int dimming = 4;          // while another is selected
constexpr int whileReadingMs = 300; // between pictures
constexpr double frontWidth = 2.4;

/// Only the rows of one kind.
class EntryFilter : public QSortFilterProxyModel
{
public:
    EntryFilter(std::function<bool(int row)> accepts, QObject *parent)
        : QSortFilterProxyModel(parent), m_accepts(std::move(accepts))
    {
        setSortRole(OverlayTable::SortRole);
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex &) const override { return m_accepts(row); }

private:
    const std::function<bool(int row)> m_accepts;
};

} // namespace

OverlayView::OverlayView(OverlayEntry::Kind kind, const DisplayContext &context, SessionSelection &selection,
                         OverlaySet &set, QWidget *parent)
    : SessionView(context, selection, parent), m_kind(kind), m_set(set), m_entries(set.table()),
      m_proxy(new EntryFilter([this](int row) { return isListed(m_entries.entry(row)); }, this)),
      m_plot(new OverlayPlot(context.theme, kind == OverlayEntry::Run ? tr("Time since the start of the run")
                                                                      : tr("Time since the trigger"))),
      m_table(new QTableView)
{
    setObjectName(kind == OverlayEntry::Run ? QStringLiteral("runsOverlayView") : QStringLiteral("eventsOverlayView"));
    setFocusPolicy(Qt::StrongFocus);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(buildToolBar());
    auto *splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(m_plot);
    splitter->addWidget(buildTable());
    splitter->setStretchFactor(0, 6);
    splitter->setStretchFactor(1, 4);
    splitter->setSizes({600, 400});
    const QString name =
        kind == OverlayEntry::Run ? QStringLiteral("views/runsOverlay%1") : QStringLiteral("views/eventsOverlay%1");
    keepSplitter(splitter, context.settings, name.arg(QStringLiteral("Splitter")));
    m_columns = new KeptColumns(m_table, context.settings, name.arg(QStringLiteral("Columns")));
    layout->addWidget(splitter, 1);
    m_showTimer.setSingleShot(true);
    connect(&m_showTimer, &QTimer::timeout, this, &OverlayView::showCurves);
    connect(&m_entries, &OverlayTable::curvesChanged, this, [this] {
        if (!m_showTimer.isActive())
            m_showTimer.start(m_waiting > 0 ? whileReadingMs : 0);
    });
    connect(m_plot, &OverlayPlot::distancesFound, this, &OverlayView::takeDistances);
    connect(m_plot, &OverlayPlot::curveClicked, this, [this](int index) { selectRow(m_shownRows.value(index, -1)); });
    connect(m_plot->notice(), &EmptyPage::pressed, this, &OverlayView::addRequested);
    connect(&m_context.theme, &Theme::changed, this, &OverlayView::showCurves);
    if (kind == OverlayEntry::Run)
        connect(&m_selection, &SessionSelection::runSelected, this, [this](const QString &serial, quint64 start) {
            selectRow(m_entries.find(OverlayEntry::Run, serial, start, 0));
        });
    else
        connect(&m_selection, &SessionSelection::eventSelected, this,
                [this](const QString &serial, quint64 time, int typeCode) {
                    selectRow(m_entries.find(OverlayEntry::Event, serial, time, typeCode));
                });
}

OverlayView::~OverlayView() = default;

QToolButton *OverlayView::button(const QString &text, const QString &tip, const char *name)
{
    auto *made = new QToolButton;
    made->setText(text);
    made->setToolTip(tip);
    made->setObjectName(QLatin1String(name));
    return made;
}

QCheckBox *OverlayView::checkBox(const QString &text, const QString &tip, const char *name)
{
    auto *made = new QCheckBox(text);
    made->setToolTip(tip);
    made->setObjectName(QLatin1String(name));
    return made;
}

QWidget *OverlayView::buildToolBar()
{
    auto *bar = new QWidget;
    auto *layout = new FlowLayout(bar, 6);
    layout->setContentsMargins(4, 2, 4, 2);
    m_quantity = new QComboBox;
    m_quantity->setObjectName(QStringLiteral("cb_quantity"));
    m_quantity->setAccessibleName(tr("Quantity"));
    for (const int quantity : {int(Voltage), int(Current)})
        m_quantity->addItem(PlotModel::quantityName(quantity), quantity);
    m_showCurves = checkBox(tr("Curves"), tr("Draw each curve"), "cb_curves");
    m_showBand = checkBox(tr("Median and band"),
                          tr("Draw the median of the curves and the band from the least to the greatest"), "cb_band");
    m_bySensor = checkBox(tr("Colours of sensors"), tr("Give the curves of a sensor its colour"), "cb_bySensor");
    m_showCurves->setChecked(true);
    m_showBand->setChecked(true);
    m_text = new QLabel;
    m_text->setTextFormat(Qt::PlainText);
    const bool runs = m_kind == OverlayEntry::Run;
    auto *add = button(runs ? tr("Add runs in view") : tr("Add events in view"),
                       runs ? tr("Add the runs chosen or shown in the view you were in before")
                            : tr("Add the events chosen or shown in the view you were in before"),
                       "b_addInView");
    m_remove = button(tr("Remove"), tr("Take the selected rows out of the overlay (Del)"), "b_remove");
    m_clear = button(tr("Clear"), tr("Take everything out of the overlay; what was recorded stays"), "b_clear");
    layout->addWidget(m_quantity);
    for (QCheckBox *each : {m_showCurves, m_showBand, m_bySensor})
        layout->addWidget(each);
    layout->addWidget(m_text);
    for (QToolButton *each : {add, m_remove, m_clear})
        layout->addWidget(each);
    layout->setAlignment(add, Qt::AlignRight); // and the others with it
    connect(m_quantity, qOverload<int>(&QComboBox::currentIndexChanged), this,
            [this] { m_plot->setQuantity(m_quantity->currentData().toInt()); });
    const auto layers = [this] { m_plot->setLayers(m_showCurves->isChecked(), m_showBand->isChecked()); };
    connect(m_showCurves, &QCheckBox::toggled, this, layers);
    connect(m_showBand, &QCheckBox::toggled, this, layers);
    connect(m_bySensor, &QCheckBox::toggled, this, &OverlayView::showCurves);
    connect(add, &QToolButton::clicked, this, &OverlayView::addRequested);
    connect(m_remove, &QToolButton::clicked, this, [this] { m_entries.remove(selectedRows()); });
    connect(m_clear, &QToolButton::clicked, this, [this] { m_entries.clear(m_kind); });
    return bar;
}

QWidget *OverlayView::buildTable()
{
    m_proxy->setSourceModel(&m_entries);
    m_table->setModel(m_proxy);
    m_table->setObjectName(QStringLiteral("overlayTable"));
    m_table->setAccessibleName(m_kind == OverlayEntry::Run ? tr("Overlaid runs") : tr("Overlaid events"));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setWordWrap(false);
    m_table->setTabKeyNavigation(false);
    m_table->setAlternatingRowColors(true);
    m_table->setSortingEnabled(true);
    m_table->sortByColumn(OverlayTable::Start, Qt::AscendingOrder);
    m_table->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->resizeColumnsToContents(); // of the head; again when there is something in them
    m_table->installEventFilter(this);
    connect(m_table, &QTableView::doubleClicked, this, &OverlayView::activate);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &OverlayView::showCurves);
    connect(m_table->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &OverlayView::chooseCurrent);
    return m_table;
}

void OverlayView::setSensors(const QVector<ViewSensor> &sensors)
{
    // A sensor that left the session leaves the overlay.
    for (const ViewSensor &old : qAsConst(m_sensors)) {
        const bool stays = std::any_of(sensors.begin(), sensors.end(),
                                       [&old](const ViewSensor &sensor) { return sensor.serial == old.serial; });
        if (!stays)
            m_entries.removeSensor(old.serial);
    }
    SessionView::setSensors(sensors);
    showCurves();
}

bool OverlayView::isListed(const OverlayEntry &entry) const
{
    return entry.kind == m_kind && (m_kind == OverlayEntry::Run || m_context.filter.isEnabled(entry.type));
}

void OverlayView::filterChanged()
{
    m_proxy->invalidate();
    showCurves();
}

void OverlayView::refresh() {} // what is overlaid has happened

void OverlayView::setTimeMode(TimeMode mode)
{
    SessionView::setTimeMode(mode);
    m_entries.setTimeMode(mode);
}

QImage OverlayView::renderImage(qreal, Theme::Kind)
{
    return m_plot->grab().toImage();
}

void OverlayView::showEvent(QShowEvent *event)
{
    SessionView::showEvent(event);
    showCurves();
}

QVector<int> OverlayView::selectedRows() const
{
    QVector<int> rows;
    const QModelIndexList selected = m_table->selectionModel()->selectedRows();
    for (const QModelIndex &index : selected)
        rows.append(m_proxy->mapToSource(index).row());
    return rows;
}

void OverlayView::showCurves()
{
    if (!isVisible())
        return;
    const QVector<int> selected = selectedRows();
    QVector<OverlayCurve> curves;
    QStringList names;
    m_shownRows.clear();
    m_waiting = 0;
    for (int row = 0; row < m_entries.rowCount(); ++row) {
        const OverlayEntry &entry = m_entries.entry(row);
        if (entry.kind != m_kind)
            continue;
        m_waiting += entry.state == OverlayEntry::Waiting ? 1 : 0;
        if (!entry.visible || !entry.series || !isListed(entry))
            continue;
        const QColor kept = m_bySensor->isChecked() ? entry.sensorColour : entry.colour;
        curves.append({entry.series, m_context.theme.curvePen(kept, 0, false), selected.contains(row)});
        names.append(
            QStringLiteral("%1, %2").arg(m_proxy->sourceModel()->index(row, 0).data().toString(), entry.sensor));
        m_shownRows.append(row);
    }
    const bool anySelected = std::any_of(curves.begin(), curves.end(), [](const OverlayCurve &c) { return c.inFront; });
    const int alpha = std::max(faintest, curves.size() <= fewCurves ? 255 : 255 * fewCurves * 2 / curves.size());
    for (OverlayCurve &curve : curves) {
        QColor colour = curve.pen.color();
        colour.setAlpha(curve.inFront ? 255 : std::min(alpha, 255) / (anySelected ? dimming : 1));
        curve.pen.setColor(colour);
        if (curve.inFront)
            curve.pen.setWidthF(frontWidth);
    }
    m_plot->setCurves(curves, names);
    const int all = m_entries.count(m_kind);
    m_remove->setEnabled(!selected.isEmpty());
    m_clear->setEnabled(all > 0);
    m_bySensor->setEnabled(all > 0);
    m_text->setText(m_waiting > 0 ? tr("Reading, %1 to go").arg(m_waiting)
                                  : tr("%1 of %2 shown").arg(curves.size()).arg(all));
    if (all > 0 && !m_columnsFitted) {
        m_columnsFitted = true;
        m_table->resizeColumnsToContents();
        m_table->setColumnWidth(OverlayTable::Colour, fontMetrics().height() * 2);
        m_columns->apply();
    }
    const bool runs = m_kind == OverlayEntry::Run;
    if (all == 0)
        m_plot->notice()->show(runs ? tr("No run is overlaid yet.\nShow some runs in the live view and add them: they "
                                         "are laid over each other from their start.")
                                    : tr("No event is overlaid yet.\nShow some events in the live view and add them: "
                                         "they are laid over each other from their trigger."),
                               runs ? tr("Add Runs to Overlay") : tr("Add Events to Overlay"));
    else if (curves.isEmpty() && m_waiting == 0)
        m_plot->notice()->show(tr("Nothing of the overlay is shown.\nTick rows in the table to see their curves."),
                               QString());
    else
        m_plot->notice()->show(QString(), QString());
}

void OverlayView::takeDistances(const QVector<double> &distances)
{
    if (distances.size() != m_shownRows.size())
        return;
    m_entries.setDistances(m_shownRows, m_shownRows.size() > 1 ? distances : QVector<double>(),
                           PlotModel::quantityUnit(m_plot->quantity()));
}

// --- choosing

void OverlayView::selectRow(int row)
{
    const QModelIndex index = row < 0 ? QModelIndex() : m_proxy->mapFromSource(m_entries.index(row, 0));
    if (!index.isValid() || m_table->currentIndex().row() == index.row())
        return;
    m_table->selectRow(index.row());
    m_table->scrollTo(index);
}

void OverlayView::chooseCurrent()
{
    const QModelIndex index = m_proxy->mapToSource(m_table->currentIndex());
    if (!index.isValid() || !m_table->hasFocus())
        return; // rows also become current when others are removed
    const OverlayEntry entry = m_entries.entry(index.row());
    if (m_kind == OverlayEntry::Run)
        m_selection.selectRun(entry.serial, entry.start);
    else
        m_selection.selectEvent(entry.serial, entry.start, entry.typeCode);
}

void OverlayView::activate(const QModelIndex &index)
{
    const QModelIndex source = m_proxy->mapToSource(index);
    if (!source.isValid())
        return;
    const OverlayEntry entry = m_entries.entry(source.row());
    if (source.column() == OverlayTable::Colour) {
        const QColor chosen = QColorDialog::getColor(entry.colour, this, tr("Colour of the curve"));
        const int row = m_entries.find(entry.kind, entry.serial, entry.start, entry.typeCode);
        if (chosen.isValid() && row >= 0)
            m_entries.setColour(row, chosen);
        return;
    }
    if (m_kind == OverlayEntry::Run)
        m_selection.selectRun(entry.serial, entry.start);
    else
        m_selection.selectEvent(entry.serial, entry.start, entry.typeCode);
    emit viewRequested(m_kind == OverlayEntry::Run ? 1 : 2);
}

bool OverlayView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_table || event->type() != QEvent::KeyPress)
        return SessionView::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    if (key->matches(QKeySequence::Copy)) {
        QVector<int> rows = selectedRows();
        std::sort(rows.begin(), rows.end());
        QApplication::clipboard()->setText(m_entries.toText(rows));
    } else if (key->key() == Qt::Key_Delete) {
        m_entries.remove(selectedRows());
    } else if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
        activate(m_table->currentIndex());
    } else {
        return false;
    }
    return true;
}

void OverlayView::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy))
        QApplication::clipboard()->setImage(m_plot->grab().toImage());
    else if (!m_plot->pressKey(event))
        SessionView::keyPressEvent(event);
}
