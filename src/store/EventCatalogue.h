#pragma once

#include "store/Schema.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace kelvane {

// A row of AllImageExes that one event adds: the columns of the type's row it copies.
struct ImageFeed {
    const char* image;
    const char* imageExe;
    const char* guid;
};

// The summary tables besides AllImageExes that an event feeds.
namespace SummaryFeed {
enum : unsigned {
    None = 0,
    Hashes = 1,    // AllHashes, from the Hashes column
    Network = 2,   // AllHosts, AllIPAddresses, AllPorts
    RegTarget = 4, // AllRegTargets, from TargetObject
};
}

// One Sysmon event type and every fact the program keeps about it: the names it is known by, the table
// that holds it, the Sysmon items its columns take, what it feeds, how it is searched and drawn.
struct EventTypeInfo {
    int id;
    const char* displayName; // stored as EventTypeName in AllEvents and AllImageExes
    const char* table;       // the type's own table; also the key that opens its detail form
    const char* detailForm;
    const char* correlationItem;    // data item holding the session GUID, or empty
    const char* correlationLiteral; // fixed word stored instead, or empty
    const char* datasetName;        // write-side dataset
    const char* readName;           // read-side dataset of the all-events view
    std::span<const FieldDef> fields;
    // The Sysmon items that have a column of the same name, besides UtcTime and RuleName, in the order
    // Sysmon writes them. Every other item of an event goes to ExtraItems.
    std::span<const char* const> items;
    // Columns of the all-events search; a trailing '#' marks a numeric column that is cast to text.
    std::span<const char* const> searchColumns;
    std::span<const ImageFeed> imageFeeds;
    unsigned summaryFeeds;
    std::uint32_t colour;      // box of the session diagram as RRGGBB, 0 for none (never drawn)
    const char* filterCaption; // entry of the process view's filter, empty when it never reaches that view
    bool firstLayout;          // one of the twenty types of the first database layout

    bool reachesProcessView() const { return !imageFeeds.empty(); }
};

// An entry of the process view's event filter: its text and the event type it stands for.
struct EventFilterEntry {
    const char* name;
    int eventType;
};

namespace catalogue {

// Every type that has a table, in id order.
std::span<const EventTypeInfo> types();
// The type with this id, or nullptr for every id that no Sysmon version defines.
const EventTypeInfo* find(int id);
const EventTypeInfo* findByTable(std::string_view table);
// The display name the reader keeps while an event is read; nullptr for unknown ids (which leave the
// previous name in place).
const char* readerDisplayName(int id);

// Every event id that Sysmon defines, in id order: the events an import counts, and the ids the
// search-server import asks for, so that both imports count the same events.
std::span<const int> sysmonEventIds();

// The types that reach the process view, in the order of its filter list: the sixteen of the first
// layout in their fixed order, then the later ones by id.
std::span<const EventFilterEntry> processViewFilter();

// The column of a type's table that holds an item, or nullptr when the table has none.
const FieldDef* columnOfItem(const EventTypeInfo& type, std::string_view item);

// A caption for an item of the later types' grids and sheets: its words apart, the first capitalised,
// GUID, ID and UTC in capitals ("TargetFilename" -> "Target filename", "ProcessGuid" -> "Process GUID").
// The text lives as long as the program.
const char* itemCaption(std::string_view item);

} // namespace catalogue
} // namespace kelvane
