#include "display/plot/plotfigure.h"

#include "display/plot/banditem.h"
#include "display/plot/curveitem.h"
#include "display/plot/markeritem.h"
#include "display/plot/sectionitem.h"

#include <QElapsedTimer>
#include <QFontMetrics>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int labelRows = 3; // sensors whose runs are numbered
constexpr int qwtAxis[2] = {QwtPlot::yLeft, QwtPlot::yRight};

} // namespace

PlotFigure::PlotFigure(QWidget *parent)
    : ThemedPlot({yLeft, yRight}, parent), m_bands(new BandItem),
      m_markers(new MarkerItem), m_sections{new SectionItem, new SectionItem}
{
    lines()->enableYMin(false);
    m_bands->attach(this);
    m_markers->attach(this);
    for (int axis = 0; axis < 2; ++axis) {
        m_sections[axis]->setAxes(xBottom, qwtAxis[axis]);
        m_sections[axis]->setNamed(axis == 0);
        m_sections[axis]->attach(this);
    }
    PlotFigure::applyFonts();
}

PlotFigure::~PlotFigure() = default;

void PlotFigure::applyFonts()
{
    ThemedPlot::applyFonts();
    const QFontMetrics metrics(font());
    m_markers->setSize(std::max(9.0, metrics.ascent() * 0.85));
    m_bands->setTopMargin(m_markers->laneHeight());
    m_sections[0]->setTopMargin(m_markers->laneHeight() + metrics.height()); // below the number of the run
}

void PlotFigure::applyTheme(const Theme &theme)
{
    ThemedPlot::applyTheme(theme);
    m_markers->setOutline(theme.markerOutline());
    for (SectionItem *item : m_sections)
        item->setPens(theme.sectionEdge(), theme.sectionLevel(), theme.mutedText(), theme.canvas());
    m_themed = true;
}

ColumnGrid PlotFigure::grid(const TimeRange &range) const
{
    const double ratio = m_pixelRatio > 0 ? m_pixelRatio : plotCanvas()->devicePixelRatioF();
    const double width = canvasMap(xBottom).pDist() * ratio;
    return ColumnGrid(range.from, range.to, int(std::lround(std::max(1.0, width))));
}

void PlotFigure::show(PlotModel &model, const Theme &theme)
{
    if (!m_themed)
        applyTheme(theme);
    showAxes(model);
    updateAxes();
    updateLayout();
    showCurves(model, theme);
    showBands(model, theme);
    showSections(model);
    showMarkers(model, theme);
    replot();
}

void PlotFigure::drawCanvas(QPainter *painter)
{
    QElapsedTimer clock;
    clock.start();
    QwtPlot::drawCanvas(painter);
    m_paintMs = clock.elapsed();
}

void PlotFigure::showAxes(const PlotModel &model)
{
    setTimeAxis(model.timeAxis, model.view.visible());
    for (const auto axis : {PlotView::Left, PlotView::Right}) {
        const int side = qwtAxis[axis];
        const bool any = model.hasAxis(axis);
        enableAxis(side, any);
        if (any)
            setValueAxis(side, model.view.values(axis), PlotModel::quantityName(model.quantities[axis]),
                         PlotModel::quantityUnit(model.quantities[axis]));
        else
            setAxisScale(side, 0, 1);
    }
}

void PlotFigure::showCurves(PlotModel &model, const Theme &theme)
{
    const TimeRange range = model.view.visible();
    const ColumnGrid columns = grid(range);
    std::size_t used = 0;
    for (const auto &sensor : model.sensors) {
        for (const auto axis : {PlotView::Right, PlotView::Left}) {
            if (!model.hasAxis(axis) || !sensor->shows(axis))
                continue;
            if (used == m_curves.size()) {
                m_curves.push_back(new CurveItem);
                m_curves.back()->attach(this);
            }
            CurveItem *curve = m_curves[used++];
            const int quantity = model.quantities[axis];
            curve->setAxes(xBottom, qwtAxis[axis]);
            curve->setZ(axis == PlotView::Left ? 21 : 20);
            curve->setPen(theme.curvePen(sensor->colour, sensor->number, axis == PlotView::Right));
            const SeriesCache &series = *sensor->series;
            curve->setColumns(series.columns(quantity, columns), columns, series.neighbour(quantity, range.from, true),
                              series.neighbour(quantity, range.to, false));
        }
    }
    for (; m_curves.size() > used; m_curves.pop_back())
        delete m_curves.back();
}

