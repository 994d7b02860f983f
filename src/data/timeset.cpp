#include "data/timeset.h"

#include <utility>

void TimeSet::clear()
{
    *this = TimeSet();
}

void TimeSet::reserve(int count)
{
    std::size_t slots = 64;
    while (slots < 2 * static_cast<std::size_t>(count))
        slots *= 2;
    if (slots > m_slots.size())
        grow(slots);
}

bool TimeSet::insert(quint64 time)
{
    if (time == empty) {
        const bool added = !m_hasEmptyValue;
        m_hasEmptyValue = true;
        m_count += added ? 1 : 0;
        return added;
    }
    if (2 * (m_count + 1) > m_slots.size())
        grow(m_slots.empty() ? 64 : 4 * m_slots.size());
    quint64 &slot = m_slots[slotOf(time)];
    if (slot == time)
        return false;
    slot = time;
    ++m_count;
    return true;
}

bool TimeSet::contains(quint64 time) const
{
    if (time == empty)
        return m_hasEmptyValue;
    return !m_slots.empty() && m_slots[slotOf(time)] == time;
}

/// Where `time` is or would be.
std::size_t TimeSet::slotOf(quint64 time) const
{
    const std::size_t mask = m_slots.size() - 1;
    std::size_t slot = static_cast<std::size_t>((time * 0x9E3779B97F4A7C15ULL) >> m_shift); // sample times are regular
    while (m_slots[slot] != empty && m_slots[slot] != time)
        slot = (slot + 1) & mask;
    return slot;
}

void TimeSet::grow(std::size_t slots)
{
    const std::vector<quint64> old = std::exchange(m_slots, std::vector<quint64>(slots, empty));
    m_shift = 64;
    for (std::size_t n = slots; n > 1; n /= 2)
        --m_shift;
    for (const quint64 time : old) {
        if (time != empty)
            m_slots[slotOf(time)] = time;
    }
}
