#include "store/Schema.h"

#include "store/EventCatalogue.h"

#include <iterator>

namespace kelvane::schema {
namespace {

using FieldFlag::ReadOnly;
using FieldFlag::ReadSideOnly;
using FieldFlag::Required;

// AllEvents
constexpr FieldDef kAllEventsFields[] = {
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"EventType", "SMALLINT", "DEFAULT 8", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "", FieldKind::String, 50, FieldFlag::None},
    {"GID", "INTEGER", "PRIMARY KEY AUTOINCREMENT NOT NULL", FieldKind::AutoInc, 0, FieldFlag::ReadOnly},
    {"CorrelationGuid", "VARCHAR", "DEFAULT '' NOT NULL", FieldKind::String, 40, FieldFlag::Required},
    {"EventDetails", "VARCHAR", "DEFAULT ''", FieldKind::String, 512, FieldFlag::None},
    {"Computer", "VARCHAR", "", FieldKind::String, 64, FieldFlag::None},
    {"RuleName", "VARCHAR", "", FieldKind::String, 100, FieldFlag::None},
};
// AllHashes
constexpr FieldDef kAllHashesFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"ReportedByVT", "VARCHAR", "DEFAULT 'Never asked'", FieldKind::String, 11, FieldFlag::None},
    {"MD5", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 32, FieldFlag::None},
    {"SHA1", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 40, FieldFlag::None},
    {"SHA256", "VARCHAR", "DEFAULT 'nohash'", FieldKind::String, 64, FieldFlag::None},
};
// AllIPAddresses
constexpr FieldDef kAllIPAddressesFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"IPAddress", "VARCHAR", "", FieldKind::String, 15, FieldFlag::None},
    {"Direction", "VARCHAR", "", FieldKind::String, 12, FieldFlag::None},
    {"Initiated", "BOOLEAN", "", FieldKind::Boolean, 0, FieldFlag::None},
};
// AllHosts
constexpr FieldDef kAllHostsFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Hostname", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
};
// AllRegTargets
constexpr FieldDef kAllRegTargetsFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"TargetObject", "VARCHAR", "", FieldKind::String, 1024, FieldFlag::None},
};
// AllImageExes
constexpr FieldDef kAllImageExesFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Image", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ImageExe", "VARCHAR", "", FieldKind::String, 256, FieldFlag::None},
    {"ProcessGuid", "VARCHAR", "DEFAULT ''", FieldKind::String, 40, FieldFlag::None},
    {"EventType", "SMALLINT", "", FieldKind::Int16, 0, FieldFlag::None},
    {"EventTypeName", "VARCHAR", "DEFAULT ''", FieldKind::String, 30, FieldFlag::None},
};
// AllPorts
constexpr FieldDef kAllPortsFields[] = {
    {"FID", "INTEGER", "", FieldKind::Int32, 0, FieldFlag::Required},
    {"UtcTime", "DATETIME", "", FieldKind::DateTime, 0, FieldFlag::None},
    {"Port", "VARCHAR", "", FieldKind::String, 6, FieldFlag::None},
    {"PortName", "VARCHAR", "DEFAULT ''", FieldKind::String, 20, FieldFlag::None},
    {"Direction", "VARCHAR", "", FieldKind::String, 12, FieldFlag::None},
};
// KelvaneVersion
constexpr FieldDef kKelvaneVersionFields[] = {
    {"SVersion", "VARCHAR", "", FieldKind::String, 10, FieldFlag::None},
};

// Rows of no column: every item of an event that its table has no column for, in the order of the log,
// in one text per event (encoded as ExtraItemsCodec.h describes). The event's GID is the row id.
constexpr FieldDef kExtraItemsFields[] = {
    {"FID", "INTEGER", "PRIMARY KEY", FieldKind::Int64, 0, FieldFlag::Required},
    {"Items", "TEXT", "NOT NULL", FieldKind::String, 0, FieldFlag::None},
};

