#pragma once

#include <QtGlobal>

#include <cstddef>
#include <vector>

/// A set of sample times for one look-up per late sample: open addressing in one array, nothing allocated per entry.
/// Not shared between threads.
class TimeSet
{
public:
    bool isEmpty() const { return m_count == 0; }
    /// Gives the memory back.
    void clear();
    void reserve(int count);
    /// False when the set held `time` already.
    bool insert(quint64 time);
    bool contains(quint64 time) const;

private:
    std::size_t slotOf(quint64 time) const;
    void grow(std::size_t slots);

    static constexpr quint64 empty = ~quint64(0); // the one time that needs a flag of its own
    std::vector<quint64> m_slots;                 // a power of two of them, at most half of them used
    std::size_t m_count = 0;
    int m_shift = 64;
    bool m_hasEmptyValue = false;
};
