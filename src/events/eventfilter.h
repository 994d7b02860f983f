#pragma once

#include "events/eventtype.h"

#include <QObject>
#include <QSet>
#include <QStringList>

class QSettings;
class eventTypeNames;

/// Which event types are shown and exported: the dictionary's names, each enabled or not. A new type is enabled.
/// Kept in the settings by what is disabled, so that types made later are seen.
///
/// Lives in the thread of the dictionary, which must outlive it.
class eventFilter : public QObject
{
    Q_OBJECT

public:
    explicit eventFilter(const eventTypeNames &dictionary, QObject *parent = nullptr);

    /// Every name of the dictionary, in its order.
    QStringList names() const;
    bool isEnabled(const QString &name) const { return !m_disabled.contains(name); }
    void setEnabled(const QString &name, bool enabled);
    void setAllEnabled(bool enabled);

    QStringList enabledNames() const;
    /// The enabled types in the dictionary's order; a built-in one is only a name.
    QVector<eventType> enabledTypes() const;
    /// Of these the user's own, in the order in which an event is compared with them.
    QVector<eventType> enabledUserTypes() const;

    /// Group "eventFilter" of the settings; read after the dictionary was loaded.
    void readSettings(QSettings &settings);
    void writeSettings(QSettings &settings) const;

signals:
    void newFilter(const QVector<eventType> &types);

private:
    void dictionaryChanged();
    void announce();

    const eventTypeNames &m_dictionary;
    QSet<QString> m_disabled;
};

/// The same class under a name that is not also a function of every QObject, for use inside one.
using eventTypeFilter = eventFilter;
