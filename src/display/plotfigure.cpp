#include "display/plotfigure.h"

#include "display/banditem.h"
#include "display/curveitem.h"
#include "display/markeritem.h"
#include "display/sectionitem.h"
#include "display/tickdraw.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QFontMetrics>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int labelRows = 3; // sensors whose runs are numbered
constexpr int qwtAxis[2] = {QwtPlot::yLeft, QwtPlot::yRight};

QVector<double> doubles(const QVector<quint64> &times)
{
    QVector<double> result;
    result.reserve(times.size());
    for (const quint64 time : times)
        result.append(double(time));
    return result;
}

QwtScaleDiv division(double low, double high, const QVector<double> &major, const QVector<double> &minor)
{
    QList<double> ticks[QwtScaleDiv::NTickTypes];
    ticks[QwtScaleDiv::MajorTick] = major.toList();
    ticks[QwtScaleDiv::MinorTick] = minor.toList();
    return QwtScaleDiv(low, high, ticks);
}

} // namespace

PlotFigure::PlotFigure(QWidget *parent)
    : QwtPlot(parent), m_canvas(new QwtPlotCanvas), m_grid(new QwtPlotGrid), m_bands(new BandItem),
      m_markers(new MarkerItem), m_sections{new SectionItem, new SectionItem},
      m_timeDraw(new TickDraw), m_valueDraw{new TickDraw, new TickDraw}
{
    m_canvas->setFrameStyle(QFrame::Box | QFrame::Plain);
    m_canvas->setLineWidth(1);
    m_canvas->setFocusPolicy(Qt::NoFocus);
    // With a scale like 125 % its picture may be a pixel smaller than the canvas: what is beneath must be painted.
    m_canvas->setAttribute(Qt::WA_OpaquePaintEvent, false);
    setCanvas(m_canvas);
    setAutoReplot(false);
    setAxisScaleDraw(xBottom, m_timeDraw);
    plotLayout()->setAlignCanvasToScales(true);
    plotLayout()->setSpacing(2);
    for (int axis = 0; axis < 2; ++axis) {
        setAxisScaleDraw(qwtAxis[axis], m_valueDraw[axis]);
        axisWidget(qwtAxis[axis])->setMargin(0);
    }
    axisWidget(xBottom)->setMargin(0);
    for (TickDraw *draw : {m_timeDraw, m_valueDraw[0], m_valueDraw[1]})
        draw->enableComponent(QwtAbstractScaleDraw::Backbone, false); // the canvas has a frame
    m_grid->setZ(1);
    m_grid->enableYMin(false);
    m_grid->attach(this);
    m_bands->attach(this);
    m_markers->attach(this);
    for (int axis = 0; axis < 2; ++axis) {
        m_sections[axis]->setAxes(xBottom, qwtAxis[axis]);
        m_sections[axis]->setNamed(axis == 0);
        m_sections[axis]->attach(this);
    }
    applyFonts();
}

PlotFigure::~PlotFigure() = default;

void PlotFigure::changeEvent(QEvent *event)
{
    QwtPlot::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFonts();
}

void PlotFigure::applyFonts()
{
    const QFontMetrics metrics(font());
    for (const int axis : {int(xBottom), int(yLeft), int(yRight)}) {
        setAxisFont(axis, font());
        QwtText title = axisTitle(axis);
        title.setFont(font());
        setAxisTitle(axis, title);
    }
    const int label = metrics.horizontalAdvance(QStringLiteral("0000.0"));
    for (TickDraw *draw : m_valueDraw)
        draw->setMinimumExtent(label + int(draw->maxTickLength() + draw->spacing()));
    // Room for half a label at both ends, so that none is cut and the canvas keeps its width.
    const int half = metrics.horizontalAdvance(QStringLiteral("00:00:00")) / 2;
    axisWidget(xBottom)->setMinBorderDist(half, half);
    m_markers->setSize(std::max(9.0, metrics.ascent() * 0.85));
    m_bands->setTopMargin(m_markers->laneHeight());
    m_sections[0]->setTopMargin(m_markers->laneHeight() + metrics.height()); // below the number of the run
}

void PlotFigure::applyTheme(const Theme &theme)
{
    QPalette canvas = theme.palette();
    canvas.setColor(QPalette::Window, theme.canvas());
    canvas.setColor(QPalette::WindowText, theme.frame());
    m_canvas->setPalette(canvas);
    QPalette axes = theme.palette();
    axes.setColor(QPalette::WindowText, theme.frame()); // ticks and backbone
    axes.setColor(QPalette::Text, theme.text());        // labels
    for (const int axis : {int(xBottom), int(yLeft), int(yRight)}) {
        axisWidget(axis)->setPalette(axes);
        QwtText title = axisTitle(axis);
        title.setColor(theme.mutedText());
        setAxisTitle(axis, title);
    }
    m_grid->setMajorPen(theme.gridPen());
    m_grid->setMinorPen(theme.minorGridPen());
    m_markers->setOutline(theme.markerOutline());
    for (SectionItem *item : m_sections)
        item->setPens(theme.sectionEdge(), theme.sectionLevel(), theme.mutedText());
    m_themed = true;
}

