#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace kelvane {

struct EventState;
namespace sql {
class Database;
}

// The identity of every event a case holds: its computer, record id and time. An event whose identity
// the case already holds (from an earlier import, or earlier in this one) is a duplicate.
// Loaded and written on the importing thread; asked on the reading thread while the two do not overlap.
class CaseEventKeys {
public:
    // Reads the identities the case holds.
    void load(sql::Database& db);
    // True when the event was taken before; else it is remembered as taken. An event without a record
    // id (a search server's) can't be told apart and is never a duplicate.
    bool isDuplicate(const EventState& event, const std::string& recordId);
    // Stores the identities taken since the last call.
    void writeNew(sql::Database& db);

private:
    struct Key {
        std::string computer, recordId, utcTime;
    };
    // Hashes only: a million events cost megabytes, not the keys' texts.
    std::unordered_set<std::uint64_t> m_seen;
    std::vector<Key> m_new;
};

} // namespace kelvane
