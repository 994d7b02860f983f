#include "base/json.h"
#include "base/log.h"
#include "data/norvexdata.h"
#include "sensor/arcsensorprivate.h"

#include <QJsonObject>

#include <algorithm>

namespace {

constexpr int loggedReply = 1024; // bytes
constexpr int mostMembers = 1000; // of a recipe; each that is left over counts as a step of half a kilobyte

QLatin1String nameOf(eMessage kind)
{
    return QLatin1String(kind == eMessage::Config ? "Config" : kind == eMessage::Recipe ? "Recipe" : "Event Trigger");
}

} // namespace

/// Any document would do as a recipe, even an acknowledgement; one of a sensor has a name or a step.
bool arcSensor::Private::holdsRecipe(const QByteArray &data)
{
    const QJsonObject object = parseJson(data).object();
    return object.size() <= mostMembers &&
           (object.contains(QLatin1String("recipe_name")) || object.contains(QLatin1String("step_01")));
}

PostOutcome arcSensor::Private::post(eMessage kind, const QByteArray &body)
{
    if (!isUp())
        return PostOutcome::NotConnected;
    logDebug(QStringLiteral("arcSensor: Sending %1 to sensor").arg(nameOf(kind)));
    ++m_outstanding;
    m_worker->queuePost(sensorrequest::uploadUrl(m_address, m_port, sensorrequest::page(kind)), body);
    return PostOutcome::Sent;
}

/// Each step's frequency against the first and last of the frequencies that the sensor supports, in either order.
bool arcSensor::Private::isInRange(const Recipe &recipe, FrequencyRange &range) const
{
    if (m_info.frequency.isEmpty()) {
        logDebug(QStringLiteral("arcSensor: the sensor has told no frequency range, the recipe is not checked"));
        return true;
    }
    range.low = std::min(m_info.frequency.first(), m_info.frequency.last());
    range.high = std::max(m_info.frequency.first(), m_info.frequency.last());
    for (int step = 0; step < recipe.numberOfSteps(); ++step) {
        if (recipe.frequency(step) < range.low || recipe.frequency(step) > range.high)
            return false;
    }
    return true;
}

/// A sensor answers an upload with the whole record or with a mere acknowledgement; the latter confirms what was sent.
void arcSensor::Private::uploadDone(eMessage kind, const QByteArray &data)
{
    m_failedPages.remove(int(kind) + 100);
    if (kind == eMessage::Recipe) {
        Recipe recipe = m_postedRecipes.isEmpty() ? m_recipe : m_postedRecipes.dequeue();
        if (holdsRecipe(data) && recipe.fromJSON(data))
            logDebug(QStringLiteral("arcSensor: Recipe received successfully"));
        m_recipe = recipe;
        if (m_store)
            m_store->setRecipe(recipe);
        later([this] { emit q->recipeUpdated(); });
    } else if (kind == eMessage::Config) {
        SensorConfiguration configuration;
        const bool posted = !m_postedConfigurations.isEmpty();
        if (posted)
            configuration = m_postedConfigurations.dequeue();
        SensorConfiguration answered = configuration;
        const bool whole = answered.configFromJSON(data);
        if (whole)
            logDebug(QStringLiteral("arcSensor: Config received successfully"));
        if (m_store && (whole || posted))
            m_store->setConfiguration(whole ? answered : configuration);
        later([this] { emit q->configUpdated(); });
    } else if (kind == eMessage::EventTrigger) {
        logDebug(QStringLiteral("arcSensor: Event trigger response received:") +
                 QString::fromLatin1(data.left(loggedReply)));
    }
    later([this, kind] { emit q->uploadFinished(int(kind), true, QString()); });
}

/// The sensor still runs what it had, so the stored record stays.
void arcSensor::Private::uploadFailed(eMessage kind, const QString &reason)
{
    if (kind == eMessage::Recipe) {
        logDebug(QStringLiteral("arcSensor::replyError: recipe receive error."));
        if (!m_postedRecipes.isEmpty())
            m_postedRecipes.dequeue();
    } else if (kind == eMessage::Config) {
        logDebug(QStringLiteral("arcSensor::replyError: configuration receive error."));
        if (!m_postedConfigurations.isEmpty())
            m_postedConfigurations.dequeue();
    } else if (kind == eMessage::EventTrigger) {
        logDebug(QStringLiteral("arcSensor::replyError: event trigger receive error."));
    }
    later([this, kind, reason] { emit q->uploadFinished(int(kind), false, reason); });
}

void arcSensor::Private::clearData()
{
    const qint32 total = m_plan.frameValid() ? m_plan.numberOfPoints() : 0;
    const qint32 left = m_plan.giveUpFrame();
    logDebug(QStringLiteral("arcSensor::clearData: cleared remaining %1/%2 data points").arg(left).arg(total));
    chooseNext();
}
