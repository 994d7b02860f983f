#pragma once

#include <QByteArray>
#include <QString>

class QTextStream;

/// A sensor's detection configuration, with its three forms: the JSON read from the sensor, the JSON written to it, and
/// lines of "label;value". A plain value; a default-constructed one is what is used before a sensor's first reply.
struct SensorConfiguration
{
    double signalBaseThreshold = 20.0; // V
    qint32 refreshRate = 100;          // ms
    quint32 eventPoints = 1000;
    double voltageFactor = 1.0;
    double currentFactor = 1.0;
    qint32 frequencyLimitLow = 12882000;  // Hz
    qint32 frequencyLimitHigh = 14238000; // Hz
    quint8 signalLock = '0';              // a character
    quint32 noiseFilterLength = 32;
    quint32 event1MaxLength = 50;    // us
    quint32 event1MinAmplitude = 10; // %
    quint32 event2MaxLength = 100;
    quint32 event2MinAmplitude = 20;
    quint32 event3MaxLength = 500;
    quint32 event3MinAmplitude = 50;
    quint8 captureSwitchOnEvents = '1'; // a character
    quint32 minSwitchOffLength = 3000;  // ms
    quint32 glitchPeriodTime = 0;
    quint32 pulseEventResolution = 1;
    quint32 pulsePeriodMin = 9997; // us
    quint32 pulsePeriodMax = 10003;
    quint32 pulseOnMin = 4850; // us
    quint32 pulseOnMax = 5150;
    quint8 captureAllPulses = '0'; // a character
    quint32 skipStartTime = 1;     // s
    quint32 ignoreTimeAfterStart = 0;

    /// Reads a sensor's reply. False when it is not an object or at the first key (in the order above) that is missing
    /// or of another type; the fields read before it then keep their new values, so decode into a copy.
    bool configFromJSON(const QByteArray &bytes);
    /// The body for the sensor: indented JSON. The signal lock is read as "signal_lock" and written as "signalLock",
    /// because the sensor uses them so.
    QByteArray configToJSON() const;

    void writeConfigText(QTextStream &stream) const;
    /// Reads lines until the end or a line with "End Config" or "End Block Config". A value that does not convert reads
    /// as 0; fields the text form does not carry keep their values.
    void readConfigText(QTextStream &stream);

    /// The ".norvexconfig" file: the JSON form. The reader also takes the text form, and either name of the signal
    /// lock.
    static constexpr qint64 maximumFileSize = 1 << 20;
    bool saveToFile(const QString &path, QString *error = nullptr) const;
    bool loadFromFile(const QString &path, QString *error = nullptr);
    /// The same from the bytes of such a file.
    bool fromFileContent(const QByteArray &bytes);

    friend bool operator==(const SensorConfiguration &a, const SensorConfiguration &b);
    friend bool operator!=(const SensorConfiguration &a, const SensorConfiguration &b) { return !(a == b); }
};

/// ".norvexconfig"
const QString &configFileExtension();
