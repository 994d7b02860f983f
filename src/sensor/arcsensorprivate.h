#pragma once

#include "sensor/arcsensor.h"
#include "sensor/downloadplan.h"
#include "sensor/samplepage.h"
#include "sensor/sensorrequest.h"
#include "sensor/sensorworker.h"
#include "sensor/timelinekeeper.h"
#include "sensor/webservice.h"

#include <QList>
#include <QPointer>
#include <QQueue>
#include <QSet>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

/// The rooms of arcSensor: the link (worker, timers, what is asked next), the replies, the uploads,
/// placing in time. Everything runs in
/// the thread of its arcSensor, inside turns: signals are collected and emitted at the end of a turn, when all
/// bookkeeping is done, so a receiver may call anything.
class arcSensor::Private
{
public:
    Private(arcSensor *owner, const QString &address, quint16 port, const LinkTimings &timings, const Clock &clock);
    ~Private();

    /// Brackets everything that comes from outside.
    class Turn
    {
    public:
        explicit Turn(Private &d) : m_d(d) { ++m_d.m_depth; }
        ~Turn();
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;

    private:
        Private &m_d;
    };

    // --- link
    void open();
    void close();
    bool isOpen() const { return m_worker != nullptr; }
    bool isUp() const { return m_plan.state() != DownloadPlan::Disconnected; }
    void setStore(std::shared_ptr<norvexData> store);
    void outcomeArrived();
    void connectionLost();
    void retryConnection();
    void requestInfo();
    void requestRecord(eMessage kind);
    void chooseNext();

    // --- replies
    void takeReply(const QByteArray &data, const QUrl &url);
    void takeError(const QByteArray &data, const QUrl &url);
    void takeTimeOut();

    // --- uploads
    PostOutcome post(eMessage kind, const QByteArray &body);
    bool isInRange(const Recipe &recipe, FrequencyRange &range) const;
    void clearData();

    void later(std::function<void()> emission);

    arcSensor *const q;
    const LinkTimings m_timings;
    const Clock &m_clock;
    QString m_address;
    quint16 m_port;
    QString m_expectedSerial;
    std::shared_ptr<norvexData> m_store;
    QString m_dataPage = sensorrequest::dataPage();
    DownloadPlan m_plan;
    InfoWebservice m_info;
    StatusWebservice m_status;
    FrameWebservice m_frame;
    EventWebservice m_event;
    Recipe m_recipe; // the sensor's, as far as it is known
    QTimer m_retryTimer;
    QQueue<Recipe> m_postedRecipes;
    QQueue<SensorConfiguration> m_postedConfigurations;

private:
    // --- link
    void queueGet(eMessage kind, const QString &page, const QString &query = {});
    void queueFrame();
    void queueStatus();
    bool statusDue(bool beforeClear) const;
    bool isIdle() const;
    void carryOut(const DownloadStep &step);
    void makeDurable();
    void emitDownloadStatus();
    void updateWatchdog();
    void endTurn();

    // --- replies
    void takeDisconnected(eMessage kind, const QByteArray &data);
    void takeConnected(eMessage kind, const QByteArray &data, const QUrl &url);
    void takeInfo(const QByteArray &data);
    void takeStatus(const QByteArray &data);
    void takeFrame(const QByteArray &data);
    void takeSamples(const QByteArray &data, const QUrl &url);
    void takeEvent(const QByteArray &data, const QUrl &url);
    bool isAskedAgain(quint64 index);
    bool isCut(const SamplePage &page, quint64 index);
    bool storeEvent(const QByteArray &data);
    void takeConfiguration(const QByteArray &data);
    void takeRecipe(const QByteArray &data);
    void pageNotFound(eMessage kind, const QUrl &url);
    void nothingTaken();
    void useOldDataPage();
    void useDefaults(eMessage kind);
    bool costsConnection(eMessage kind, bool upload);

    // --- placing in time
    void takeCandidate();
    TimeLineKeeper::Outside outside();
    qint64 parsingBase() const;
    int placePage(QVector<SamplePoint> &points, bool startsFrame);
    TimeLineKeeper::EventPlace placeEvent(qint64 rawUs, int typeCode);
    std::optional<qint64> findEvent(int typeCode, qint64 beforeUs);
    void keepTimeLine();
    void confirmTimeLine();

    // --- uploads
    static bool holdsRecipe(const QByteArray &data);
    void uploadDone(eMessage kind, const QByteArray &data);
    void uploadFailed(eMessage kind, const QString &reason);

    std::unique_ptr<SensorWorker> m_worker;
    int m_generation = 0;  // of the worker; outcomes of an older one are nobody's
    int m_outstanding = 0; // requests queued or in flight
    bool m_infoAsked = false;
    int m_durableToken = 0;
    bool m_durableWait = false;
    QTimer m_verifyTimer; // before the next frame without a store
    QTimer m_watchdog;    // whenever the connection is up and nothing else would go on

    qint64 m_statusAskedMs = 0; // steady clock
    qint64 m_lastReplyMs = 0;
    qint64 m_statusArrivedMs = 0;
    qint64 m_statusWaitMs = 0; // until then
    std::optional<qint32> m_fifoResets;
    qint64 m_uptimeMs = -1;     // as of m_statusArrivedMs
    bool m_closesPages = false; // the sensor; what is not closed is cut then
    std::optional<qint64> m_cutSinceMs;
    std::optional<quint64> m_cutIndex; // of a sample page that was asked for again because it ended early
    std::optional<qint64> m_shortEventSinceMs;
    std::optional<quint64> m_shortEvent;
    bool m_shortEventsAreMeant = false;
    QSet<int> m_failedPages; // whose next failure does not cost the connection

    TimeBaseCandidate m_candidate;
    TimeLineKeeper m_timeLines;
    BlockLook m_look;

    int m_depth = 0;
    bool m_emitting = false;
    QList<std::function<void()>> m_emissions;
};
