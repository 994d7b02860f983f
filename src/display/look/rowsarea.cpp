#include "display/look/rowsarea.h"

#include "display/look/flowlayout.h"

#include <QEvent>

#include <algorithm>

namespace {
constexpr int manyRows = 10000;
}

RowsArea::RowsArea(int mostRows, int spacing, QWidget *parent) : QScrollArea(parent), m_mostRows(mostRows)
{
    auto *page = new QWidget;
    new FlowLayout(page, spacing);
    setWidget(page);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    viewport()->setAutoFillBackground(false);
    page->setAutoFillBackground(false);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void RowsArea::showAllRows()
{
    m_mostRows = manyRows;
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    updateGeometry();
}

int RowsArea::heightForWidth(int width) const
{
    const QLayout *const rows = widget()->layout();
    if (rows->isEmpty())
        return 0;
    const int all = rows->heightForWidth(width);
    const int pitch = rows->itemAt(0)->sizeHint().height() + rows->spacing();
    return std::min(all, m_mostRows * pitch - rows->spacing());
}

QSize RowsArea::sizeHint() const
{
    return {widget()->sizeHint().width(), heightForWidth(width())};
}

QSize RowsArea::minimumSizeHint() const
{
    return {0, heightForWidth(width())};
}

void RowsArea::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    updateGeometry(); // other rows at another width
}

bool RowsArea::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(watched, event);
}
