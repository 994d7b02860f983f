#pragma once

#include "data/abstractnorvexdata.h"
#include "export/exportrequest.h"

#include <QObject>

#include <atomic>
#include <memory>

/// Finds the user's types of all events of a recording on a pool thread, as the waveform of each may have to be read
/// from its file. GUI thread; ends with its owner.
class EventNameReader : public QObject
{
    Q_OBJECT

public:
    EventNameReader(std::shared_ptr<const abstractNorvexData> data, const QVector<eventType> &types,
                    QObject *parent = nullptr);
    ~EventNameReader() override;

    void start();

signals:
    void finished(const EventNames &names);

private:
    const std::shared_ptr<const abstractNorvexData> m_data;
    const QVector<eventType> m_types;
    const std::shared_ptr<std::atomic<bool>> m_stop;
};
