#pragma once

#include "data/eventrecord.h"

#include <QHashFunctions>

#include <cstddef>
#include <vector>

/// Where the events of a list stand, by their keys. A hash table in one piece of memory: a node for each of a hundred
/// thousand events would take longer to make than it takes to read their lines. Grows only; not thread-safe.
class EventPositions
{
public:
    /// -1 for a key that is not there.
    int find(const EventKey &key) const { return m_slots.empty() ? -1 : m_slots[slotOf(key)].position; }

    /// False, and nothing changed, for a key that is there.
    bool insert(const EventKey &key, int position)
    {
        reserve(m_size + 1);
        Slot &slot = m_slots[slotOf(key)];
        if (slot.position >= 0)
            return false;
        slot = {key.time, key.typeCode, position};
        ++m_size;
        return true;
    }

    void reserve(std::size_t count)
    {
        std::size_t wanted = m_slots.empty() ? 64 : m_slots.size();
        while (wanted < count * 2) // half of them stay free, so a search ends soon
            wanted *= 2;
        if (wanted == m_slots.size())
            return;
        std::vector<Slot> before(wanted);
        before.swap(m_slots);
        for (const Slot &slot : before) {
            if (slot.position >= 0)
                m_slots[slotOf({slot.time, slot.typeCode})] = slot;
        }
    }

private:
    struct Slot
    {
        quint64 time = 0;
        qint32 typeCode = 0;
        qint32 position = -1; // nothing there
    };

    /// That of the key, or the free one where it belongs.
    std::size_t slotOf(const EventKey &key) const
    {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t at = qHash(key, m_seed) & mask;
        while (m_slots[at].position >= 0 && !(m_slots[at].time == key.time && m_slots[at].typeCode == key.typeCode))
            at = (at + 1) & mask;
        return at;
    }

    uint m_seed = static_cast<uint>(qGlobalQHashSeed());
    std::size_t m_size = 0;
    std::vector<Slot> m_slots; // a power of two of them
};
