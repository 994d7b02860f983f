#include "export/rangepicker.h"

#include <QWidget>

#include <qwt_picker_machine.h>
#include <qwt_plot.h>

rangePicker::rangePicker(QWidget *canvas)
    : QwtPlotPicker(QwtPlot::xBottom, QwtPlot::yLeft, QwtPicker::RectRubberBand, QwtPicker::AlwaysOff, canvas)
{
    setStateMachine(new QwtPickerDragRectMachine);
    QPen pen = rubberBandPen();
    pen.setColor(canvas->palette().color(QPalette::Highlight));
    pen.setWidth(2);
    setRubberBandPen(pen);
}
