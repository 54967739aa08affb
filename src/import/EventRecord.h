#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane {

// The data items of the event being read: item name to cleaned text, first value wins.
// Reused for every event, so that reading a log allocates nothing per event once warm. A Sysmon event has
// a few dozen items, looked up one after the other; a hostile one may have a hundred thousand, and then a
// hash index keeps each lookup short.
class EventRecord {
public:
    // Adds a pair; false (and nothing changes) when the name is there already.
    bool add(std::string_view name, std::string_view value) {
        if (find(name))
            return false;
        if (m_size == m_items.size())
            m_items.emplace_back();
        m_items[m_size].first.assign(name);
        m_items[m_size].second.assign(value);
        ++m_size;
        if (m_size > kLinearItems)
            index(m_size - 1);
        return true;
    }
    // The value of an item, or nullptr when the event has no such item.
    const std::string* find(std::string_view name) const {
        if (m_size > kLinearItems) {
            const std::size_t mask = m_slots.size() - 1;
            for (std::size_t slot = std::hash<std::string_view>{}(name)&mask; m_slots[slot] != kEmpty;
                 slot = (slot + 1) & mask)
                if (m_items[m_slots[slot]].first == name)
                    return &m_items[m_slots[slot]].second;
            return nullptr;
        }
        for (size_t i = 0; i < m_size; ++i)
            if (m_items[i].first == name)
                return &m_items[i].second;
        return nullptr;
    }
    bool contains(std::string_view name) const { return find(name) != nullptr; }
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    const std::pair<std::string, std::string>& at(size_t i) const { return m_items[i]; }
    void clear() {
        if (m_size > kLinearItems)
            std::fill(m_slots.begin(), m_slots.end(), kEmpty);
        m_size = 0;
    }

private:
    static constexpr std::size_t kLinearItems = 64;
    static constexpr std::uint32_t kEmpty = 0xFFFFFFFF;

    // Puts item i into the index, which is kept at most half full (built whole when it first takes over).
    void index(std::size_t i) {
        if (m_size * 2 > m_slots.size()) {
            m_slots.assign(std::max<std::size_t>(256, m_slots.size() * 2), kEmpty);
            for (std::size_t k = 0; k < m_size; ++k)
                insertSlot(k);
            return;
        }
        if (m_size == kLinearItems + 1)
            for (std::size_t k = 0; k < i; ++k)
                insertSlot(k);
        insertSlot(i);
    }
    void insertSlot(std::size_t i) {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t slot = std::hash<std::string_view>{}(m_items[i].first) & mask;
        while (m_slots[slot] != kEmpty)
            slot = (slot + 1) & mask;
        m_slots[slot] = static_cast<std::uint32_t>(i);
    }

    std::vector<std::pair<std::string, std::string>> m_items;
    std::vector<std::uint32_t> m_slots;
    size_t m_size = 0;
};

} // namespace kelvane
