#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sqlite3;

namespace kelvane {

// An event's extra items are kept in one text, so that an event costs one row however many items it has:
//   name US value RS name US value ...
// with US = 0x1F between a name and its value and RS = 0x1E between items. Inside a name or a value, each
// of US, RS and DLE (0x10) is written with a DLE before it. Every other character, backslashes, tabs and
// line breaks included, is kept as it is, so a value reads plainly in the text.
std::string encodeExtraItems(const std::vector<std::pair<std::string, std::string>>& items);

// Incremental form of the encoding, for a writer that meets the items one by one.
void appendExtraItem(std::string& encoded, std::string_view name, std::string_view value);

std::vector<std::pair<std::string, std::string>> decodeExtraItems(std::string_view encoded);

// Whether one value (never a name, never a stretch across items) matches the LIKE pattern, with LIKE's
// own rules: % and _ as wildcards, ASCII letters without regard to case.
bool anyExtraValueLike(std::string_view encoded, const std::string& pattern);

// Makes the SQL function extra_value_like(Items, Pattern) known to a connection; the All Events search
// finds extra items with it.
void registerExtraItemsFunctions(sqlite3* db);

} // namespace kelvane
