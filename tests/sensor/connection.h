#pragma once

#include "data/norvexdata.h"
#include "sensor/arcsensor.h"
#include "sensor/fakesensor.h"
#include "sensor/sensorrequest.h"

#include <QPointer>
#include <QtTest>

inline LinkTimings quick()
{
    LinkTimings timings;
    timings.retryWait = 40;
    timings.pollPeriod = 20;
    timings.replyTimeout = 400;
    timings.dispatchInterval = 1;
    return timings;
}

/// A log that keeps its answers back until the test gives them.
class HeldLog final : public DurableLog
{
public:
    void append(const QString &, Record, const QByteArray &) override {}
    void whenDurable(QObject *context, std::function<void(bool)> done) override
    {
        waiting.append({QPointer<QObject>(context), std::move(done)});
    }
    void answer(bool ok)
    {
        const auto now = std::exchange(waiting, {});
        for (const auto &request : now) {
            if (request.first)
                request.second(ok);
        }
    }

    QVector<std::pair<QPointer<QObject>, std::function<void(bool)>>> waiting;
};

/// A connection to a fake sensor with what it said.
class Connection
{
public:
    explicit Connection(FakeSensor &peer, bool withStore = true)
        : store(std::make_shared<norvexData>()), link(QStringLiteral("127.0.0.1"), peer.port(), quick())
    {
        store->setSensorSerial(QStringLiteral("SN1"));
        store->setFolderName(QStringLiteral("SN1"));
        if (withStore)
            link.setStore(store);
        QObject::connect(&link, &arcSensor::stateChange, &link,
                         [this](int state) { states += QString::number(state); });
        QObject::connect(&link, &arcSensor::statusUpdate, &link, [this](const QString &text) {
            if (text != QLatin1String("New Frame") && text != QLatin1String("New Status"))
                texts += text;
        });
        QObject::connect(&link, &arcSensor::downloadStatus, &link, [this](int a, int b, int c, int e) {
            progress += QStringLiteral("%1/%2 %3/%4").arg(a).arg(b).arg(c).arg(e);
        });
        QObject::connect(&link, &arcSensor::uploadFinished, &link, [this](int kind, bool ok, const QString &) {
            uploads += QStringLiteral("%1 %2").arg(kind).arg(ok ? QLatin1String("ok") : QLatin1String("failed"));
        });
        QObject::connect(&link, &arcSensor::configUpdated, &link, [this] { ++configurations; });
        QObject::connect(&link, &arcSensor::recipeUpdated, &link, [this] { ++recipes; });
    }

    QVector<quint64> times() const
    {
        QVector<SamplePoint> samples;
        store->samplesInRange(0, ~quint64(0), samples);
        QVector<quint64> out;
        for (const SamplePoint &sample : samples)
            out += sample.time;
        return out;
    }

    std::shared_ptr<norvexData> store;
    QString states;
    QStringList texts;
    QStringList progress;
    QStringList uploads;
    int configurations = 0;
    int recipes = 0;
    arcSensor link;
};

inline PeerAnswer failure(const PeerRequest &)
{
    return PeerAnswer::status(500, "no");
}

inline PeerAnswer notFound(const PeerRequest &)
{
    return PeerAnswer::status(404, sensorrequest::notFoundPage());
}

inline PeerAnswer hangUp(const PeerRequest &)
{
    PeerAnswer answer;
    answer.after = PeerAnswer::Close;
    return answer;
}

inline const QString firstPage = QStringLiteral("pulsedata.cgi index=0&limit=20");
constexpr int patience = 20000;

#define WAIT_FOR(condition) QVERIFY(waitUntil([&] { return condition; }, patience))
