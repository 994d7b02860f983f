#include "export/eventnamereader.h"

#include "export/exportevents.h"

#include <QCoreApplication>
#include <QThreadPool>

#include <limits>

EventNameReader::EventNameReader(std::shared_ptr<const abstractNorvexData> data, const QVector<eventType> &types,
                                 QObject *parent)
    : QObject(parent), m_data(std::move(data)), m_types(types), m_stop(std::make_shared<std::atomic<bool>>(false))
{}

EventNameReader::~EventNameReader()
{
    *m_stop = true;
}

void EventNameReader::start()
{
    // The reader may be gone when the names arrive: the stop flag is looked at in the thread where it is set.
    QCoreApplication *const application = QCoreApplication::instance();
    QThreadPool::globalInstance()->start([this, application, data = m_data, types = m_types, stop = m_stop] {
        EventNames names;
        const QVector<EventRecord> events = data->eventsInRange(0, std::numeric_limits<quint64>::max());
        for (const EventRecord &event : events) {
            if (*stop)
                return;
            names.insert(keyOf(event), userTypeOf(*data, types, event));
        }
        const auto report = [this, stop, names] {
            if (!*stop)
                emit finished(names);
        };
        QMetaObject::invokeMethod(application, report, Qt::QueuedConnection);
    });
}
