#pragma once

#include "display/look/rowsarea.h"
#include "display/look/theme.h"
#include "display/plot/plotmodel.h"

class QToolButton;

/// The legend below a plot: one entry for each sensor and quantity with its line. A click hides the curve and dims the
/// entry. Entries wrap, and more than a few rows of them scroll; the bar is rebuilt only when the curves change. GUI
/// thread.
class LegendBar : public RowsArea
{
    Q_OBJECT

public:
    explicit LegendBar(QWidget *parent = nullptr);

    void show(const PlotModel &model, const Theme &theme);
    using QWidget::show;

signals:
    void toggled(const QString &serial, int axis);

private:
    struct Entry
    {
        QString serial;
        int axis;
        QString text;
        QPen pen;
        bool hidden;
        friend bool operator==(const Entry &a, const Entry &b)
        {
            return a.serial == b.serial && a.axis == b.axis && a.text == b.text && a.pen == b.pen &&
                   a.hidden == b.hidden;
        }
    };
    void rebuild(const Theme &theme);

    QVector<Entry> m_entries;
};
