#pragma once

#include "base/clock.h"
#include "recipe/recipe.h"
#include "recipe/sensorconfiguration.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>

class norvexData;
class InfoWebservice;
class StatusWebservice;
class FrameWebservice;

/// The waits of a sensor connection, in milliseconds. Tests pass shorter ones.
struct LinkTimings
{
    int retryWait = 10000;
    int pollPeriod = 500;
    int replyTimeout = 1000;
    int dispatchInterval = 10;
    int statusMaxAge = 2000;
};

enum class PostOutcome {
    Sent,
    FrequencyOutOfRange, // a step lies outside the sensor's frequency range; nothing was sent
    NotConnected,
};

struct FrequencyRange
{
    qint32 low = 0;  // Hz
    qint32 high = 0; // Hz
};

/// One connected sensor: keeps the connection alive, polls status and frame, downloads every sample and event record
/// into the sensor's store, tells the sensor what it may drop, and uploads configuration, recipes and triggers. All
/// HTTP goes through its own SensorWorker thread; everything else runs in the thread that made it, driven by the event
/// loop, and never blocks it. It emits last, after its own bookkeeping, so a receiver may call stop() or deleteLater().
class arcSensor : public QObject
{
    Q_OBJECT

public:
    arcSensor(const QString &address, quint16 port, const LinkTimings &timings = {}, const Clock &clock = systemClock(),
              QObject *parent = nullptr);
    ~arcSensor() override;

    /// The store that takes the data, nullptr while the sensor is only verified. Attaching one to a connected sensor
    /// asks for the configuration and the recipe and starts the download.
    void setStore(std::shared_ptr<norvexData> store);
    const std::shared_ptr<norvexData> &store() const;

    /// Once set, a sensor that answers with another serial is not downloaded: wrongSerial() is emitted instead.
    void setExpectedSerial(const QString &serial);

    int state() const; // 0 disconnected, 1 connected, 2 downloading
    const QString &address() const;
    quint16 port() const;
    void setAddress(const QString &address, quint16 port);
    /// The last decoded replies; their fields are empty before the first.
    const InfoWebservice &info() const;
    const StatusWebservice &status() const;
    const FrameWebservice &frame() const;
    /// The sensor does not have the current data page, so the older one without slot 2 columns is in use.
    bool usesOldDataPage() const;
    /// Between construction or reconnect() and stop(), whether the sensor answers or not.
    bool isOpen() const;
    /// Milliseconds until the next try while waiting to reconnect, -1 otherwise.
    int retryRemainingMs() const;
    /// Operating frequency in Hz: the recipe's first step, else the first of the info list, else 0.
    qint32 operatingFrequency() const;

    /// Ends the connection without a signal; reconnect() starts a new one.
    void stop();
    void reconnect();

    /// Uploads. The outcome of the transfer arrives as uploadFinished().
    PostOutcome postRecipe(const Recipe &recipe, FrequencyRange *range = nullptr);
    PostOutcome postConfiguration(const SensorConfiguration &configuration);
    PostOutcome triggerSnapshot();
    void requestConfiguration();
    void requestRecipe();

    /// Gives up what is left of the current frame and lets the sensor drop it.
    void clearData();

signals:
    void stateChange(int state);
    void statusUpdate(QString status_message);
    void downloadStatus(int samplesDone, int samplesTotal, int eventsDone, int eventsTotal);
    void dataUpdated(quint64 time);
    void configUpdated();
    void recipeUpdated();
    /// `kind` is the eMessage value of the page; `reason` is empty when ok.
    void uploadFinished(int kind, bool ok, const QString &reason);
    void wrongSerial(const QString &found);

public slots:
    void processReply(const QByteArray &data, const QUrl &url);
    void replyTimedOut();
    void processReplyError(const QByteArray &reply_data, const QUrl &reply_url);

private:
    class Private;
    std::unique_ptr<Private> d;
};
