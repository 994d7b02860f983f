#pragma once

#include <QHash>
#include <QMutex>
#include <QStringList>

/// The names that the events of a session are shown under, numbered: the built-in ones by their code, then others as
/// they turn up. Numbers never change. Any thread.
class TypeNumbers
{
public:
    TypeNumbers();

    QStringList names() const;
    /// A new name gets the next number.
    int numberOf(const QString &name);

private:
    mutable QMutex m_lock; // guards both
    QStringList m_names;
    QHash<QString, int> m_numbers;
};
