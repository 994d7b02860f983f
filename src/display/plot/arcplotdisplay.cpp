#include "display/plot/arcplotdisplay.h"

#include "display/plot/arcplotdisplayprivate.h"
#include "display/records/storesource.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>

arcPlotDisplay::arcPlotDisplay(Theme &theme, QWidget *parent)
    : QWidget(parent), d(std::make_unique<Private>(this, theme))
{
    qRegisterMetaType<TimeMode>("TimeMode");
    setFocusPolicy(Qt::StrongFocus);
}

arcPlotDisplay::~arcPlotDisplay() = default;

void arcPlotDisplay::addSensor(const QString &serial, const QString &label, const std::shared_ptr<norvexData> &store,
                               const QColor &colour)
{
    addSensor(serial, label, std::make_shared<StoreSource>(store), colour);
}

void arcPlotDisplay::addSensor(const QString &serial, const QString &label, std::shared_ptr<PlotSource> source,
                               const QColor &colour)
{
    removeSensor(serial);
    auto sensor = std::make_unique<PlotSensor>();
    sensor->serial = serial;
    sensor->label = label;
    sensor->colour = colour;
    sensor->number = d->nextNumber++;
    sensor->source = source;
    sensor->series = std::make_unique<SeriesCache>(source, d->pool);
    connect(sensor->series.get(), &SeriesCache::changed, this, [this] {
        markDirty();
        if (d->model.home)
            d->redrawSoon(); // stepping from one to the next is not to wait for the ticker
    });
    connect(sensor->series.get(), &SeriesCache::progress, this, &arcPlotDisplay::readProgress);
    d->model.sensors.push_back(std::move(sensor));
    d->adoptQuantities();
}

void arcPlotDisplay::removeSensor(const QString &serial)
{
    auto &sensors = d->model.sensors;
    for (auto it = sensors.begin(); it != sensors.end(); ++it) {
        if ((*it)->serial != serial)
            continue;
        sensors.erase(it);
        if (sensors.empty())
            d->nextNumber = 0;
        d->adoptQuantities();
        return;
    }
}

void arcPlotDisplay::removeAllSensors()
{
    d->model.sensors.clear();
    d->nextNumber = 0;
    d->removeCursors();
    d->redrawSoon();
}

void arcPlotDisplay::setSensorVisible(const QString &serial, bool visible)
{
    if (PlotSensor *sensor = d->model.sensor(serial))
        sensor->visible = visible;
    d->redrawSoon();
}

void arcPlotDisplay::setSensorColour(const QString &serial, const QColor &colour)
{
    if (PlotSensor *sensor = d->model.sensor(serial))
        sensor->colour = colour;
    d->redrawSoon();
}

void arcPlotDisplay::setConnected(const QString &serial, bool connected, quint64 lastSample)
{
    PlotSensor *sensor = d->model.sensor(serial);
    if (!sensor || sensor->connected == connected) // told with every frame
        return;
    sensor->setConnected(connected, lastSample);
    d->redrawSoon();
}

void arcPlotDisplay::setQuantities(int left, int right)
{
    if (PlotModel::quantityName(left).isEmpty())
        left = 0;
    if (PlotModel::quantityName(right).isEmpty())
        right = noQuantity;
    const int chosen[2] = {left, right};
    for (const auto axis : {PlotView::Left, PlotView::Right}) {
        if (d->model.quantities[axis] == chosen[axis])
            continue;
        // The range of another quantity means nothing for this one.
        if (!d->model.view.isAutomatic(axis))
            d->model.view.setAutomatic(axis, d->now());
        d->model.quantities[axis] = chosen[axis];
    }
    d->adoptQuantities();
    emit quantitiesChanged(left, right);
}

int arcPlotDisplay::leftQuantity() const
{
    return d->model.quantities[PlotView::Left];
}

int arcPlotDisplay::rightQuantity() const
{
    return d->model.quantities[PlotView::Right];
}

void arcPlotDisplay::setRecords(const QString &serial, const std::shared_ptr<const RecordSet> &records)
{
    PlotSensor *sensor = d->model.sensor(serial);
    if (!sensor || sensor->records == records)
        return;
    sensor->setRecords(records, d->looks);
    markDirty();
    if (d->model.home)
        d->redrawSoon();
}

void arcPlotDisplay::setEventLooks(const EventLooks &looks)
{
    d->looks = looks;
    for (const auto &sensor : d->model.sensors)
        sensor->setRecords(sensor->records, looks);
    d->redrawSoon();
}

