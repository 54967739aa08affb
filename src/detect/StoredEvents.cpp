#include "detect/StoredEvents.h"

#include "import/EventRecord.h"
#include "store/EventCatalogue.h"
#include "store/Schema.h"
#include "store/Sqlite.h"

#include <string>
#include <vector>

namespace kelvane::detect {

std::int64_t forEachStoredEvent(
    sql::Database& db,
    const std::function<void(int, const EventRecord&, std::string_view, std::int64_t)>& visit) {
    std::int64_t count = 0;
    EventRecord items;
    for (const EventTypeInfo& type : catalogue::types()) {
        const TableDef* table = schema::table(type.table);
        if (!table)
            continue;
        std::vector<const FieldDef*> columns;
        std::string sql = "SELECT t.FID, a.Computer";
        for (const FieldDef& field : table->fields) {
            if (std::string_view(field.name) == "FID")
                continue;
            columns.push_back(&field);
            sql += ", t.\"";
            sql += field.name;
            sql += '"';
        }
        sql += " FROM \"";
        sql += table->name;
        sql += "\" t LEFT JOIN AllEvents a ON a.GID = t.FID ORDER BY t.FID";
        auto stmt = db.prepare(sql);
        while (stmt.step()) {
            items.clear();
            for (std::size_t i = 0; i < columns.size(); ++i) {
                const int col = static_cast<int>(i) + 2;
                if (stmt.isNull(col))
                    continue;
                if (columns[i]->kind == FieldKind::Boolean)
                    items.add(columns[i]->name, stmt.columnInt64(col) ? "true" : "false");
                else
                    items.add(columns[i]->name, stmt.columnText(col));
            }
            visit(type.id, items, stmt.columnText(1), stmt.columnInt64(0));
            ++count;
        }
    }
    return count;
}

} // namespace kelvane::detect
