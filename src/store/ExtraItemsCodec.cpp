#include "store/ExtraItemsCodec.h"

#include <sqlite3.h>

namespace kelvane {
namespace {

constexpr char kEscape = '\x10';
constexpr char kNameEnd = '\x1F';
constexpr char kItemEnd = '\x1E';

bool special(char c) {
    return c == kEscape || c == kNameEnd || c == kItemEnd;
}

void appendEscaped(std::string& out, std::string_view text) {
    for (char c : text) {
        if (special(c))
            out += kEscape;
        out += c;
    }
}

// Walks the items of an encoded text, handing each name and value, unescaped, to visit; stops when
// visit returns true.
template <typename Visit> void walk(std::string_view encoded, Visit&& visit) {
    if (encoded.empty())
        return;
    std::string name;
    std::string value;
    std::string* field = &name;
    for (size_t i = 0; i < encoded.size(); ++i) {
        const char c = encoded[i];
        if (c == kEscape && i + 1 < encoded.size()) {
            *field += encoded[++i];
        } else if (c == kNameEnd && field == &name) {
            field = &value;
        } else if (c == kItemEnd) {
            if (visit(name, value))
                return;
            name.clear();
            value.clear();
            field = &name;
        } else {
            *field += c;
        }
    }
    visit(name, value);
}

void extraValueLike(sqlite3_context* context, int, sqlite3_value** args) {
    if (sqlite3_value_type(args[0]) == SQLITE_NULL || sqlite3_value_type(args[1]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    const auto* items = reinterpret_cast<const char*>(sqlite3_value_text(args[0]));
    const int itemsSize = sqlite3_value_bytes(args[0]);
    const auto* pattern = reinterpret_cast<const char*>(sqlite3_value_text(args[1]));
    const int patternSize = sqlite3_value_bytes(args[1]);
    sqlite3_result_int(context, anyExtraValueLike(std::string_view(items, static_cast<size_t>(itemsSize)),
                                                  std::string(pattern, static_cast<size_t>(patternSize))));
}

} // namespace

void appendExtraItem(std::string& encoded, std::string_view name, std::string_view value) {
    if (!encoded.empty())
        encoded += kItemEnd;
    appendEscaped(encoded, name);
    encoded += kNameEnd;
    appendEscaped(encoded, value);
}

std::string encodeExtraItems(const std::vector<std::pair<std::string, std::string>>& items) {
    std::string encoded;
    for (const auto& [name, value] : items)
        appendExtraItem(encoded, name, value);
    return encoded;
}

std::vector<std::pair<std::string, std::string>> decodeExtraItems(std::string_view encoded) {
    std::vector<std::pair<std::string, std::string>> items;
    walk(encoded, [&](const std::string& name, const std::string& value) {
        items.emplace_back(name, value);
        return false;
    });
    return items;
}

bool anyExtraValueLike(std::string_view encoded, const std::string& pattern) {
    bool found = false;
    walk(encoded, [&](const std::string&, const std::string& value) {
        found = sqlite3_strlike(pattern.c_str(), value.c_str(), 0) == 0;
        return found;
    });
    return found;
}

void registerExtraItemsFunctions(sqlite3* db) {
    sqlite3_create_function_v2(db, "extra_value_like", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                               extraValueLike, nullptr, nullptr, nullptr);
}

} // namespace kelvane