constexpr TableDef kSummaryTables[] = {
    {"AllEvents", "AlleventsTable", "", kAllEventsFields},
    {"AllHashes", "AllhashesTable", "", kAllHashesFields},
    {"AllIPAddresses", "AllipaddressesTable", "", kAllIPAddressesFields},
    {"AllHosts", "AllhostsTable", "", kAllHostsFields},
    {"AllRegTargets", "AllregtargetsTable", "", kAllRegTargetsFields},
    {"AllImageExes", "AllimageexesTable", "", kAllImageExesFields},
    {"AllPorts", "AllportsTable", "", kAllPortsFields},
};
constexpr TableDef kVersionTable = {"KelvaneVersion", "KelvaneversionTable", "", kKelvaneVersionFields};
constexpr TableDef kExtraItemsTable = {"ExtraItems", "ExtraitemsTable", "", kExtraItemsFields};

// The event tables of the first layout in the order its databases were built; the creation script keeps
// it, so that a database of an older log is built as it always was. Later types follow by id.
constexpr std::string_view kFirstLayoutOrder[] = {
    "CreateRemoteThreadDetected",
    "DriverLoaded",
    "FileCreated",
    "FileCreationTimeChanged",
    "FileStreamCreated",
    "ImageLoaded",
    "NetworkConnectionDetected",
    "PipeConnected",
    "PipeCreated",
    "ProcessAccessed",
    "ProcessCreate",
    "ProcessTerminated",
    "RawAccessReadDetected",
    "RegistryObjectAddedOrDeleted",
    "RegistryObjectRenamed",
    "RegistryValueSet",
    "WMIFilter",
    "WMIConsumer",
    "WMIBinding",
    "DNSQuery",
};

TableDef tableOf(const EventTypeInfo& type) {
    return {type.table, type.datasetName, type.readName, type.fields};
}

// The event tables in creation order.
std::vector<TableDef> eventTables() {
    std::vector<TableDef> tables;
    for (std::string_view name : kFirstLayoutOrder)
        tables.push_back(tableOf(*catalogue::findByTable(name)));
    for (const EventTypeInfo& type : catalogue::types())
        if (!type.firstLayout)
            tables.push_back(tableOf(type));
    return tables;
}

const std::vector<TableDef>& allTables() {
    static const std::vector<TableDef> tables = [] {
        std::vector<TableDef> list(std::begin(kSummaryTables), std::end(kSummaryTables));
        const std::vector<TableDef> events = eventTables();
        list.insert(list.end(), events.begin(), events.begin() + std::size(kFirstLayoutOrder));
        list.push_back(kVersionTable);
        list.insert(list.end(), events.begin() + std::size(kFirstLayoutOrder), events.end());
        list.push_back(kExtraItemsTable);
        return list;
    }();
    return tables;
}

} // namespace

std::span<const TableDef> tables() {
    return allTables();
}

const TableDef* table(std::string_view name) {
    for (const auto& t : allTables())
        if (name == t.name)
            return &t;
    return nullptr;
}

const TableDef* tableByDataset(std::string_view datasetName) {
    for (const auto& t : allTables())
        if (datasetName == t.datasetName)
            return &t;
    return nullptr;
}

std::vector<FieldDef> writeFields(const TableDef& table) {
    std::vector<FieldDef> fields;
    for (const auto& f : table.fields)
        if (!(f.flags & ReadSideOnly))
            fields.push_back(f);
    return fields;
}

std::vector<FieldDef> readFields(const TableDef& table) {
    std::vector<FieldDef> fields(table.fields.begin(), table.fields.end());
    // The read side of WMIFilter shows its type name two characters narrower than it is written.
    if (std::string_view(table.name) == "WMIFilter")
        for (auto& f : fields)
            if (std::string_view(f.name) == "EventTypeName")
                f.width = 30;
    return fields;
}

