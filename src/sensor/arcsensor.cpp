#include "sensor/arcsensor.h"

#include "base/log.h"
#include "sensor/arcsensorprivate.h"

arcSensor::arcSensor(const QString &address, quint16 port, const LinkTimings &timings, const Clock &clock,
                     QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this, address, port, timings, clock))
{
    d->open();
    // The first request is made before anybody can listen.
    QTimer::singleShot(0, this, [this] {
        if (state() == 0 && !d->m_retryTimer.isActive())
            emit statusUpdate(QStringLiteral("Connecting"));
    });
}

arcSensor::~arcSensor() = default;

void arcSensor::setStore(std::shared_ptr<norvexData> store)
{
    const Private::Turn turn(*d);
    d->setStore(std::move(store));
}

const std::shared_ptr<norvexData> &arcSensor::store() const
{
    return d->m_store;
}

void arcSensor::setExpectedSerial(const QString &serial)
{
    d->m_expectedSerial = serial;
}

int arcSensor::state() const
{
    return d->m_plan.state();
}

const QString &arcSensor::address() const
{
    return d->m_address;
}

quint16 arcSensor::port() const
{
    return d->m_port;
}

void arcSensor::setAddress(const QString &address, quint16 port)
{
    d->close();
    d->m_address = address;
    d->m_port = port;
}

const InfoWebservice &arcSensor::info() const
{
    return d->m_info;
}

const StatusWebservice &arcSensor::status() const
{
    return d->m_status;
}

const FrameWebservice &arcSensor::frame() const
{
    return d->m_frame;
}

bool arcSensor::usesOldDataPage() const
{
    return d->m_dataPage == sensorrequest::oldDataPage();
}

bool arcSensor::isOpen() const
{
    return d->isOpen();
}

int arcSensor::retryRemainingMs() const
{
    return d->m_retryTimer.isActive() ? d->m_retryTimer.remainingTime() : -1;
}

qint32 arcSensor::operatingFrequency() const
{
    if (!d->m_recipe.isEmpty())
        return d->m_recipe.frequency(0);
    return d->m_info.frequency.isEmpty() ? 0 : d->m_info.frequency.first();
}

void arcSensor::stop()
{
    d->close();
}

void arcSensor::reconnect()
{
    const Private::Turn turn(*d);
    d->close();
    d->open();
    d->later([this] { emit statusUpdate(QStringLiteral("Connecting")); });
}

PostOutcome arcSensor::postRecipe(const Recipe &recipe, FrequencyRange *range)
{
    const Private::Turn turn(*d);
    FrequencyRange bounds;
    const bool inRange = d->isInRange(recipe, bounds);
    if (range)
        *range = bounds;
    if (!inRange)
        return PostOutcome::FrequencyOutOfRange;
    const PostOutcome outcome = d->post(eMessage::Recipe, recipe.toJSON());
    if (outcome == PostOutcome::Sent)
        d->m_postedRecipes.enqueue(recipe);
    return outcome;
}

PostOutcome arcSensor::postConfiguration(const SensorConfiguration &configuration)
{
    const Private::Turn turn(*d);
    const PostOutcome outcome = d->post(eMessage::Config, configuration.configToJSON());
    if (outcome == PostOutcome::Sent)
        d->m_postedConfigurations.enqueue(configuration);
    return outcome;
}

PostOutcome arcSensor::triggerSnapshot()
{
    const Private::Turn turn(*d);
    return d->post(eMessage::EventTrigger, sensorrequest::snapshotTrigger());
}

void arcSensor::requestConfiguration()
{
    const Private::Turn turn(*d);
    d->requestRecord(eMessage::Config);
}

void arcSensor::requestRecipe()
{
    const Private::Turn turn(*d);
    d->requestRecord(eMessage::Recipe);
}

void arcSensor::clearData()
{
    const Private::Turn turn(*d);
    d->clearData();
}

void arcSensor::processReply(const QByteArray &data, const QUrl &url)
{
    const Private::Turn turn(*d);
    d->outcomeArrived();
    d->takeReply(data, url);
}

void arcSensor::replyTimedOut()
{
    const Private::Turn turn(*d);
    d->outcomeArrived();
    d->takeTimeOut();
}

void arcSensor::processReplyError(const QByteArray &reply_data, const QUrl &reply_url)
{
    const Private::Turn turn(*d);
    d->outcomeArrived();
    d->takeError(reply_data, reply_url);
}

#include "moc_arcsensor.cpp"
