#include "events/eventfilter.h"

#include "events/eventtypenames.h"

#include <QSettings>

#include <algorithm>

namespace {

const QLatin1String settingsGroup("eventFilter");
const QLatin1String disabledKey("disabled");

} // namespace

eventFilter::eventFilter(const eventTypeNames &dictionary, QObject *parent) : QObject(parent), m_dictionary(dictionary)
{
    connect(&dictionary, &eventTypeNames::dictionaryUpdated, this, &eventFilter::dictionaryChanged);
}

QStringList eventFilter::names() const
{
    return m_dictionary.names();
}

void eventFilter::setEnabled(const QString &name, bool enabled)
{
    if (enabled == isEnabled(name))
        return;
    if (enabled)
        m_disabled.remove(name);
    else
        m_disabled.insert(name);
    announce();
}

void eventFilter::setAllEnabled(bool enabled)
{
    QSet<QString> disabled;
    if (!enabled) {
        const QStringList all = names();
        disabled = QSet<QString>(all.begin(), all.end());
    }
    if (disabled == m_disabled)
        return;
    m_disabled = disabled;
    announce();
}

QStringList eventFilter::enabledNames() const
{
    QStringList list;
    for (const QString &name : names()) {
        if (isEnabled(name))
            list.append(name);
    }
    return list;
}

QVector<eventType> eventFilter::enabledTypes() const
{
    QVector<eventType> list;
    for (const eventType &type : m_dictionary.types()) {
        if (isEnabled(type.name))
            list.append(type);
    }
    return list;
}

QVector<eventType> eventFilter::enabledUserTypes() const
{
    QVector<eventType> list = enabledTypes();
    list.erase(std::remove_if(list.begin(), list.end(),
                              [](const eventType &type) { return type.direction == eventType::None; }),
               list.end());
    return list;
}

void eventFilter::readSettings(QSettings &settings)
{
    settings.beginGroup(settingsGroup);
    const QStringList disabled = settings.value(disabledKey).toStringList();
    settings.endGroup();
    const QSet<QString> read(disabled.begin(), disabled.end());
    if (read == m_disabled)
        return;
    m_disabled = read;
    announce();
}

void eventFilter::writeSettings(QSettings &settings) const
{
    QStringList disabled;
    for (const QString &name : names()) {
        if (!isEnabled(name) && !disabled.contains(name))
            disabled.append(name);
    }
    settings.beginGroup(settingsGroup);
    settings.setValue(disabledKey, disabled);
    settings.endGroup();
}

void eventFilter::dictionaryChanged()
{
    // A type that is made again under a name that was removed starts enabled.
    const QStringList all = names();
    m_disabled.intersect(QSet<QString>(all.begin(), all.end()));
    announce();
}

void eventFilter::announce()
{
    emit newFilter(enabledTypes());
}

#include "moc_eventfilter.cpp"
