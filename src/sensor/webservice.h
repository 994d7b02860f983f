#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <vector>

/// Decoder of one of a sensor's pages. Holds the fields of the last reply it decoded; a reply that cannot be decoded
/// leaves them as they were. One of each lives in every sensor connection and is used in its thread only.
class Webservice
{
public:
    virtual ~Webservice() = default;
    /// The page it decodes.
    virtual QString page() const = 0;
    virtual bool decode(const QByteArray &reply) = 0;
};

/// Who the sensor is.
class InfoWebservice final : public Webservice
{
public:
    QString page() const override;
    /// False when the reply holds none of the keys: then it does not come from a sensor.
    bool decode(const QByteArray &reply) override;

    QString serial_number;
    QString sensor_type;
    QString firmware;
    QString fpga_rev;
    QVector<qint32> frequency; // Hz, what the sensor supports
    QString build_date;
};

/// What the sensor holds for download.
class FrameWebservice final : public Webservice
{
public:
    QString page() const override;
    bool decode(const QByteArray &reply) override;

    qint64 start = 0;
    qint32 max_transaction_points = 0; // what it says it hands out at most in one page
    qint32 number_of_points = 0;       // never negative
    qint32 number_of_events = 0;       // never negative
};

class StatusWebservice final : public Webservice
{
public:
    QString page() const override;
    bool decode(const QByteArray &reply) override;

    double pcb_temperature = 0;    // degrees Celsius
    double sensor_temperature = 0; // degrees Celsius
    QString configuration_access;
    QString uptime;       // as sent
    qint64 uptimeMs = -1; // the same as a number; -1 when the sensor did not say, or something negative
    QString sensor_time;
    qint32 fifo_resets = 0;
};

/// One event record: the packed binary form that downloads ask for, or the textual one.
class EventWebservice final : public Webservice
{
public:
    QString page() const override;
    bool decode(const QByteArray &reply) override { return decode(reply, 0); }
    /// A binary record is never refused: bytes that are missing read as zero, `missingBytes` says how many; those
    /// behind its end, `excessBytes`, are not read.
    bool decode(const QByteArray &reply, qint64 timeBaseUs);

    quint64 time = 0;      // us, on the connection's time base
    qint64 rawTimeUs = 0;  // as the sensor sent it
    quint32 increment = 1; // us between waveform samples
    qint32 typeCode = 0;
    QString typeName;
    std::vector<float> voltage;
    std::vector<float> currentReal;
    std::vector<float> currentImaginary;
    int missingBytes = 0;
    int excessBytes = 0;

private:
    void decodeBinary(const QByteArray &reply);
    void decodeText(const QByteArray &reply);
};
