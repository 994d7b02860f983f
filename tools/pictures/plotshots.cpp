// Renders the time-series plot from simulated data into a folder, light and dark, at the screen's scale. Run it with
// QT_SCALE_FACTOR=2 for the second set.

#include "data/valuetype.h"
#include "demosource.h"
#include "display/plot/arcplotdisplay.h"
#include "pictures.h"

#include <QMouseEvent>

#include <functional>

namespace {

using pictures::settle;

constexpr quint64 second = 1000000;
constexpr quint64 end = 1709290800 * second; // 1 March 2024, 11:00 UTC

struct Scene
{
    const char *name;
    QSize size;
    std::function<void(arcPlotDisplay &)> prepare;
};

void addSensors(arcPlotDisplay &plot, int count, int seconds)
{
    for (int i = 0; i < count; ++i) {
        const QString serial = QStringLiteral("SN-00%1").arg(12 + i);
        const Demo shown = demo(end, seconds, quint64(i + 3));
        plot.addSensor(serial, QStringLiteral("%1 Chamber %2").arg(serial).arg(i + 1), shown.source,
                       Theme::sensorColour(i));
        plot.setRecords(serial, shown.records);
    }
}

void pointAt(arcPlotDisplay &plot, double x, double y)
{
    for (QWidget *canvas : plot.findChildren<QWidget *>()) {
        if (qstrcmp(canvas->metaObject()->className(), "QwtPlotCanvas"))
            continue;
        const QPointF point(canvas->width() * x, canvas->height() * y);
        QMouseEvent move(QEvent::MouseMove, point, canvas->mapToGlobal(point.toPoint()), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QApplication::sendEvent(canvas, &move);
    }
}

void press(arcPlotDisplay &plot, int key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&plot, &event);
}

std::vector<Scene> scenes()
{
    return {
        {"live",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 2, 1200);
             plot.setSpan(300 * second);
         }},
        {"voltage-current",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 1, 1200);
             plot.setQuantities(Voltage, Current);
             plot.setSpan(300 * second);
         }},
        {"whole-range",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 3, 12 * 3600);
             plot.showWholeRange();
         }},
        {"crosshair",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 2, 1200);
             plot.setQuantities(Voltage, Current);
             plot.setVisibleRange({end - 200 * second, end - 140 * second});
         }},
        {"cursors",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 1, 1200);
             plot.setTimeMode(TimeMode::Local);
             plot.setQuantities(Voltage, Current);
             plot.setVisibleRange({end - 300 * second, end - 100 * second});
         }},
        {"samples",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 1, 600);
             plot.setVisibleRange({end - 152 * second, end - 150 * second});
         }},
        {"microseconds",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 1, 600);
             plot.setTimeMode(TimeMode::Elapsed);
             plot.setVisibleRange({end - 150 * second, end - 150 * second + 900});
         }},
        {"gaps",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             auto source = std::make_shared<MemorySource>();
             source->add(1, evenSamples(end - 280 * second, 1000, second / 10, 400));
             source->add(2, evenSamples(end - 150 * second, 700, second / 10, 500));
             source->add(3, {sampleAt(end - 60 * second, 450)});
             plot.addSensor(QStringLiteral("SN-0012"), QStringLiteral("SN-0012 Chamber 1"), source,
                            Theme::sensorColour(0));
             plot.setConnected(QStringLiteral("SN-0012"), true, 0);
             plot.setConnected(QStringLiteral("SN-0012"), false, end - 60 * second);
             plot.setSpan(300 * second);
         }},
        {"many-sensors",
         {1400, 800},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 8, 600);
             plot.setSpan(300 * second);
         }},
        {"narrow",
         {560, 420},
         [](arcPlotDisplay &plot) {
             addSensors(plot, 2, 600);
             plot.setQuantities(Voltage, PulseFrequency);
             plot.setSpan(300 * second);
         }},
        {"empty", {1100, 640}, [](arcPlotDisplay &) {}},
        {"no-data",
         {1100, 640},
         [](arcPlotDisplay &plot) {
             plot.addSensor(QStringLiteral("SN-0012"), QStringLiteral("SN-0012 Chamber 1"),
                            std::make_shared<MemorySource>(), Theme::sensorColour(0));
         }},
    };
}

} // namespace

int main(int argc, char **argv)
{
    pictures::Program program(argc, argv);
    return program.run([&program](Theme &theme) {
        for (const Scene &scene : scenes()) {
            if (!program.wants(scene.name))
                continue;
            const QString name = QLatin1String(scene.name);
            arcPlotDisplay plot(theme);
            bool reading = false;
            QObject::connect(&plot, &arcPlotDisplay::readProgress,
                             [&reading](int done, int total) { reading = done < total; });
            plot.resize(scene.size);
            plot.show();
            scene.prepare(plot);
            settle(600);
            // Stored data are read in the background.
            for (int i = 0; i < 100 && reading; ++i)
                settle(50);
            if (name == QLatin1String("cursors")) {
                pointAt(plot, 0.3, 0.5);
                press(plot, Qt::Key_1);
                pointAt(plot, 0.55, 0.5);
                press(plot, Qt::Key_2);
            }
            if (name == QLatin1String("crosshair"))
                pointAt(plot, 0.62, 0.4);
            settle(150);
            program.take(plot, QStringLiteral("plot-") + name, theme);
            if (name == QLatin1String("cursors") && theme.isDark())
                plot.renderImage({1000, 500}, 2.0).save(program.path(QStringLiteral("plot-image-export.png")));
        }
    });
}
