#include "base/scrollframe.h"

#include <QBoxLayout>
#include <QEvent>
#include <QScrollBar>
#include <QSplitter>
#include <QStackedLayout>

#include <algorithm>
#include <numeric>

namespace {

constexpr int leastLines = 6;
constexpr int leastLetters = 30;

int leastHeight(const QWidget &widget, int width);

/// What a layout says of its height at a width is what it would like to have, for widgets inside others; a column is
/// added up here.
int leastHeight(const QLayout &layout, int width)
{
    if (const auto *stack = qobject_cast<const QStackedLayout *>(&layout)) {
        int height = 0;
        for (int i = 0; i < stack->count(); ++i)
            height = std::max(height, leastHeight(*stack->widget(i), width));
        return height;
    }
    const auto *box = qobject_cast<const QBoxLayout *>(&layout);
    if (!box || (box->direction() != QBoxLayout::TopToBottom && box->direction() != QBoxLayout::BottomToTop))
        return layout.hasHeightForWidth() ? layout.minimumHeightForWidth(width) : layout.minimumSize().height();
    const QMargins margins = layout.contentsMargins();
    const int inside = width - margins.left() - margins.right();
    int height = margins.top() + margins.bottom() - box->spacing();
    for (int i = 0; i < layout.count(); ++i) {
        QLayoutItem *const item = layout.itemAt(i);
        if (item->isEmpty()) {
            height += item->spacerItem() ? item->minimumSize().height() : 0;
            continue;
        }
        if (item->widget())
            height += leastHeight(*item->widget(), inside);
        else
            height += item->layout() ? leastHeight(*item->layout(), inside) : item->minimumSize().height();
        height += box->spacing();
    }
    return height;
}

/// The parts of a splitter, each at its own share of the width: a text may wrap there that would not wrap else.
int leastHeight(const QSplitter &splitter, int width)
{
    const QList<int> sizes = splitter.sizes();
    const int total = std::accumulate(sizes.begin(), sizes.end(), 0);
    const bool isRow = splitter.orientation() == Qt::Horizontal;
    int height = 0;
    for (int i = 0; i < splitter.count(); ++i) {
        if (splitter.widget(i)->isHidden())
            continue;
        if (isRow)
            height =
                std::max(height, leastHeight(*splitter.widget(i), total > 0 ? width * sizes.at(i) / total : width));
        else
            height += leastHeight(*splitter.widget(i), width) + (i > 0 ? splitter.handleWidth() : 0);
    }
    return height;
}

int leastHeight(const QWidget &widget, int width)
{
    if (widget.minimumHeight() > 0)
        return widget.minimumHeight(); // what was set counts more than what would be needed, in layouts as well
    int height = widget.minimumSizeHint().height();
    if (const auto *splitter = qobject_cast<const QSplitter *>(&widget))
        height = std::max(height, leastHeight(*splitter, width));
    else if (widget.layout())
        height = leastHeight(*widget.layout(), width);
    else if (widget.hasHeightForWidth())
        height = widget.heightForWidth(width);
    return qMin(height, widget.maximumHeight());
}

} // namespace

ScrollFrame::ScrollFrame(QWidget *content, QWidget *parent) : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setWidget(content);
}

QSize ScrollFrame::sizeHint() const
{
    return widget()->sizeHint();
}

QSize ScrollFrame::minimumSizeHint() const
{
    const QSize small(fontMetrics().averageCharWidth() * leastLetters, fontMetrics().lineSpacing() * leastLines);
    return small.boundedTo(widget()->minimumSizeHint().expandedTo(QSize(1, 1)));
}

void ScrollFrame::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    fit();
}

bool ScrollFrame::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show)) {
        updateGeometry();
        fit();
    }
    return QScrollArea::eventFilter(watched, event);
}

QSize ScrollFrame::leastOf(int width) const
{
    QSize least = widget()->minimumSizeHint().expandedTo(widget()->minimumSize());
    if (widget()->layout())
        least.setHeight(leastHeight(*widget(), qMax(width, least.width())));
    return least;
}

void ScrollFrame::fit()
{
    const QSize before = widget()->size();
    fitOnce();
    if (widget()->size() != before)
        fitOnce(); // its splitters have other shares now
}

void ScrollFrame::fitOnce()
{
    QSize room = maximumViewportSize();
    QSize least = leastOf(room.width());
    bool beside = false;
    bool below = false;
    for (int i = 0; i < 2; ++i) { // one bar may make the other one necessary
        if (!beside && least.height() > room.height()) {
            beside = true;
            room.rwidth() -= verticalScrollBar()->sizeHint().width();
        }
        if (!below && least.width() > room.width()) {
            below = true;
            room.rheight() -= horizontalScrollBar()->sizeHint().height();
        }
        least = leastOf(room.width());
    }
    widget()->resize(room.expandedTo(least));
}
