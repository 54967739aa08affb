#pragma once

#include "store/DateTime.h"
#include "store/Schema.h"
#include "store/Sqlite.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kelvane {

// A failure of the data layer, worded as the user sees it ("AlleventsTable: Field 'X' not found").
class DatasetError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One value of a row prepared on another thread: a number, or text in the batch that carries it.
struct RecordedValue {
    std::int64_t integer = 0;
    std::uint32_t textOffset = 0;
    std::uint32_t textLength = 0;
    bool isText = false;
};

class TTableDataset;

// Takes the rows that a recording dataset posts.
class TRowRecorder {
public:
    virtual ~TRowRecorder() = default;
    virtual void recordRow(const TTableDataset& dataset, std::int64_t key) = 0;
};

// Cuts UTF-8 text to at most width characters (UTF-16 units, as the field widths count them),
// never inside a character.
void cutToWidth(std::string& text, int width);

// The write side of one table: rows are appended, their fields set by name, and posted.
// A row that is not posted stays pending; the next append posts it with what it has.
class TTableDataset {
public:
    TTableDataset(const TableDef& table, std::vector<FieldDef> fields);

    const std::string& name() const { return m_name; }
    const TableDef& table() const { return m_table; }
    const std::vector<FieldDef>& fields() const { return m_fields; }
    bool active() const { return m_db != nullptr || m_recorder != nullptr; }

    // Checks that the table has every field and makes the dataset usable on db.
    void open(sql::Database& db);
    // Drops a pending row and the cached statements.
    void close();
    // Makes the dataset usable without a database: a post checks the row as usual and hands it to the
    // recorder; the keys it gives are counted on from firstKey (the next AUTOINCREMENT value).
    void openRecording(TRowRecorder& recorder, std::int64_t firstKey);
    // Writes a row prepared by a recording twin of this dataset; texts are read from arena.
    void insertRecorded(std::uint64_t mask, const RecordedValue* values, std::string_view arena);
    std::uint64_t assignedMask() const { return m_assignedMask; }
    bool isTextValue(int field) const { return m_values[static_cast<size_t>(field)].isText; }
    // The dataset's place in its module's list.
    int ordinal() const { return m_ordinal; }
    void setOrdinal(int ordinal) { m_ordinal = ordinal; }

    void append();
    bool hasPendingRow() const { return m_pending; }

    // Index of a field, or -1.
    int indexOf(std::string_view fieldName) const;
    // Index of a field; throws the missing-field error.
    int fieldByName(std::string_view fieldName) const;

    void setText(int field, std::string_view value);
    void setInteger(int field, std::int64_t value);
    void setBoolean(int field, bool value) { setInteger(field, value ? 1 : 0); }
    void setDateTime(int field, const DateTime& value);
    void setText(std::string_view field, std::string_view value) { setText(fieldByName(field), value); }
    void setInteger(std::string_view field, std::int64_t value) { setInteger(fieldByName(field), value); }
    void setBoolean(std::string_view field, bool value) { setBoolean(fieldByName(field), value); }
    void setDateTime(std::string_view field, const DateTime& value) {
        setDateTime(fieldByName(field), value);
    }

    // Inserts the pending row; only assigned fields are written, so the others take their defaults.
    void post();
    // Key of the last posted row (GID of AllEvents).
    std::int64_t lastKey() const { return m_lastKey; }

    // The current row's values as they were (or will be) written.
    bool isAssigned(int field) const { return m_values[static_cast<size_t>(field)].assigned; }
    std::string_view text(int field) const;
    std::int64_t integer(int field) const { return m_values[static_cast<size_t>(field)].integer; }
    bool boolean(int field) const { return integer(field) != 0; }
    std::string_view text(std::string_view field) const { return text(fieldByName(field)); }
    std::int64_t integer(std::string_view field) const { return integer(fieldByName(field)); }
    bool boolean(std::string_view field) const { return boolean(fieldByName(field)); }

private:
    struct Value {
        bool assigned = false;
        bool isText = false;
        std::int64_t integer = 0;
        std::string text;
    };
    void assign(int field);
    void setKey(std::int64_t key);
    sql::Statement& insertStatement(std::uint64_t mask);

    const TableDef& m_table;
    std::vector<FieldDef> m_fields;
    std::string m_name;
    std::vector<std::string_view> m_names;
    std::vector<Value> m_values;
    std::uint64_t m_assignedMask = 0;
    bool m_pending = false;
    std::int64_t m_lastKey = 0;
    sql::Database* m_db = nullptr;
    TRowRecorder* m_recorder = nullptr;
    std::int64_t m_nextKey = 1;
    int m_ordinal = -1;
    bool m_hasKey = false;
    std::unordered_map<std::uint64_t, sql::Statement> m_inserts;
};

} // namespace kelvane