void PlotFigure::showBands(const PlotModel &model, const Theme &theme)
{
    const TimeRange view = model.view.visible();
    const quint64 sofar = std::min(view.to, std::max(model.now, model.view.data().to));
    QVector<BandItem::Band> bands;
    int row = 0;
    const auto visible = int(
        std::count_if(model.sensors.begin(), model.sensors.end(), [](const auto &sensor) { return sensor->visible; }));
    for (const auto &sensor : model.sensors) {
        if (!sensor->visible)
            continue;
        const bool labelled = row < labelRows;
        const QColor key = visible > 1 ? theme.themed(sensor->colour) : QColor();
        const QPen edge = visible > 1 ? QPen(Qt::NoPen) : theme.runEdge();
        for (const RunRow &run : sensor->records->runs)
            if (run.record.start < view.to && run.record.end > view.from)
                bands.append({{run.record.start, run.record.end},
                              theme.runBand(visible > 1 || run.number % 2),
                              edge,
                              labelled ? tr("Run %1").arg(run.number) : QString(),
                              theme.runText(),
                              key,
                              row});
        for (const TimeRange &waiting : sensor->series->unread(view))
            bands.append({waiting, theme.cursorBand(), Qt::NoPen, row == 0 ? tr("Reading…") : QString(),
                          theme.mutedText(), QColor(), row});
        for (const TimeRange &loss : sensor->losses)
            if (loss.from < view.to && (loss.to == 0 || loss.to > view.from))
                bands.append({{loss.from, loss.to == 0 ? sofar : loss.to},
                              theme.connectionLossBand(),
                              Qt::NoPen,
                              labelled ? tr("No connection") : QString(),
                              theme.bad(),
                              key,
                              row});
        ++row;
    }
    m_bands->setBands(std::move(bands));
}

void PlotFigure::showSections(const PlotModel &model)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    for (const auto axis : {PlotView::Left, PlotView::Right}) {
        QVector<SectionItem::Section> sections;
        for (const PlotSection &section : model.sections)
            sections.append({section.range, section.label,
                             model.hasAxis(axis) ? section.levels.value(model.quantities[axis], none) : none});
        m_sections[axis]->setSections(std::move(sections));
    }
}

void PlotFigure::showMarkers(const PlotModel &model, const Theme &theme)
{
    const TimeRange view = model.view.visible();
    QVector<MarkerItem::Marker> markers;
    for (std::size_t s = 0; s < model.sensors.size(); ++s) {
        const PlotSensor &sensor = *model.sensors[s];
        if (!sensor.visible)
            continue;
        const QVector<EventRow> &events = sensor.records->events;
        for (int i = sensor.records->firstEvent(view.from); i < events.size() && events[i].time < view.to; ++i) {
            const EventRow &event = events[i];
            const EventLook look = sensor.lookOf(event);
            if (!look.shown)
                continue;
            const bool ofUser = event.type >= eventtype::builtInCount;
            const int code = ofUser ? event.typeCode : event.type;
            markers.append({event.time, look.colour.isValid() ? look.colour : theme.eventColour(code),
                            ofUser ? MarkerShape::Pentagon : Theme::eventShape(code), event.type, Theme::severity(code),
                            int(s), i});
        }
    }
    if (model.sensors.size() > 1)
        std::sort(markers.begin(), markers.end(),
                  [](const MarkerItem::Marker &a, const MarkerItem::Marker &b) { return a.time < b.time; });
    m_markers->setMarkers(std::move(markers));
}

double PlotFigure::xOf(quint64 time) const
{
    return canvasMap(xBottom).transform(double(time));
}

double PlotFigure::valueAt(PlotView::Axis axis, double y) const
{
    return canvasMap(qwtAxis[axis]).invTransform(y);
}

double PlotFigure::yOf(PlotView::Axis axis, double value) const
{
    return canvasMap(qwtAxis[axis]).transform(value);
}
