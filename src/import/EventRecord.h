#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane {

// The data items of the event being read: item name to cleaned text, first value wins.
// Reused for every event, so that reading a log allocates nothing per event once warm.
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
        return true;
    }
    // The value of an item, or nullptr when the event has no such item.
    const std::string* find(std::string_view name) const {
        for (size_t i = 0; i < m_size; ++i)
            if (m_items[i].first == name)
                return &m_items[i].second;
        return nullptr;
    }
    bool contains(std::string_view name) const { return find(name) != nullptr; }
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    const std::pair<std::string, std::string>& at(size_t i) const { return m_items[i]; }
    void clear() { m_size = 0; }

private:
    std::vector<std::pair<std::string, std::string>> m_items;
    size_t m_size = 0;
};

} // namespace kelvane
