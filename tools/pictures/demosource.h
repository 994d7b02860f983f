#pragma once

#include "display/memorysource.h"
#include "display/records/recordset.h"
#include "simulator/processmodel.h"

#include <memory>

/// Samples, runs and events as a plot takes them.
struct Demo
{
    std::shared_ptr<MemorySource> source = std::make_shared<MemorySource>();
    std::shared_ptr<const RecordSet> records;
};

/// `seconds` of a simulated chamber that ends at `end`, its samples in stretches of 10,000.
inline Demo demo(quint64 end, int seconds, quint64 seed, int rate = 20, double arcsPerMinute = 4, int runSeconds = 60)
{
    ProcessSettings settings;
    settings.seed = seed;
    settings.rate = rate;
    settings.arcsPerMinute = arcsPerMinute;
    settings.runLengthMs = runSeconds * 1000;
    settings.pauseLengthMs = runSeconds * 250;
    settings.firstPauseMs = 4000;
    ProcessModel model(settings);
    Demo demo;
    QVector<RunRecord> runs;
    QVector<EventRecord> records;
    const quint64 base = end - quint64(seconds) * 1000000;
    QVector<SamplePoint> samples;
    QVector<SimulatedEvent> events;
    RunRecord run;
    quintptr key = 1;
    int samplesOfRun = 0;
    for (int i = 0; i < seconds * rate; ++i) {
        SamplePoint sample = model.nextSample(events);
        sample.time += base;
        if (model.isRfOn() && run.start == 0)
            run.start = sample.time;
        if (model.isRfOn()) {
            run.meanVoltage += sample.voltage;
            ++samplesOfRun;
        } else if (run.start != 0) {
            run.end = sample.time;
            run.meanVoltage /= std::max(1, samplesOfRun);
            runs.append(run);
            run = {};
            samplesOfRun = 0;
        }
        samples.append(sample);
        if (samples.size() == 10000) {
            demo.source->add(key++, samples);
            samples.clear();
        }
    }
    if (!samples.isEmpty())
        demo.source->add(key, samples);
    for (const SimulatedEvent &simulated : qAsConst(events)) {
        EventRecord event;
        event.time = base + quint64(simulated.timeUs);
        event.typeCode = simulated.typeCode;
        event.snapshot3.time = event.time + 500;
        records.append(event);
    }
    demo.records = std::make_shared<const RecordSet>(recordsOf(records, runs));
    return demo;
}
