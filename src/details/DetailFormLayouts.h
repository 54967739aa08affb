#pragma once

#include <span>
#include <string_view>

namespace kelvane {

// What a click on a row's value does.
enum class RowAction {
    None,
    Session,  // opens the session view of the GUID
    Registry, // opens the registry editor at the key
    Hash,     // reputation of a hash
    IP,       // reputation of an address
    Domain,   // reputation of a host name
};

namespace RowFlag {
enum : unsigned {
    None = 0,
    Editable = 1,   // the user can type into the value (kept in the form only)
    MultiLine = 2,  // shown in a tall, wrapped row
    Undeclared = 4, // the form's field list lacks the column, so the row stays empty
};
}

struct DetailRowLayout {
    const char* field;
    const char* caption;
    RowAction action = RowAction::None;
    unsigned flags = RowFlag::None;
    const char* hint = ""; // tool tip of the row, empty for none
};

// Everything that sets one detail form apart from the others.
struct DetailFormLayout {
    const char* className;
    const char* table; // the form's own table: its title unless the title follows the table given
    int width;         // client area
    int height;
    int minWidth; // 0: no minimum
    int minHeight;
    int headerWidth;         // caption column; 0: the grid's default
    bool titleFollowsTable;  // the table name handed to SetQueryParams sets the title
    bool hasReputationPanel; // a reputation panel stands under the grid
    std::span<const DetailRowLayout> rows;
};

namespace detailforms {

// The nineteen forms of the first layout in order of event type, then those of the later types.
std::span<const DetailFormLayout> layouts();
// By class name (TProcessCreateForm); nullptr for an unknown name.
const DetailFormLayout* layout(std::string_view className);
// "<table> Event Details".
inline constexpr const char* kTitleSuffix = " Event Details";

} // namespace detailforms
} // namespace kelvane
