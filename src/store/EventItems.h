#pragma once

#include "store/Sqlite.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace kelvane {

// Every data item of one event as stored: the items of its table's columns under their Sysmon item names
// (UtcTime, RuleName, then the catalogue's order), then the extra items in the order of the log. A column
// left NULL (an item the import never wrote) is no item.
struct EventItems {
    std::int64_t gid = 0;
    int eventId = 0;
    std::vector<std::pair<std::string, std::string>> items;
};

// The items of the event with this GID; nothing when there is no such event. Values are the stored texts,
// numbers in decimal.
std::optional<EventItems> readEventItems(sql::Database& db, std::int64_t gid);

// The items of every event, in import order (one pass over each table, however many events).
void forEachEventItems(sql::Database& db, const std::function<void(const EventItems&)>& visit);

// Only the extra items of one event, in the order of the log.
std::vector<std::pair<std::string, std::string>> readExtraItems(sql::Database& db, std::int64_t gid);

// One line of `kelvane-query items`: GID, event id, then Name=Value per item, tab-separated, with tab,
// line break and backslash written as \t, \n and \\.
std::string itemsLine(const EventItems& event);

} // namespace kelvane
