#pragma once

#include <qwt_plot_picker.h>

/// Drags a stretch of time on a plot whose x axis is in milliseconds since the epoch: selected(QRectF) then has it
/// between left and right.
class rangePicker : public QwtPlotPicker
{
    Q_OBJECT

public:
    explicit rangePicker(QWidget *canvas);
};
