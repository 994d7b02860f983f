#pragma once

#include "data/samplepoint.h"
#include "simulator/processmodel.h"

#include <QByteArray>
#include <QVector>

/// The pages of a sensor, byte for byte, as pure functions of what they show. Line-oriented pages have one key a line
/// with CR LF between the lines and a comma at the end of every line but the last.
namespace sensorpages {

/// Which columns a sensor sends: the first generation knows one pulse slot, keys without slot number and no counters.
enum class Generation { First = 1, Second = 2 };

struct Info
{
    QByteArray serial;
    QByteArray sensorType;
    QByteArray firmware;
    QByteArray fpgaRevision;
    QVector<qint32> frequencies; // Hz
    QByteArray buildDate;
};

struct Frame
{
    qint64 start = 0; // ms, time of the oldest sample
    qint32 maximumTransactionPoints = 0;
    qint32 numberOfPoints = 0;
    qint32 numberOfEvents = 0;
};

struct Status
{
    double pcbTemperature = 0;    // degree Celsius
    double sensorTemperature = 0; // degree Celsius
    QByteArray configurationAccess;
    qint64 uptimeMs = 0;
    QByteArray sensorTime;
    qint32 fifoResets = 0;
};

QByteArray info(const Info &info);
/// The first generation sends the start time as a text, the second as a number.
QByteArray frame(const Frame &frame, Generation generation);
QByteArray status(const Status &status);

/// One column a line, one value a sample. Sample times are microseconds on the sensor's clock and go out in whole
/// milliseconds.
QByteArray samples(const QVector<SamplePoint> &samples, Generation generation);

/// One event record in the packed little-endian form.
QByteArray binaryEvent(const SimulatedEvent &event, const QByteArray &typeName);
/// The same as lines of text.
QByteArray textualEvent(const SimulatedEvent &event, const QByteArray &typeName);
/// What a request without a usable index is answered.
QByteArray eventCount(int count);

QByteArray acknowledgement();
QByteArray refusal(const QByteArray &reason);
/// What every unknown page is answered, with status 404.
QByteArray notFound();

} // namespace sensorpages
