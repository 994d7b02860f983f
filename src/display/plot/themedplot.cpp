#include "display/plot/themedplot.h"

#include "display/look/theme.h"
#include "display/plot/tickdraw.h"

#include <QEvent>
#include <QFontMetrics>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_scale_widget.h>

#include <algorithm>
#include <cmath>

namespace {

QwtScaleDiv division(double low, double high, const QVector<double> &major, const QVector<double> &minor)
{
    QList<double> ticks[QwtScaleDiv::NTickTypes];
    ticks[QwtScaleDiv::MajorTick] = major.toList();
    ticks[QwtScaleDiv::MinorTick] = minor.toList();
    return QwtScaleDiv(low, high, ticks);
}

QVector<double> doubles(const QVector<quint64> &times)
{
    QVector<double> result;
    result.reserve(times.size());
    for (const quint64 time : times)
        result.append(double(time));
    return result;
}

} // namespace

ThemedPlot::ThemedPlot(const QVector<int> &sides, QWidget *parent)
    : QwtPlot(parent), m_sides(sides), m_canvas(new QwtPlotCanvas), m_lines(new QwtPlotGrid)
{
    m_canvas->setFrameStyle(QFrame::Box | QFrame::Plain);
    m_canvas->setLineWidth(1);
    m_canvas->setFocusPolicy(Qt::NoFocus);
    // With a scale like 125 % its picture may be a pixel smaller than the canvas: what is beneath must be painted.
    m_canvas->setAttribute(Qt::WA_OpaquePaintEvent, false);
    setCanvas(m_canvas);
    setAutoReplot(false);
    plotLayout()->setAlignCanvasToScales(true);
    plotLayout()->setSpacing(2);
    for (const int axis : QVector<int>{xBottom} + m_sides) {
        m_draws[axis] = new TickDraw;
        m_draws[axis]->enableComponent(QwtAbstractScaleDraw::Backbone, false); // the canvas has a frame
        setAxisScaleDraw(axis, m_draws[axis]);
        axisWidget(axis)->setMargin(0);
    }
    m_lines->setZ(1);
    m_lines->attach(this);
    ThemedPlot::applyFonts();
}

ThemedPlot::~ThemedPlot() = default;

void ThemedPlot::changeEvent(QEvent *event)
{
    QwtPlot::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFonts();
}

void ThemedPlot::applyFonts()
{
    const QFontMetrics metrics(font());
    for (const int axis : QVector<int>{xBottom} + m_sides) {
        setAxisFont(axis, font());
        QwtText title = axisTitle(axis);
        title.setFont(font());
        setAxisTitle(axis, title);
    }
    const int label = metrics.horizontalAdvance(QStringLiteral("0000.0"));
    for (const int side : m_sides)
        m_draws[side]->setMinimumExtent(label + int(m_draws[side]->maxTickLength() + m_draws[side]->spacing()));
    // Room for half a label at both ends, so that none is cut and the canvas keeps its width.
    const int half = metrics.horizontalAdvance(QStringLiteral("00:00:00")) / 2;
    axisWidget(xBottom)->setMinBorderDist(half, half);
}

void ThemedPlot::applyTheme(const Theme &theme)
{
    QPalette canvas = theme.palette();
    canvas.setColor(QPalette::Window, theme.canvas());
    canvas.setColor(QPalette::WindowText, theme.frame());
    m_canvas->setPalette(canvas);
    QPalette axes = theme.palette();
    axes.setColor(QPalette::WindowText, theme.frame()); // ticks and backbone
    axes.setColor(QPalette::Text, theme.text());        // labels
    for (const int axis : QVector<int>{xBottom} + m_sides) {
        axisWidget(axis)->setPalette(axes);
        QwtText title = axisTitle(axis);
        title.setColor(theme.mutedText());
        setAxisTitle(axis, title);
    }
    m_lines->setMajorPen(theme.gridPen());
    m_lines->setMinorPen(theme.minorGridPen());
}

void ThemedPlot::setTitleOf(int axis, const QString &text)
{
    QwtText title = axisTitle(axis);
    if (title.text() == text)
        return;
    title.setText(text, QwtText::PlainText);
    setAxisTitle(axis, title);
}

void ThemedPlot::setTimeAxis(const TimeAxis &axis, const TimeRange &range)
{
    const QFontMetrics metrics(axisFont(xBottom));
    const TimeTicks ticks = axis.fittingTicks(range, std::max(m_canvas->width(), 50), [&metrics](const QString &text) {
        return metrics.horizontalAdvance(text);
    });
    const QVector<double> major = doubles(ticks.major);
    m_draws[xBottom]->setTicks(major, ticks.labels);
    setAxisScaleDiv(xBottom, division(double(range.from), double(range.to), major, doubles(ticks.minor)));
    setTitleOf(xBottom, ticks.title);
}

void ThemedPlot::setTicks(int axis, const ValueSpan &span, const ValueTicks &ticks, const QString &name)
{
    m_draws[axis]->setTicks(ticks.major, ticks.labels);
    setAxisScaleDiv(axis, division(span.low, span.high, ticks.major, ticks.minor));
    QString title = ticks.unit.isEmpty() ? name : QStringLiteral("%1 [%2]").arg(name, ticks.unit);
    const bool high = axis == xBottom || QFontMetrics(axisFont(axis)).horizontalAdvance(title) <= m_canvas->height();
    if (!high && !ticks.unit.isEmpty())
        title = QStringLiteral("[%1]").arg(ticks.unit); // the legend names the quantity
    setTitleOf(axis, title);
}

void ThemedPlot::setValueAxis(int side, const ValueSpan &span, const QString &name, const QString &unit)
{
    const int height = std::max(m_canvas->height(), 50);
    const int most = std::clamp(height / (QFontMetrics(axisFont(side)).height() * 3), 2, 8);
    setTicks(side, span, valueTicks(span, unit, most), name);
}

quint64 ThemedPlot::timeAt(double x) const
{
    return quint64(std::max(0.0, std::round(canvasMap(xBottom).invTransform(x))));
}
