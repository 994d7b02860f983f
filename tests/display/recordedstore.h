#pragma once

#include "data/norvexdata.h"
#include "simulator/processmodel.h"

#include <cmath>
#include <memory>

/// Records `seconds` of a simulated chamber into a store as a sensor's connection does: samples, events with waveforms,
/// and the runs that the detector found.
inline void recordInto(norvexData &store, int seconds, quint64 seed = 1, int rate = 50,
                       quint64 base = 1709290800000000ULL)
{
    ProcessSettings settings;
    settings.seed = seed;
    settings.rate = rate;
    ProcessModel model(settings);
    store.setRecipe(ProcessModel::builtInRecipe(0));
    QVector<SamplePoint> page;
    QVector<SimulatedEvent> events;
    for (int i = 0; i < seconds * rate; ++i) {
        page.append(model.nextSample(events));
        page.last().time += base;
        if (page.size() < 100)
            continue;
        store.addSamples(page);
        page.clear();
        store.takeFinishedRuns();
    }
    store.addSamples(page);
    store.takeFinishedRuns();
    for (const SimulatedEvent &simulated : qAsConst(events)) {
        EventRecord event;
        event.time = base + quint64(simulated.timeUs);
        event.typeCode = simulated.typeCode;
        for (quint64 t = 0; t < 300; ++t) {
            SamplePoint sample;
            sample.time = event.time + t;
            // The first tenth is undisturbed.
            const double since = t < 30 ? 1e9 : double(t - 30);
            sample.voltage = 400 - 300 * std::exp(-since / (20 + event.typeCode * 10));
            sample.currentReal = 2 + std::exp(-since / 40);
            event.samples.append(sample);
        }
        store.addEvent(event);
    }
}

inline std::shared_ptr<norvexData> recordedStore(const QString &serial, int seconds, quint64 seed = 1)
{
    auto store = std::make_shared<norvexData>();
    store->setSensorSerial(serial);
    recordInto(*store, seconds, seed);
    return store;
}
