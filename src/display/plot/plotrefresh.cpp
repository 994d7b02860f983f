#include "base/clock.h"
#include "display/plot/arcplotdisplayprivate.h"
#include "display/plot/plotreadout.h"

#include <QPainter>
#include <QThreadPool>
#include <QVBoxLayout>
#include <qwt_plot_canvas.h>

namespace {
constexpr int tickMs = 100;
constexpr int frameMs = 15;
constexpr qint64 restAfterPaint = 5;               // times the time that painting took
constexpr qint64 sampleBudget = qint64(128) << 20; // of all sensors together
} // namespace

arcPlotDisplay::Private::Private(arcPlotDisplay *display, Theme &windowTheme)
    : q(display), theme(windowTheme), pool(new QThreadPool(this)), toolBar(new PlotToolBar), figure(new PlotFigure),
      legend(new LegendBar), cursors(new CursorPanel)
{
    clock.start();
    pool->setMaxThreadCount(2);
    auto *layout = new QVBoxLayout(q);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(toolBar);
    layout->addWidget(figure, 1);
    layout->addWidget(legend);
    layout->addWidget(cursors);
    cursors->hide();
    figure->setMinimumSize(figure->fontMetrics().averageCharWidth() * 36, figure->fontMetrics().lineSpacing() * 7);
    overlay = new PlotOverlay(theme, figure->plotCanvas());
    interaction = new PlotInteraction(figure, this);

    empty = new EmptyPage(figure, theme);
    connect(empty, &EmptyPage::pressed, this, &Private::pressEmptyButton);

    ticker.setInterval(tickMs);
    connect(&ticker, &QTimer::timeout, this, &Private::tick);
    drawTimer.setSingleShot(true);
    drawTimer.setInterval(frameMs);
    connect(&drawTimer, &QTimer::timeout, this, &Private::redraw);
    connect(&theme, &Theme::changed, this, &Private::themeChanged);
    connectTools();
}

arcPlotDisplay::Private::~Private()
{
    // The readings hold what they need; nobody waits for their results any more.
    model.sensors.clear();
    pool->clear();
    pool->waitForDone();
}

void arcPlotDisplay::Private::tick()
{
    refreshSources();
    if (model.update())
        dirty = true;
    if (dirty) {
        // Sensors are downloaded in this thread, so a picture that is slow to paint is painted less often.
        if (now() - lastRedraw >= figure->paintMs() * restAfterPaint)
            redraw();
    } else {
        toolBar->show(model); // "14 s behind" grows while the view stands still
    }
}

void arcPlotDisplay::Private::refreshSources()
{
    const ColumnGrid grid = figure->grid(model.view.visible());
    for (const auto &sensor : model.sensors) {
        if (sensor->visible)
            sensor->series->refresh(grid);
    }
}

void arcPlotDisplay::Private::redrawSoon()
{
    dirty = true;
    if (q->isVisible() && !drawTimer.isActive())
        drawTimer.start();
}

void arcPlotDisplay::Private::redraw()
{
    if (!q->isVisible())
        return;
    drawTimer.stop();
    dirty = false;
    lastRedraw = now();
    model.now = quint64(systemClock().utcMs()) * 1000;
    model.update();
    refreshSources();
    figure->show(model, theme);
    legend->show(model, theme);
    toolBar->show(model);
    updateOverlay();
    showEmptyState();
    if (model.view.visible() != announcedRange) {
        announcedRange = model.view.visible();
        emit q->setCurrentDisplayWindow(number, announcedRange.from, announcedRange.to);
    }
    if (model.view.isFollowing() != announcedFollowing) {
        announcedFollowing = model.view.isFollowing();
        emit q->followingChanged(announcedFollowing);
    }
}

/// Rows that wrap need their height also where nobody asks what they need at a width, as in a splitter.
void arcPlotDisplay::Private::fitHeight()
{
    int least = figure->minimumHeight();
    for (const QWidget *row : {static_cast<QWidget *>(toolBar), static_cast<QWidget *>(legend)})
        least += row->isVisibleTo(q) ? row->heightForWidth(q->width()) : 0;
    if (least != q->minimumHeight())
        q->setMinimumHeight(least);
}

void arcPlotDisplay::Private::updateOverlay()
{
    bool any = false;
    for (int i = 0; i < 2; ++i) {
        std::optional<double> x;
        if (model.cursors[i])
            x = figure->xOf(*model.cursors[i]);
        any = any || x;
        overlay->setCursor(i, x);
    }
    if (any)
        cursors->show(cursorReadout(model), theme);
    cursors->setVisible(any);
    if (pointer)
        hover(*pointer);
}

void arcPlotDisplay::Private::showEmptyState()
{
    EmptyState state = emptyState(model);
    if (model.home && !model.sensors.empty() && model.view.data().isEmpty())
        state = {}; // about to be read
    if (!state.text.isEmpty() && !emptyText.isEmpty())
        state = {emptyText, emptyButtonText};
    empty->show(state.text, state.button);
}

void arcPlotDisplay::Private::pressEmptyButton()
{
    // What the plot can mend itself it mends; the rest is the owner's.
    bool mended = false;
    if (emptyText.isEmpty() && !model.sensors.empty()) {
        bool anyVisible = false;
        for (const auto &sensor : model.sensors)
            anyVisible = anyVisible || sensor->visible;
        for (const auto &sensor : model.sensors) {
            if (anyVisible)
                sensor->axisHidden[0] = sensor->axisHidden[1] = false;
            mended = mended || anyVisible;
        }
    }
    redrawSoon();
    if (!mended)
        emit q->emptyStateButtonClicked();
}

void arcPlotDisplay::Private::themeChanged()
{
    figure->forgetTheme();
    redrawSoon();
}

void arcPlotDisplay::Private::adoptQuantities()
{
    for (const auto &sensor : model.sensors) {
        sensor->series->setQuantities(model.shownQuantities());
        sensor->series->setBudget(sampleBudget / qint64(model.sensors.size()));
    }
    redrawSoon();
}

QImage arcPlotDisplay::Private::render(const QSize &size, qreal scale, Theme::Kind kind)
{
    Theme imageTheme(kind);
    QWidget page;
    page.setAttribute(Qt::WA_DontShowOnScreen);
    page.setPalette(imageTheme.palette());
    page.setFont(q->font());
    auto *layout = new QVBoxLayout(&page);
    layout->setContentsMargins(6, 10, 6, 6);
    layout->setSpacing(2);
    auto *picture = new PlotFigure(&page);
    picture->plotCanvas()->setPaintAttribute(QwtPlotCanvas::BackingStore, false);
    picture->setPixelRatio(scale);
    auto *entries = new LegendBar(&page);
    entries->showAllRows();
    layout->addWidget(picture, 1);
    layout->addWidget(entries);
    page.setFixedSize(size);
    entries->show(model, imageTheme);
    page.show();
    layout->activate();
    model.update();
    picture->show(model, imageTheme);
    picture->show(model, imageTheme); // the ticks depend on the size that the first one settles

    PlotOverlay above(imageTheme, picture->plotCanvas());
    for (int i = 0; i < 2; ++i)
        if (model.cursors[i])
            above.setCursor(i, picture->xOf(*model.cursors[i]));
    above.show();

    QImage image(size * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(imageTheme.window());
    QPainter painter(&image);
    page.render(&painter);
    return image;
}
