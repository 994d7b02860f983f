#include "display/chartplot.h"

#include "display/theme.h"
#include "display/tickdraw.h"

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
    for (const quint64 time : times)
        result.append(double(time));
    return result;
}

} // namespace

ChartPlot::ChartPlot(QWidget *parent)
    : QwtPlot(parent), m_canvas(new QwtPlotCanvas), m_grid(new QwtPlotGrid), m_bottom(new TickDraw),
      m_left(new TickDraw)
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
    setAxisScaleDraw(xBottom, m_bottom);
    setAxisScaleDraw(yLeft, m_left);
    for (const int axis : {int(xBottom), int(yLeft)})
        axisWidget(axis)->setMargin(0);
    for (TickDraw *draw : {m_bottom, m_left})
        draw->enableComponent(QwtAbstractScaleDraw::Backbone, false); // the canvas has a frame
    m_grid->setZ(1);
    m_grid->enableX(false);
    m_grid->attach(this);
    applyFonts();
}

ChartPlot::~ChartPlot() = default;

void ChartPlot::changeEvent(QEvent *event)
{
    QwtPlot::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFonts();
}

void ChartPlot::applyFonts()
{
    const QFontMetrics metrics(font());
    for (const int axis : {int(xBottom), int(yLeft)}) {
        setAxisFont(axis, font());
        QwtText title = axisTitle(axis);
        title.setFont(font());
        setAxisTitle(axis, title);
    }
    m_left->setMinimumExtent(metrics.horizontalAdvance(QStringLiteral("0000.0")) +
                             int(m_left->maxTickLength() + m_left->spacing()));
    const int half = metrics.horizontalAdvance(QStringLiteral("00:00:00")) / 2;
    axisWidget(xBottom)->setMinBorderDist(half, half);
}

void ChartPlot::applyTheme(const Theme &theme)
{
    QPalette canvas = theme.palette();
    canvas.setColor(QPalette::Window, theme.canvas());
    canvas.setColor(QPalette::WindowText, theme.frame());
    m_canvas->setPalette(canvas);
    QPalette axes = theme.palette();
    axes.setColor(QPalette::WindowText, theme.frame()); // ticks and backbone
    axes.setColor(QPalette::Text, theme.text());        // labels
    for (const int axis : {int(xBottom), int(yLeft)}) {
        axisWidget(axis)->setPalette(axes);
        QwtText title = axisTitle(axis);
        title.setColor(theme.mutedText());
        setAxisTitle(axis, title);
    }
    m_grid->setMajorPen(theme.gridPen());
    m_grid->setMinorPen(theme.minorGridPen());
}

void ChartPlot::setTitleOf(int axis, const QString &text)
{
    QwtText title = axisTitle(axis);
    if (title.text() == text)
        return;
    title.setText(text, QwtText::PlainText);
    setAxisTitle(axis, title);
}

void ChartPlot::setTimeAxis(const TimeAxis &axis, const TimeRange &range)
{
    const QFontMetrics metrics(axisFont(xBottom));
    const TimeTicks ticks = axis.fittingTicks(range, std::max(m_canvas->width(), 50), [&metrics](const QString &text) {
        return metrics.horizontalAdvance(text);
    });
    const QVector<double> major = doubles(ticks.major);
    m_bottom->setTicks(major, ticks.labels);
    setAxisScaleDiv(xBottom, division(double(range.from), double(range.to), major, doubles(ticks.minor)));
    setTitleOf(xBottom, ticks.title);
}

void ChartPlot::setBottomAxis(const ValueSpan &span, double offset, const QString &name, const QString &unit)
{
    const QFontMetrics metrics(axisFont(xBottom));
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("-0000.00  "));
    const int most = std::clamp(m_canvas->width() / std::max(1, labelWidth), 2, 8);
    ValueTicks ticks = valueTicks({span.low - offset, span.high - offset}, unit, most);
    for (QVector<double> *list : {&ticks.major, &ticks.minor})
        for (double &tick : *list)
            tick += offset;
    m_bottom->setTicks(ticks.major, ticks.labels);
    setAxisScaleDiv(xBottom, division(span.low, span.high, ticks.major, ticks.minor));
    setTitleOf(xBottom, QStringLiteral("%1 [%2]").arg(name, ticks.unit));
}

void ChartPlot::setLeftAxis(const ValueSpan &span, const QString &name, const QString &unit)
{
    const int height = std::max(m_canvas->height(), 50);
    const int most = std::clamp(height / (QFontMetrics(axisFont(yLeft)).height() * 3), 2, 8);
    const ValueTicks ticks = valueTicks(span, unit, most);
    m_left->setTicks(ticks.major, ticks.labels);
    setAxisScaleDiv(yLeft, division(span.low, span.high, ticks.major, ticks.minor));
    setTitleOf(yLeft, ticks.unit.isEmpty() ? name : QStringLiteral("%1 [%2]").arg(name, ticks.unit));
}

quint64 ChartPlot::timeAt(double x) const
{
    return quint64(std::max(0.0, std::round(xMap().invTransform(x))));
}