void arcPlotDisplay::setTimeMode(TimeMode mode)
{
    if (mode == d->model.timeAxis.mode())
        return;
    d->model.timeAxis.setMode(mode);
    d->redrawSoon();
    emit timeModeChanged(mode);
}

TimeMode arcPlotDisplay::timeMode() const
{
    return d->model.timeAxis.mode();
}

void arcPlotDisplay::setSpan(quint64 span)
{
    d->model.view.setSpan(span);
    d->viewChanged();
    emit spanChanged(d->model.view.span());
}

quint64 arcPlotDisplay::span() const
{
    return d->model.view.span();
}

bool arcPlotDisplay::isFollowing() const
{
    return d->model.view.isFollowing();
}

TimeRange arcPlotDisplay::visibleRange() const
{
    return d->model.view.visible();
}

void arcPlotDisplay::setVisibleRange(const TimeRange &range)
{
    d->model.view.setVisible(range, d->now());
    d->viewChanged();
}

TimeRange arcPlotDisplay::dataRange() const
{
    return d->model.dataRange();
}

std::optional<TimeRange> arcPlotDisplay::cursorRange() const
{
    return d->model.cursorRange();
}

void arcPlotDisplay::setFixedRange(const TimeRange &range)
{
    d->model.home = range;
    d->model.view = PlotView();
    d->model.cursors[0].reset();
    d->model.cursors[1].reset();
    d->model.view.setData(range);
    d->model.view.setVisible(range, d->now());
    d->model.view.forgetHistory();
    d->toolBar->setLive(false);
    d->viewChanged();
}

void arcPlotDisplay::setSections(const QVector<PlotSection> &sections)
{
    d->model.sections = sections;
    d->redrawSoon();
}

void arcPlotDisplay::setTimeOrigin(quint64 time)
{
    d->model.origin = time;
    d->redrawSoon();
}

void arcPlotDisplay::setTimeZero(quint64 time, const QString &name)
{
    d->model.timeAxis.setZero(time, name);
    d->redrawSoon();
}

void arcPlotDisplay::setEmptyState(const QString &text, const QString &button)
{
    d->emptyText = text;
    d->emptyButtonText = button;
    d->redrawSoon();
}

QWidget *arcPlotDisplay::toolBar() const
{
    return d->toolBar;
}

QImage arcPlotDisplay::renderImage(const QSize &size, qreal scale, Theme::Kind kind)
{
    return d->render(size, scale, kind);
}

void arcPlotDisplay::markDirty()
{
    d->dirty = true;
}

void arcPlotDisplay::setFollowing(bool following)
{
    if (d->model.home)
        return;
    d->model.view.setFollowing(following);
    d->viewChanged();
}

void arcPlotDisplay::jumpToLive()
{
    setFollowing(true);
}

void arcPlotDisplay::showWholeRange()
{
    if (d->model.home)
        return setVisibleRange(*d->model.home);
    d->model.view.showWhole();
    d->viewChanged();
    emit spanChanged(0);
}

void arcPlotDisplay::zoomBack()
{
    d->model.view.goBack();
    d->viewChanged();
}

void arcPlotDisplay::zoomForward()
{
    d->model.view.goForward();
    d->viewChanged();
}

void arcPlotDisplay::copyToClipboard()
{
    QApplication::clipboard()->setImage(renderImage(d->figure->size(), 2.0));
}

void arcPlotDisplay::setDisplayNumber(unsigned int number)
{
    d->number = number;
}

bool arcPlotDisplay::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest)
        d->fitHeight();
    // While the plot has the focus its keys are its own, whatever shortcuts the window has.
    if (event->type() == QEvent::ShortcutOverride) {
        const auto *key = static_cast<QKeyEvent *>(event);
        const auto modifiers = key->modifiers() & ~Qt::KeypadModifier;
        const bool plain = modifiers == Qt::NoModifier || modifiers == Qt::ShiftModifier;
        const bool copy = modifiers == Qt::ControlModifier && key->key() == Qt::Key_C;
        if (copy || (plain && QStringLiteral(" +-=12LNP").contains(QChar(key->key())))) {
            event->accept();
            return true;
        }
    }
    return QWidget::event(event);
}

void arcPlotDisplay::keyPressEvent(QKeyEvent *event)
{
    if (!d->handleKey(event->key(), event->modifiers()))
        QWidget::keyPressEvent(event);
}

void arcPlotDisplay::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    d->ticker.start();
    if (d->lastRedraw < 0)
        d->redraw(); // in the theme from the first picture on, not in the library's looks
    d->redrawSoon();
}

void arcPlotDisplay::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    d->fitHeight();
    d->redrawSoon();
}

void arcPlotDisplay::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    d->ticker.stop();
    d->leave();
}
