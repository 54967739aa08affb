#include "store/EventItems.h"

#include "store/EventCatalogue.h"
#include "store/ExtraItemsCodec.h"

#include <map>
#include <memory>

namespace kelvane {
namespace {

// The column that holds an item: its own name, but for the stream hash, which the table keeps as Hashes.
const char* columnFor(const EventTypeInfo& type, const char* item) {
    return type.id == 15 && std::string_view(item) == "Hash" ? "Hashes" : item;
}

// The item names of a type's columns in printing order.
std::vector<const char*> itemNames(const EventTypeInfo& type) {
    std::vector<const char*> names{"UtcTime", "RuleName"};
    names.insert(names.end(), type.items.begin(), type.items.end());
    return names;
}

// SELECT FID, <columns of the items> FROM <table>; the names are the catalogue's own.
std::string columnsSelect(const EventTypeInfo& type) {
    std::string sql = "SELECT FID";
    for (const char* item : itemNames(type)) {
        sql += ", ";
        sql += columnFor(type, item);
    }
    sql += " FROM ";
    sql += type.table;
    return sql;
}

std::string valueText(const sql::Statement& stmt, int column) {
    if (stmt.columnType(column) == SQLITE_INTEGER)
        return std::to_string(stmt.columnInt64(column));
    return std::string(stmt.columnText(column));
}

// Appends the column items of the statement's current row.
void addColumnItems(const EventTypeInfo& type, const sql::Statement& stmt, EventItems& event) {
    const std::vector<const char*> names = itemNames(type);
    for (size_t i = 0; i < names.size(); ++i) {
        const int column = static_cast<int>(i) + 1;
        if (!stmt.isNull(column))
            event.items.emplace_back(names[i], valueText(stmt, column));
    }
}

void escapeInto(std::string& out, std::string_view text) {
    for (char c : text) {
        switch (c) {
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\\':
            out += "\\\\";
            break;
        default:
            out += c;
        }
    }
}

} // namespace

std::vector<std::pair<std::string, std::string>> readExtraItems(sql::Database& db, std::int64_t gid) {
    sql::Statement stmt = db.prepare("SELECT Items FROM ExtraItems WHERE FID = ?");
    stmt.bind(1, gid);
    if (!stmt.step())
        return {};
    return decodeExtraItems(stmt.columnText(0));
}

std::optional<EventItems> readEventItems(sql::Database& db, std::int64_t gid) {
    sql::Statement master = db.prepare("SELECT EventType FROM AllEvents WHERE GID = ?");
    master.bind(1, gid);
    if (!master.step())
        return std::nullopt;
    EventItems event;
    event.gid = gid;
    event.eventId = static_cast<int>(master.columnInt64(0));
    if (const EventTypeInfo* type = catalogue::find(event.eventId)) {
        sql::Statement row = db.prepare(columnsSelect(*type) + " WHERE FID = ?");
        row.bind(1, gid);
        if (row.step())
            addColumnItems(*type, row, event);
    }
    for (auto& item : readExtraItems(db, gid))
        event.items.push_back(std::move(item));
    return event;
}

void forEachEventItems(sql::Database& db, const std::function<void(const EventItems&)>& visit) {
    // The rows of each table lie in import order, so one cursor per table walks along with the master.
    struct Cursor {
        sql::Statement stmt;
        bool hasRow = false;
    };
    std::map<int, std::unique_ptr<Cursor>> cursors;
    auto cursorFor = [&](const EventTypeInfo& type) -> Cursor& {
        auto& cursor = cursors[type.id];
        if (!cursor) {
            cursor = std::make_unique<Cursor>();
            cursor->stmt = db.prepare(columnsSelect(type) + " ORDER BY rowid");
            cursor->hasRow = cursor->stmt.step();
        }
        return *cursor;
    };
    sql::Statement extras = db.prepare("SELECT FID, Items FROM ExtraItems ORDER BY FID");
    bool extraRow = extras.step();

    sql::Statement master = db.prepare("SELECT GID, EventType FROM AllEvents ORDER BY GID");
    EventItems event;
    while (master.step()) {
        event.gid = master.columnInt64(0);
        event.eventId = static_cast<int>(master.columnInt64(1));
        event.items.clear();
        if (const EventTypeInfo* type = catalogue::find(event.eventId)) {
            Cursor& cursor = cursorFor(*type);
            while (cursor.hasRow && cursor.stmt.columnInt64(0) < event.gid)
                cursor.hasRow = cursor.stmt.step();
            if (cursor.hasRow && cursor.stmt.columnInt64(0) == event.gid)
                addColumnItems(*type, cursor.stmt, event);
        }
        while (extraRow && extras.columnInt64(0) < event.gid)
            extraRow = extras.step();
        if (extraRow && extras.columnInt64(0) == event.gid) {
            for (auto& item : decodeExtraItems(extras.columnText(1)))
                event.items.push_back(std::move(item));
            extraRow = extras.step();
        }
        visit(event);
    }
}

std::string itemsLine(const EventItems& event) {
    std::string line = std::to_string(event.gid);
    line += '\t';
    line += std::to_string(event.eventId);
    for (const auto& [name, value] : event.items) {
        line += '\t';
        escapeInto(line, name);
        line += '=';
        escapeInto(line, value);
    }
    return line;
}

} // namespace kelvane
