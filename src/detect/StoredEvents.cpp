#include "detect/StoredEvents.h"

#include "import/EventRecord.h"
#include "store/EventCatalogue.h"
#include "store/EventItems.h"
#include "store/Schema.h"
#include "store/Sqlite.h"

#include <string>

namespace kelvane::detect {

namespace {

bool isBoolean(const TableDef* table, std::string_view name) {
    if (!table)
        return false;
    for (const FieldDef& field : table->fields)
        if (name == field.name)
            return field.kind == FieldKind::Boolean;
    return false;
}

} // namespace

std::int64_t forEachStoredEvent(
    sql::Database& db,
    const std::function<void(int, const EventRecord&, std::string_view, std::int64_t)>& visit) {
    std::int64_t count = 0;
    EventRecord items;
    std::string computer;
    auto computerOf = db.prepare("SELECT Computer FROM AllEvents WHERE GID = ?");
    // The columns' items and the extra items no column takes, as the import read them.
    forEachEventItems(db, [&](const EventItems& event) {
        const EventTypeInfo* type = catalogue::find(event.eventId);
        const TableDef* table = type ? schema::table(type->table) : nullptr;
        items.clear();
        for (const auto& [name, value] : event.items) {
            // Truth values are stored as numbers; Sysmon writes them as words.
            if (isBoolean(table, name))
                items.add(name, value == "0" ? "false" : "true");
            else
                items.add(name, value);
        }
        computerOf.reset();
        computerOf.bind(1, event.gid);
        computer.assign(computerOf.step() ? computerOf.columnText(0) : std::string_view());
        visit(event.eventId, items, computer, event.gid);
        ++count;
    });
    return count;
}

} // namespace kelvane::detect