ColumnGrid PlotFigure::grid(const TimeRange &range) const
{
    const double ratio = m_pixelRatio > 0 ? m_pixelRatio : m_canvas->devicePixelRatioF();
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
    const TimeRange range = model.view.visible();
    const QFontMetrics metrics(axisFont(xBottom));
    const int width = std::max(m_canvas->width(), 50);
    const TimeTicks ticks = model.timeAxis.fittingTicks(
        range, width, [&metrics](const QString &text) { return metrics.horizontalAdvance(text); });
    const QVector<double> major = doubles(ticks.major);
    m_timeDraw->setTicks(major, ticks.labels);
    setAxisScaleDiv(xBottom, division(double(range.from), double(range.to), major, doubles(ticks.minor)));
    QwtText title = axisTitle(xBottom);
    if (title.text() != ticks.title) {
        title.setText(ticks.title, QwtText::PlainText);
        setAxisTitle(xBottom, title);
    }
    for (const auto axis : {PlotView::Left, PlotView::Right})
        showValueAxis(model, axis);
}

void PlotFigure::showValueAxis(const PlotModel &model, PlotView::Axis axis)
{
    const int id = qwtAxis[axis];
    enableAxis(id, model.hasAxis(axis));
    const ValueSpan span = model.view.values(axis);
    if (!model.hasAxis(axis)) {
        setAxisScaleDiv(id, division(0, 1, {}, {}));
        return;
    }
    const int height = std::max(m_canvas->height(), 50);
    const int most = std::clamp(height / (QFontMetrics(axisFont(id)).height() * 3), 2, 8);
    const int quantity = model.quantities[axis];
    const ValueTicks ticks = valueTicks(span, PlotModel::quantityUnit(quantity), most);
    m_valueDraw[axis]->setTicks(ticks.major, ticks.labels);
    setAxisScaleDiv(id, division(span.low, span.high, ticks.major, ticks.minor));
    QString text = PlotModel::quantityName(quantity);
    if (!ticks.unit.isEmpty())
        text += QStringLiteral(" [%1]").arg(ticks.unit);
    QwtText title = axisTitle(id);
    if (QFontMetrics(title.font()).horizontalAdvance(text) > height && !ticks.unit.isEmpty())
        text = QStringLiteral("[%1]").arg(ticks.unit); // the legend names the quantity
    if (title.text() != text) {
        title.setText(text, QwtText::PlainText);
        setAxisTitle(id, title);
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
        for (const RunMark &run : sensor->marks->runs())
            if (run.from < view.to && run.to > view.from)
                bands.append({{run.from, run.to},
                              theme.runBand(run.number % 2, visible),
                              edge,
                              labelled ? QStringLiteral("Run %1").arg(run.number) : QString(),
                              theme.runText(),
                              key,
                              row});
        for (const TimeRange &waiting : sensor->series->unread(view))
            bands.append({waiting, theme.cursorBand(), Qt::NoPen, row == 0 ? QStringLiteral("Reading…") : QString(),
                          theme.mutedText(), QColor(), row});
        if (sensor->lostSince && sensor->lostSince < view.to)
            bands.append({{sensor->lostSince, view.to},
                          theme.connectionLossBand(),
                          Qt::NoPen,
                          labelled ? QStringLiteral("No connection") : QString(),
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
        const QVector<EventMark> &events = sensor.marks->events();
        const auto begin = std::lower_bound(events.begin(), events.end(), view.from,
                                            [](const EventMark &mark, quint64 time) { return mark.time < time; });
        for (auto it = begin; it != events.end() && it->time < view.to; ++it) {
            if (!it->shown)
                continue;
            const bool own = !it->name.isEmpty();
            markers.append({it->time, it->colour.isValid() ? it->colour : theme.eventColour(it->code),
                            own ? MarkerShape::Pentagon : Theme::eventShape(it->code), own ? 100 : it->code,
                            Theme::severity(it->code), int(s), int(it - events.begin())});
        }
    }
    if (model.sensors.size() > 1)
        std::sort(markers.begin(), markers.end(),
                  [](const MarkerItem::Marker &a, const MarkerItem::Marker &b) { return a.time < b.time; });
    m_markers->setMarkers(std::move(markers));
}

quint64 PlotFigure::timeAt(double x) const
{
    return quint64(std::max(0.0, std::round(canvasMap(xBottom).invTransform(x))));
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
