#include "display/records/typenumbers.h"

#include "data/eventtypelist.h"

TypeNumbers::TypeNumbers() : m_names(eventtype::names())
{
    for (int code = 0; code < m_names.size(); ++code)
        m_numbers.insert(m_names.at(code), code);
}

QStringList TypeNumbers::names() const
{
    const QMutexLocker locker(&m_lock);
    return m_names;
}

int TypeNumbers::numberOf(const QString &name)
{
    const QMutexLocker locker(&m_lock);
    const auto known = m_numbers.constFind(name);
    if (known != m_numbers.constEnd())
        return *known;
    m_names.append(name);
    return m_numbers[name] = m_names.size() - 1;
}