std::span<const char* const> writeDatasetOrder() {
    // Process creations first, then the other event tables and the summary tables in creation order.
    static const std::vector<const char*> order = [] {
        std::vector<const char*> names{"ProcessCreate"};
        for (const TableDef& t : eventTables())
            if (std::string_view(t.name) != "ProcessCreate")
                names.push_back(t.name);
        for (const TableDef& t : kSummaryTables)
            names.push_back(t.name);
        names.push_back(kExtraItemsTable.name);
        names.push_back(kVersionTable.name);
        return names;
    }();
    return order;
}

std::span<const char* const> allEventsViewOrder() {
    // The event tables in the order of the write side, then the master table.
    static const std::vector<const char*> order = [] {
        std::vector<const char*> names;
        for (const char* name : writeDatasetOrder())
            if (catalogue::findByTable(name))
                names.push_back(name);
        names.push_back("AllEvents");
        return names;
    }();
    return order;
}

std::string creationScript() {
    std::string sql;
    for (const auto& t : allTables()) {
        sql += "CREATE TABLE ";
        sql += t.name;
        sql += " (\n";
        bool first = true;
        for (const auto& f : t.fields) {
            if (!first)
                sql += ",\n";
            first = false;
            sql += "  ";
            sql += f.name;
            sql += ' ';
            sql += f.sqlType;
            if (*f.constraint) {
                sql += ' ';
                sql += f.constraint;
            }
        }
        if (*t.tableConstraint) {
            sql += ",\n  ";
            sql += t.tableConstraint;
        }
        sql += "\n)";
        sql += t.options;
        sql += ";\n";
    }
    return sql;
}

std::string deleteAllScript() {
    // The event tables by id, then the summary tables, the extra items and the version.
    std::string sql;
    auto add = [&sql](const char* table) {
        sql += "DELETE FROM ";
        sql += table;
        sql += ";\n";
    };
    for (const EventTypeInfo& type : catalogue::types())
        add(type.table);
    for (const TableDef& t : kSummaryTables)
        add(t.name);
    add(kExtraItemsTable.name);
    add(kVersionTable.name);
    return sql;
}

std::string checkDataQuery() {
    std::string sql;
    // The event tables by id, but DNSQuery: a database of DNS queries alone counts as holding no data.
    for (const EventTypeInfo& type : catalogue::types()) {
        if (type.id == 22)
            continue;
        if (!sql.empty())
            sql += "\nUNION ALL\n";
        sql += "SELECT UtcTime FROM ";
        sql += type.table;
    }
    return sql;
}

namespace {

void appendLike(std::string& sql, std::string_view column) {
    if (column.ends_with('#')) {
        sql += "CAST(";
        sql += column.substr(0, column.size() - 1);
        sql += " AS TEXT)";
    } else {
        sql += column;
    }
    sql += " LIKE '%' || :TermParam || '%'";
}

} // namespace

std::vector<SearchSubSelect> searchSubSelects() {
    std::vector<SearchSubSelect> selects;
    for (const TableDef& t : eventTables()) {
        const EventTypeInfo& type = *catalogue::findByTable(t.name);
        std::string sql = "SELECT FID FROM ";
        sql += type.table;
        sql += " WHERE RuleName LIKE '%' || :TermParam || '%'";
        for (std::string_view column : type.searchColumns) {
            sql += " OR ";
            appendLike(sql, column);
        }
        selects.push_back({type.table, std::move(sql), "rowid"});
    }
    // The items no column takes are found by their values, each value on its own.
    std::string sql = "SELECT FID FROM ExtraItems WHERE extra_value_like(Items, '%' || :TermParam || '%')";
    selects.push_back({kExtraItemsTable.name, std::move(sql), "FID"});
    return selects;
}

std::string searchAllEventsQuery() {
    std::string sql = "SELECT * FROM AllEvents\nWHERE GID IN (\n";
    bool firstBlock = true;
    for (const auto& select : searchSubSelects()) {
        if (!firstBlock)
            sql += "\nUNION\n";
        firstBlock = false;
        sql += select.sql;
    }
    sql += "\n);";
    return sql;
}

} // namespace kelvane::schema
