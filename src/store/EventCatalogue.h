#pragma once

#include <span>
#include <string_view>

namespace kelvane {

// One Sysmon event type and the names the whole program knows it by.
struct EventTypeInfo {
    int id;
    const char* displayName; // stored as EventTypeName in AllEvents and AllImageExes
    const char* table;       // the type's own table; also the key that opens its detail form
    const char* detailForm;
    const char* correlationItem;    // data item holding the session GUID, or empty
    const char* correlationLiteral; // fixed word stored instead, or empty
};

// An entry of the process view's event filter.
struct EventFilterEntry {
    const char* caption;
    int id;
};

namespace catalogue {

// The types that have a table, in id order (ids 4 and 16 have none).
std::span<const EventTypeInfo> types();
// The type with this id, or nullptr for 4, 16 and every unknown id.
const EventTypeInfo* find(int id);
const EventTypeInfo* findByTable(std::string_view table);
// The display name the reader keeps while an event is read: empty for 4 and 16, nullptr for unknown ids
// (which leave the previous name in place).
const char* readerDisplayName(int id);

// Every event id that Sysmon defines, in id order, with a table or not: the events an import counts,
// and the ids the search-server import asks for, so that both imports count the same events.
std::span<const int> sysmonEventIds();

// The sixteen types that reach the process view, in the order of its filter list.
std::span<const EventFilterEntry> processViewFilter();

} // namespace catalogue
} // namespace kelvane
