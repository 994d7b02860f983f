#pragma once

#include "display/plot/plotmodel.h"

#include <QStringList>

/// One line of a readout: a colour key (the sensor's kept colour and number) and words.
struct ReadoutRow
{
    const PlotSensor *sensor = nullptr;
    PlotView::Axis axis = PlotView::Left;
    QString name;
    QString value;
};

/// What the crosshair says at a moment: the moment and the value of every visible curve there. Values are those of the
/// nearest sample within `reach`, or the extremes of the pixel when single samples are not at hand.
struct CrosshairReadout
{
    QString moment;
    QVector<ReadoutRow> rows;
};
CrosshairReadout crosshairReadout(const PlotModel &model, quint64 time, quint64 reach);

/// What the two cursors say: the moments, their distance and its frequency, and for every visible curve its values at
/// the cursors and the statistics between them.
struct CursorReadout
{
    struct Row
    {
        const PlotSensor *sensor = nullptr;
        PlotView::Axis axis = PlotView::Left;
        QStringList cells; // as `columns`
    };
    QString summary; // "Δt 1.234567 s, 1/Δt 810.0 mHz"
    QString moments[2];
    QStringList columns;
    QVector<Row> rows;

    /// Tab-separated lines, for pasting into a table.
    QString toText() const;
};
CursorReadout cursorReadout(const PlotModel &model);

/// The words over an empty plot: what, why, what next. Empty when there is something to see.
struct EmptyState
{
    QString text;
    QString button;
};
EmptyState emptyState(const PlotModel &model);

/// What a marker's or band's tooltip says.
QString eventText(const PlotModel &model, const PlotSensor &sensor, const EventRow &event);
QString runText(const PlotModel &model, const PlotSensor &sensor, const RunRow &run);
