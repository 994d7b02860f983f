#include "data/eventsummary.h"

#include "data/eventfile.h"
#include "data/valuetype.h"

namespace {

SnapshotSummary summaryOf(const SamplePoint &sample)
{
    return {sample.time, sample.frequency, sample.voltage, sample.currentReal, sample.currentImaginary};
}

SamplePoint sampleOf(const SnapshotSummary &snapshot)
{
    SamplePoint sample;
    sample.time = snapshot.time;
    sample.frequency = snapshot.frequency;
    sample.voltage = snapshot.voltage;
    sample.currentReal = snapshot.currentReal;
    sample.currentImaginary = snapshot.currentImaginary;
    return sample;
}

} // namespace

QString EventSummary::fileName() const
{
    return fileNumber > 0 ? eventfile::fileName(fileNumber) : otherFile;
}

void EventSummary::setFileName(const QString &fileName)
{
    fileNumber = eventfile::numberOf(fileName);
    otherFile = fileNumber > 0 ? QString() : fileName;
}

EventSummary summaryOf(const EventRecord &event)
{
    EventSummary summary;
    summary.time = event.time;
    summary.typeCode = event.typeCode;
    summary.overrideCode = event.overrideCode;
    summary.isOverridden = event.isOverridden;
    summary.named = event.named;
    summary.name = event.name;
    summary.snapshot1 = summaryOf(event.snapshot1);
    summary.snapshot2 = summaryOf(event.snapshot2);
    summary.snapshot3 = summaryOf(event.snapshot3);
    return summary;
}

EventRecord recordOf(const EventSummary &event, const QString &folder)
{
    EventRecord record;
    record.time = event.time;
    record.typeCode = event.typeCode;
    record.overrideCode = event.overrideCode;
    record.isOverridden = event.isOverridden;
    record.named = event.named;
    record.name = event.name;
    record.snapshot1 = sampleOf(event.snapshot1);
    record.snapshot2 = sampleOf(event.snapshot2);
    record.snapshot3 = sampleOf(event.snapshot3);
    if (event.hasFile())
        record.filePath = folder + QLatin1Char('/') + event.fileName();
    return record;
}

RunRecord runOf(const EventRecord &event)
{
    RunRecord run;
    run.start = event.time;
    run.end = event.endTime();
    run.meanVoltage = event.snapshot1.voltage;
    run.meanCurrent = sampleValue(event.snapshot1, Current);
    run.stepMeans = event.samples;
    run.recipe = event.recipe;
    return run;
}
