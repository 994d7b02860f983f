#include "display/plot/plotoverlay.h"

#include <QEvent>
#include <QPainter>
#include <QResizeEvent>

#include <algorithm>

namespace {
constexpr int padding = 7;
constexpr int distanceFromPointer = 16;
constexpr int mostRows = 16;
} // namespace

PlotOverlay::PlotOverlay(const Theme &theme, QWidget *canvas) : QWidget(canvas), m_theme(theme)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    setGeometry(canvas->rect());
    canvas->installEventFilter(this);
}

bool PlotOverlay::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && event->type() == QEvent::Resize)
        setGeometry(QRect(QPoint(), static_cast<QResizeEvent *>(event)->size()));
    return QWidget::eventFilter(watched, event);
}

void PlotOverlay::setCrosshair(const std::optional<QPointF> &point, const QString &moment, const QVector<Row> &rows)
{
    if (!point && !m_crosshair)
        return;
    m_crosshair = point;
    m_moment = moment;
    m_rows = rows.mid(0, mostRows);
    update();
}

void PlotOverlay::setCursor(int number, const std::optional<double> &x)
{
    if (m_cursors[number] == x)
        return;
    m_cursors[number] = x;
    update();
}

void PlotOverlay::setRubberBand(const std::optional<QRectF> &band)
{
    if (m_band == band)
        return;
    m_band = band;
    update();
}

void PlotOverlay::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    drawCursors(painter);
    if (m_band) {
        painter.setPen(m_theme.rubberBandPen());
        painter.setBrush(m_theme.rubberBandBrush());
        painter.drawRect(*m_band);
    }
    if (!m_crosshair)
        return;
    painter.setPen(m_theme.crosshairPen());
    painter.drawLine(QLineF(m_crosshair->x(), 1, m_crosshair->x(), height() - 1));
    painter.drawLine(QLineF(1, m_crosshair->y(), width() - 1, m_crosshair->y()));
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Row &row : qAsConst(m_rows)) {
        if (!row.hasDot || row.y < 0 || row.y > height())
            continue;
        painter.setPen(QPen(m_theme.canvas(), 1.5));
        painter.setBrush(row.colour);
        painter.drawEllipse(QPointF(m_crosshair->x(), row.y), 4, 4);
    }
    if (!m_band)
        drawReadout(painter);
}

void PlotOverlay::drawCursors(QPainter &painter) const
{
    if (m_cursors[0] && m_cursors[1]) {
        const double left = std::min(*m_cursors[0], *m_cursors[1]);
        const double right = std::max(*m_cursors[0], *m_cursors[1]);
        painter.fillRect(QRectF(left, 0, right - left, height()), m_theme.cursorBand());
    }
    const QFontMetrics metrics(font());
    for (int i = 0; i < 2; ++i) {
        if (!m_cursors[i])
            continue;
        const double x = *m_cursors[i];
        const QPen pen = m_theme.cursorPen(i);
        painter.setPen(pen);
        painter.drawLine(QLineF(x, 0, x, height()));
        const QString text = QString::number(i + 1);
        const double side = metrics.height() + 2;
        const QRectF flag(i == 0 ? x - side : x, height() - side, side, side);
        painter.fillRect(flag, pen.color());
        painter.setPen(m_theme.canvas());
        painter.drawText(flag, Qt::AlignCenter, text);
    }
}

void PlotOverlay::drawReadout(QPainter &painter) const
{
    if (m_moment.isEmpty())
        return;
    const QFontMetrics metrics(font());
    const int key = metrics.height();
    int names = 0;
    int values = 0;
    for (const Row &row : m_rows) {
        names = std::max(names, metrics.horizontalAdvance(row.name));
        values = std::max(values, metrics.horizontalAdvance(row.value));
    }
    const int wide = std::max(metrics.horizontalAdvance(m_moment), m_rows.isEmpty() ? 0 : key + names + key + values);
    const QSizeF size(wide + 2 * padding, metrics.height() * (m_rows.size() + 1) + 2 * padding);
    // Beside the pointer, on the side with room.
    QPointF corner(m_crosshair->x() + distanceFromPointer, m_crosshair->y() + distanceFromPointer);
    if (corner.x() + size.width() > width() - 2)
        corner.setX(m_crosshair->x() - distanceFromPointer - size.width());
    if (corner.y() + size.height() > height() - 2)
        corner.setY(m_crosshair->y() - distanceFromPointer - size.height());
    corner.setX(std::max(2.0, corner.x()));
    corner.setY(std::max(2.0, corner.y()));

    QColor background = m_theme.boxBackground();
    background.setAlpha(236);
    painter.setPen(QPen(m_theme.frame(), 1));
    painter.setBrush(background);
    painter.drawRoundedRect(QRectF(corner, size), 4, 4);
    painter.setPen(m_theme.text());
    double y = corner.y() + padding;
    const double x = corner.x() + padding;
    painter.drawText(QRectF(x, y, wide, metrics.height()), Qt::AlignLeft | Qt::AlignVCenter, m_moment);
    for (const Row &row : m_rows) {
        y += metrics.height();
        painter.fillRect(QRectF(x, y + metrics.height() / 2.0 - 1.5, key * 0.7, 3), row.colour);
        painter.setPen(m_theme.mutedText());
        painter.drawText(QRectF(x + key, y, names, metrics.height()), Qt::AlignLeft | Qt::AlignVCenter, row.name);
        painter.setPen(m_theme.text());
        painter.drawText(QRectF(x, y, wide, metrics.height()), Qt::AlignRight | Qt::AlignVCenter, row.value);
    }
}
