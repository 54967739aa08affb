#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

// The kind of a typed field in the data layer.
enum class FieldKind { DateTime, Int16, Int32, Int64, AutoInc, Boolean, String };

namespace FieldFlag {
enum : unsigned {
    None = 0,
    ReadOnly = 1,     // GID: given by the database
    Required = 2,     // FID, CorrelationGuid
    ReadSideOnly = 4, // in the table, but missing from the write-side field list
};
}

struct FieldDef {
    const char* name;
    const char* sqlType;
    const char* constraint; // SQL text after the type, may be empty
    FieldKind kind;
    int width; // characters, for strings
    unsigned flags;

    bool isNumeric() const { return kind != FieldKind::String && kind != FieldKind::DateTime; }
};

struct TableDef {
    const char* name;        // SQL table name
    const char* datasetName; // write-side dataset, e.g. ProcesscreateTable
    const char* readName;    // read-side dataset of the all-events view, empty if none
    std::span<const FieldDef> fields;
    const char* tableConstraint = ""; // after the columns, e.g. a composite key
    const char* options = "";         // after the closing parenthesis
};

namespace schema {

// Every table in the order in which the creation script creates them.
std::span<const TableDef> tables();
const TableDef* table(std::string_view name);
// Look-up by write-side dataset name (ProcesscreateTable).
const TableDef* tableByDataset(std::string_view datasetName);

// Field lists of the write side and the read side of a table.
std::vector<FieldDef> writeFields(const TableDef& table);
std::vector<FieldDef> readFields(const TableDef& table);

// Order in which the write-side datasets are opened and closed.
std::span<const char* const> writeDatasetOrder();
// Order in which the all-events view's read-side datasets open and close (table names).
std::span<const char* const> allEventsViewOrder();

std::string creationScript();
std::string deleteAllScript();
std::string checkDataQuery();
std::string searchAllEventsQuery();
// The sub-selects of that statement, in its order: each gives the FID of the rows of one event table
// (or of the extra items) that contain :TermParam.
struct SearchSubSelect {
    const char* table;
    std::string sql;
    const char* sizeColumn; // its largest value tells the table's size cheaply
};
std::vector<SearchSubSelect> searchSubSelects();

// The number of names in sqlite_master of a complete database.
constexpr int kTableCount = 40;
constexpr const char* kDatabaseVersion = "3.1";

} // namespace schema
} // namespace kelvane
