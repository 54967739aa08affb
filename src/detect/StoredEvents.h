#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace kelvane {
class EventRecord;
namespace sql {
class Database;
}
} // namespace kelvane

namespace kelvane::detect {

// Rebuilds the items of every stored event, in import order: its type table's columns (named after the Sysmon
// items; truth values read "true"/"false" as Sysmon writes them) and the extra items no column takes, plus
// the computer from AllEvents. Returns the number of events visited.
std::int64_t
forEachStoredEvent(sql::Database& db,
                   const std::function<void(int eventId, const EventRecord& items, std::string_view computer,
                                            std::int64_t gid)>& visit);

} // namespace kelvane::detect
