#pragma once

#include "display/look/theme.h"

#include <QString>
#include <QVector>
#include <QWidget>

#include <optional>

/// What moves with the mouse, above the canvas of a plot: the crosshair with its readout, the two cursors and the
/// rubber band. Drawing it never draws a curve again. Transparent for the mouse; child of the canvas. Everything is in
/// its pixels.
class PlotOverlay : public QWidget
{
    Q_OBJECT

public:
    struct Row
    {
        QColor colour;
        QString name;
        QString value;
        double y = 0; // of a dot on the curve
        bool hasDot = false;
    };

    PlotOverlay(const Theme &theme, QWidget *canvas);

    void setCrosshair(const std::optional<QPointF> &point, const QString &moment = QString(),
                      const QVector<Row> &rows = {});
    void setCursor(int number, const std::optional<double> &x);
    void setRubberBand(const std::optional<QRectF> &band);
    using QWidget::setCursor;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void drawCursors(QPainter &painter) const;
    void drawReadout(QPainter &painter) const;

    const Theme &m_theme;
    std::optional<QPointF> m_crosshair;
    QString m_moment;
    QVector<Row> m_rows;
    std::optional<double> m_cursors[2];
    std::optional<QRectF> m_band;
};
