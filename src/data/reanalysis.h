#pragma once

#include "data/norvexdata.h"
#include "recipe/sensorconfiguration.h"

#include <QMap>
#include <QPair>
#include <QString>

#include <memory>

class JobProgress;

/// Another look at the stored events with another configuration.
///
/// Of a waveform the base is the mean of the first tenth of the voltage. The amplitude is the largest deviation from
/// it, in percent of the base; the length is the time at or above half of that deviation. The amplitude's level is the
/// highest whose least amplitude is reached, the length's the lowest whose greatest length is kept, and the class is
/// "E<length><amplitude>"; without one of the levels it is no event.
namespace reanalysis {

struct Shape
{
    double amplitudePercent = 0;
    double lengthUs = 0;
};

Shape shapeOf(const QVector<SamplePoint> &waveform);
/// The type code for a shape: 0 to 8, or that of "NOTANEVENT".
qint32 classOf(const Shape &shape, const SensorConfiguration &configuration);
/// Detector classes are looked at again; pulse events, snapshots, runs and types of the user are not.
bool isReanalysed(const EventRecord &event);

/// "reanalysis.dat"
QString fileName();

/// How a reanalysis went.
struct Outcome
{
    enum class Kind { Done, Cancelled, Failed } kind = Kind::Done;

    QString reason;
    int events = 0;                               // looked at
    int withoutWaveform = 0;                      // of these: they keep their class
    QMap<QPair<qint32, qint32>, int> transitions; // code before, code after: events
    std::shared_ptr<const norvexData::EventCodes> codes;
};

/// Looks at every stored event of `store` again and writes the result to "reanalysis.dat" in its sensor folder, in the
/// form of an index that also carries the configuration. Nothing else changes. Works on all processors; pool thread,
/// the store may be shared and recorded into.
Outcome run(const norvexData &store, const QString &sessionFolder, const SensorConfiguration &configuration,
            JobProgress *progress = nullptr);

/// The codes that an earlier reanalysis left; nullptr and a reason when there is none.
std::shared_ptr<const norvexData::EventCodes> read(const norvexData &store, const QString &sessionFolder,
                                                   QString *reason = nullptr);

} // namespace reanalysis
