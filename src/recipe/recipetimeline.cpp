#include "recipe/recipetimeline.h"

#include "base/inks.h"
#include "base/plaintip.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

using timelinelayout::Step;

namespace {

QColor faint(QColor colour, double alpha)
{
    colour.setAlphaF(alpha);
    return colour;
}

} // namespace

RecipeTimeline::RecipeTimeline(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Recipe over time"));
}

void RecipeTimeline::setRecipe(const Recipe &recipe)
{
    m_recipe = recipe;
    m_layout = timelinelayout::layoutOf(recipe);
    setAccessibleDescription(
        tr("Steps: %1, in %2").arg(m_layout.steps.size()).arg(timelinelayout::duration(m_layout.totalSeconds)));
    update();
}

void RecipeTimeline::setCurrentStep(int step)
{
    m_current = step;
    update();
}

void RecipeTimeline::setBrokenSteps(const QSet<int> &steps)
{
    m_broken = steps;
    update();
}

QSize RecipeTimeline::sizeHint() const
{
    return {60 * fontMetrics().averageCharWidth(), fontMetrics().lineSpacing() * 8};
}

QSize RecipeTimeline::minimumSizeHint() const
{
    return {30 * fontMetrics().averageCharWidth(), fontMetrics().lineSpacing() * 8};
}

int RecipeTimeline::gutter() const
{
    return fontMetrics().horizontalAdvance(QStringLiteral("1234.56 MHz")) + fontMetrics().averageCharWidth();
}

RecipeTimeline::Lanes RecipeTimeline::lanes() const
{
    const double line = fontMetrics().lineSpacing();
    const double right = 2.0 * fontMetrics().averageCharWidth();
    const QRectF inner(gutter(), 1, qMax(10.0, width() - gutter() - right), height() - 2.0);
    Lanes lanes;
    lanes.names = QRectF(inner.left(), inner.top(), inner.width(), line * 1.5);
    lanes.ticks = QRectF(inner.left(), inner.bottom() - line * 1.25, inner.width(), line * 1.25);
    const double rest = lanes.ticks.top() - lanes.names.bottom() - 3;
    lanes.frequency = QRectF(inner.left(), lanes.names.bottom() + 3, inner.width(), rest * 0.5 - 2);
    lanes.threshold = QRectF(inner.left(), lanes.frequency.bottom() + 3, inner.width(), rest * 0.5 - 2);
    return lanes;
}

QRectF RecipeTimeline::across(const QRectF &lane, const Step &step) const
{
    const double left = lane.left() + step.left * lane.width();
    return {left, lane.top(), qMax(1.0, lane.left() + step.right * lane.width() - left), lane.height()};
}

int RecipeTimeline::stepAt(const QPoint &point) const
{
    const Lanes all = lanes();
    if (point.y() > all.threshold.bottom())
        return -1;
    return m_layout.stepAt((point.x() - all.names.left()) / all.names.width());
}

void RecipeTimeline::mousePressEvent(QMouseEvent *event)
{
    const int step = stepAt(event->pos());
    if (event->button() == Qt::LeftButton && step >= 0)
        emit stepClicked(step);
}

bool RecipeTimeline::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        const QPoint point = static_cast<QHelpEvent *>(event)->pos();
        const int step = stepAt(point);
        QToolTip::showText(mapToGlobal(point), step < 0 ? QString() : plainTip(tip(step)), this);
        return true;
    }
    return QWidget::event(event);
}

QString RecipeTimeline::tip(int step) const
{
    const Step &place = m_layout.steps.at(step);
    const qint32 threshold = m_recipe.threshold(step);
    return tr("Step %1: %2\n%3, from %4 on\n%5, threshold %6%7")
        .arg(step + 1)
        .arg(m_recipe.stepName(step), timelinelayout::duration(place.seconds),
             timelinelayout::duration(place.startSeconds), timelinelayout::frequencyText(m_recipe.frequency(step)),
             threshold > 0 ? tr("%1 V").arg(threshold) : tr("disabled"),
             m_broken.contains(step) ? tr("\nThis step breaks a rule.") : QString());
}

void RecipeTimeline::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Lanes all = lanes();
    painter.setPen(faint(palette().color(QPalette::WindowText), 0.2));
    painter.setBrush(palette().brush(QPalette::Base));
    if (m_layout.steps.isEmpty()) {
        const QRectF room(0.5, all.names.top(), width() - 1.0, all.ticks.bottom() - all.names.top());
        painter.drawRect(room);
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(room, Qt::AlignCenter, tr("No steps yet. Set one up below and press \"Add step\"."));
        return;
    }
    for (const QRectF &lane : {all.names, all.frequency, all.threshold})
        painter.drawRect(lane);
    paintSteps(painter, all);
    paintFrequency(painter, all.frequency);
    paintThreshold(painter, all.threshold);
    paintScales(painter, all);
}

