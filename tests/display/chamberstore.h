#pragma once

#include "data/norvexdata.h"

#include <memory>

namespace chamber {

constexpr quint64 second = 1000000;
constexpr quint64 origin = 1700000000 * second;

/// A chamber of deterministic runs, ten samples a second: 5 s off, `onSeconds` on at 200 V and a bit, and so on. The
/// recipe has three steps of 4 s; a run has an E23 in its second step and every third one a snapshot after its recipe.
inline std::shared_ptr<norvexData> store(int runs, int onSeconds = 15, const QString &serial = QStringLiteral("SN1"))
{
    auto data = std::make_shared<norvexData>();
    data->setSensorSerial(serial);
    data->setChamberSerial(QStringLiteral("Etch"));
    SensorConfiguration configuration;
    configuration.signalBaseThreshold = 20;
    configuration.minSwitchOffLength = 2000;
    data->setConfiguration(configuration);
    Recipe recipe;
    recipe.initDefault(3);
    recipe.setRecipeName(QStringLiteral("Oxide"));
    for (int step = 0; step < 3; ++step)
        recipe.setDuration(step, 4);
    data->setRecipe(recipe);
    QVector<SamplePoint> samples;
    quint64 time = origin;
    const auto add = [&](int seconds, double voltage) {
        for (int i = 0; i < seconds * 10; ++i, time += second / 10) {
            SamplePoint sample;
            sample.time = time;
            sample.voltage = voltage > 0 ? voltage + i % 11 : 0.5;
            sample.currentReal = voltage > 0 ? 3 + 0.01 * (i % 7) : 0;
            sample.currentImaginary = voltage > 0 ? 4 : 0;
            samples.append(sample);
        }
    };
    const auto addEvent = [&](quint64 at, int code) {
        EventRecord event;
        event.time = at;
        event.typeCode = code;
        for (int i = 0; i < 200; ++i) {
            SamplePoint point;
            point.time = at + quint64(i);
            point.voltage = i == 60 ? 80 : 200;
            point.currentReal = 4;
            event.samples.append(point);
        }
        data->addEvent(event);
    };
    for (int run = 0; run < runs; ++run) {
        add(5, 0);
        addEvent(time + 6 * second + quint64(run), 5);
        if (run % 3 == 2)
            addEvent(time + 13 * second, 11);
        add(onSeconds, 200 + run % 5);
    }
    add(5, 0);
    for (int i = 0; i < samples.size(); i += 5000)
        data->addSamples(samples.mid(i, 5000));
    data->takeFinishedRuns();
    return data;
}

} // namespace chamber