void RecipeTimeline::paintSteps(QPainter &painter, const Lanes &all) const
{
    const QColor accent = palette().color(QPalette::Highlight);
    const QColor ink = palette().color(QPalette::Text);
    const QColor bad = inks::bad(palette());
    for (int i = 0; i < m_layout.steps.size(); ++i) {
        const Step &step = m_layout.steps.at(i);
        const QRectF box = across(all.names, step);
        const bool current = i == m_current;
        if (current) {
            for (const QRectF &lane : {all.frequency, all.threshold})
                painter.fillRect(across(lane, step), faint(accent, 0.12));
        }
        painter.fillRect(box, current ? accent : faint(accent, i % 2 == 0 ? 0.28 : 0.16));
        if (m_broken.contains(i))
            painter.fillRect(QRectF(box.left(), box.bottom() - 3, box.width(), 3), bad);
        painter.fillRect(QRectF(box.left(), box.top(), (step.skipRight - step.left) * all.names.width(), box.height()),
                         QBrush(faint(ink, 0.35), Qt::BDiagPattern));
        painter.setPen(QPen(palette().color(QPalette::Base), 1));
        painter.drawLine(box.topRight(), box.bottomRight());
        const QRectF room = box.adjusted(4, 0, -4, 0);
        const QString number = QString::number(i + 1);
        const QString name = m_recipe.stepName(i);
        painter.setPen(current ? palette().color(QPalette::HighlightedText) : ink);
        if (room.width() >= fontMetrics().horizontalAdvance(QStringLiteral("MMM…")))
            painter.drawText(room, Qt::AlignCenter, fontMetrics().elidedText(name, Qt::ElideRight, int(room.width())));
        else if (room.width() + 6 >= fontMetrics().horizontalAdvance(number))
            painter.drawText(box, Qt::AlignCenter, number);
    }
}

void RecipeTimeline::paintFrequency(QPainter &painter, const QRectF &lane) const
{
    QPen pen(inks::accent(palette()), 2);
    pen.setCapStyle(Qt::FlatCap);
    painter.setPen(pen);
    QPointF last;
    for (int i = 0; i < m_layout.steps.size(); ++i) {
        const Step &step = m_layout.steps.at(i);
        const QRectF box = across(lane, step);
        const double y = lane.bottom() - step.frequency * lane.height();
        if (i > 0)
            painter.drawLine(last, QPointF(box.left(), y));
        last = QPointF(box.right(), y);
        painter.drawLine(QPointF(box.left(), y), last);
    }
}

void RecipeTimeline::paintThreshold(QPainter &painter, const QRectF &lane) const
{
    const QColor colour = inks::warning(palette());
    for (const Step &step : m_layout.steps) {
        if (step.threshold <= 0)
            continue;
        const QRectF box = across(lane, step);
        const double height = qMax(2.0, step.threshold * (lane.height() - 3));
        const QRectF bar(box.left(), lane.bottom() - height, box.width(), height);
        painter.fillRect(bar, faint(colour, 0.3));
        painter.setPen(QPen(colour, 1.5));
        painter.drawLine(bar.topLeft(), bar.topRight());
    }
    if (m_layout.highestThreshold == 0) {
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(lane, Qt::AlignCenter, tr("No step has a pulse threshold"));
    }
}

void RecipeTimeline::paintScales(QPainter &painter, const Lanes &all) const
{
    const int gap = fontMetrics().averageCharWidth();
    const auto beside = [&](const QRectF &lane, const QString &top, const QString &bottom) {
        const QRectF box(0, lane.top() - 2, lane.left() - gap, lane.height() + 4);
        if (bottom.isEmpty() || box.height() < 2 * fontMetrics().ascent()) {
            painter.drawText(box, Qt::AlignRight | Qt::AlignVCenter, top);
            return;
        }
        painter.drawText(box, Qt::AlignRight | Qt::AlignTop, top);
        painter.drawText(box, Qt::AlignRight | Qt::AlignBottom, bottom);
    };
    painter.setPen(palette().color(QPalette::WindowText));
    const bool one = m_layout.lowestFrequency == m_layout.highestFrequency;
    beside(all.frequency, timelinelayout::frequencyText(m_layout.highestFrequency),
           one ? QString() : timelinelayout::frequencyText(m_layout.lowestFrequency));
    beside(all.threshold, m_layout.highestThreshold > 0 ? tr("%1 V").arg(m_layout.highestThreshold) : tr("Threshold"),
           m_layout.highestThreshold > 0 ? tr("0 V") : QString());
    beside(all.names, tr("Steps"), QString());
    const int widest = fontMetrics().horizontalAdvance(QStringLiteral("12 min 30 s")) + 2 * gap;
    const int most = qBound(1, int(all.ticks.width()) / widest, 8);
    for (const timelinelayout::Tick &tick : timelinelayout::ticks(m_layout.totalSeconds, most)) {
        const double x = all.ticks.left() + tick.place * all.ticks.width();
        painter.drawLine(QPointF(x, all.threshold.bottom()), QPointF(x, all.threshold.bottom() + 3));
        const double half = widest / 2.0;
        const double left = qBound(0.0, x - half, qMax(0.0, width() - 2 * half));
        const QRectF room(left, all.ticks.top() + 2, 2 * half, all.ticks.height() - 2);
        const bool clamped = left < x - half - 1;
        painter.drawText(room, (clamped ? Qt::AlignRight : Qt::AlignHCenter) | Qt::AlignVCenter, tick.text);
    }
}
