#include "store/TTableDataset.h"

#include <bit>
#include <set>

namespace kelvane {

void cutToWidth(std::string& text, int width) {
    if (width <= 0 || text.size() <= static_cast<size_t>(width))
        return;
    size_t pos = 0;
    int units = 0;
    while (pos < text.size()) {
        const auto lead = static_cast<unsigned char>(text[pos]);
        const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        const int charUnits = length == 4 ? 2 : 1;
        if (units + charUnits > width)
            break;
        units += charUnits;
        pos += static_cast<size_t>(length);
    }
    if (pos < text.size())
        text.resize(pos);
}

TTableDataset::TTableDataset(const TableDef& table, std::vector<FieldDef> fields)
    : m_table(table), m_fields(std::move(fields)), m_name(table.datasetName), m_values(m_fields.size()) {
    // Which fields a row assigns is kept as one bit each in a 64-bit mask.
    if (m_fields.size() > 64)
        throw DatasetError(m_name + ": more than 64 fields");
    for (const FieldDef& field : m_fields) {
        m_names.emplace_back(field.name);
        m_hasKey = m_hasKey || field.kind == FieldKind::AutoInc;
    }
}

void TTableDataset::open(sql::Database& db) {
    if (m_db == &db)
        return;
    auto probe = db.prepare(std::string("SELECT * FROM ") + m_table.name);
    std::set<std::string> columns;
    for (int i = 0; i < probe.columnCount(); ++i)
        columns.insert(probe.columnName(i));
    for (const auto& field : m_fields)
        if (!columns.count(field.name))
            throw DatasetError(m_name + ": Field '" + field.name + "' not found");
    m_db = &db;
    m_pending = false;
}

void TTableDataset::openRecording(TRowRecorder& recorder, std::int64_t firstKey) {
    m_recorder = &recorder;
    m_nextKey = firstKey;
    m_pending = false;
}

void TTableDataset::close() {
    m_inserts.clear();
    m_db = nullptr;
    m_recorder = nullptr;
    m_pending = false;
    m_assignedMask = 0;
}

void TTableDataset::append() {
    if (!active())
        throw DatasetError(m_name + ": Cannot perform this operation on a closed dataset");
    if (m_pending && m_assignedMask != 0)
        post();
    for (auto& value : m_values) {
        value.assigned = false;
        value.integer = 0;
        value.text.clear();
    }
    m_assignedMask = 0;
    m_pending = true;
}

int TTableDataset::indexOf(std::string_view fieldName) const {
    // At most 27 short names: comparing lengths first beats hashing the name.
    for (size_t i = 0; i < m_names.size(); ++i)
        if (m_names[i].size() == fieldName.size() && m_names[i] == fieldName)
            return static_cast<int>(i);
    return -1;
}

int TTableDataset::fieldByName(std::string_view fieldName) const {
    const int index = indexOf(fieldName);
    if (index < 0)
        throw DatasetError(m_name + ": Field '" + std::string(fieldName) + "' not found");
    return index;
}

void TTableDataset::assign(int field) {
    if (field < 0 || static_cast<size_t>(field) >= m_fields.size())
        throw DatasetError(m_name + ": Field index " + std::to_string(field) + " out of range");
    if (!m_pending)
        throw DatasetError(m_name + ": Dataset not in edit or insert mode");
    if (m_fields[static_cast<size_t>(field)].flags & FieldFlag::ReadOnly)
        throw DatasetError(m_name + ": Field '" + m_fields[static_cast<size_t>(field)].name +
                           "' cannot be modified");
    m_values[static_cast<size_t>(field)].assigned = true;
    m_assignedMask |= std::uint64_t(1) << field;
}

void TTableDataset::setText(int field, std::string_view value) {
    assign(field);
    auto& slot = m_values[static_cast<size_t>(field)];
    const FieldDef& def = m_fields[static_cast<size_t>(field)];
    switch (def.kind) {
    case FieldKind::String:
    case FieldKind::DateTime:
        slot.isText = true;
        slot.text.assign(value);
        if (def.kind == FieldKind::String)
            cutToWidth(slot.text, def.width);
        break;
    default:
        throw DatasetError(m_name + ": Field '" + def.name + "' is not a text field");
    }
}

void TTableDataset::setInteger(int field, std::int64_t value) {
    assign(field);
    auto& slot = m_values[static_cast<size_t>(field)];
    const FieldDef& def = m_fields[static_cast<size_t>(field)];
    switch (def.kind) {
    case FieldKind::Int16:
        value = static_cast<std::int16_t>(value);
        break;
    case FieldKind::Int32:
    case FieldKind::AutoInc:
        value = static_cast<std::int32_t>(value);
        break;
    case FieldKind::Boolean:
        value = value != 0;
        break;
    case FieldKind::Int64:
        break;
    case FieldKind::String:
        slot.isText = true;
        slot.text = std::to_string(value);
        cutToWidth(slot.text, def.width);
        return;
    case FieldKind::DateTime:
        throw DatasetError(m_name + ": Field '" + def.name + "' is not an integer field");
    }
    slot.isText = false;
    slot.integer = value;
}

void TTableDataset::setDateTime(int field, const DateTime& value) {
    const FieldDef& def = m_fields[static_cast<size_t>(field)];
    if (def.kind != FieldKind::DateTime)
        throw DatasetError(m_name + ": Field '" + def.name + "' is not a date field");
    assign(field);
    auto& slot = m_values[static_cast<size_t>(field)];
    slot.isText = true;
    slot.text = value.storageText();
}

std::string_view TTableDataset::text(int field) const {
    const auto& slot = m_values[static_cast<size_t>(field)];
    return slot.isText ? std::string_view(slot.text) : std::string_view();
}

sql::Statement& TTableDataset::insertStatement(std::uint64_t mask) {
    auto it = m_inserts.find(mask);
    if (it != m_inserts.end())
        return it->second;
    std::string columns;
    std::string params;
    for (size_t i = 0; i < m_fields.size(); ++i) {
        if (!(mask & (std::uint64_t(1) << i)))
            continue;
        if (!columns.empty()) {
            columns += ", ";
            params += ", ";
        }
        columns += '"';
        columns += m_fields[i].name;
        columns += '"';
        params += '?';
    }
    std::string sql = std::string("INSERT INTO ") + m_table.name;
    sql += columns.empty() ? std::string(" DEFAULT VALUES") : " (" + columns + ") VALUES (" + params + ")";
    return m_inserts.emplace(mask, m_db->prepare(sql, true)).first->second;
}

void TTableDataset::post() {
    if (!active())
        throw DatasetError(m_name + ": Cannot perform this operation on a closed dataset");
    if (!m_pending)
        return;
    for (size_t i = 0; i < m_fields.size(); ++i)
        if ((m_fields[i].flags & FieldFlag::Required) && !m_values[i].assigned)
            throw DatasetError(m_name + ": Field '" + m_fields[i].name + "' must have a value");
    if (m_recorder) {
        const std::int64_t key = m_hasKey ? m_nextKey++ : 0;
        m_recorder->recordRow(*this, key);
        setKey(key);
        return;
    }
    sql::Statement& insert = insertStatement(m_assignedMask);
    int parameter = 1;
    for (size_t i = 0; i < m_fields.size(); ++i) {
        const Value& value = m_values[i];
        if (!value.assigned)
            continue;
        if (value.isText)
            insert.bindStatic(parameter++, value.text);
        else
            insert.bind(parameter++, value.integer);
    }
    try {
        insert.run();
    } catch (...) {
        insert.reset();
        throw;
    }
    insert.reset();
    setKey(m_db->lastInsertRowId());
}

void TTableDataset::setKey(std::int64_t key) {
    m_lastKey = key;
    for (size_t i = 0; i < m_fields.size(); ++i)
        if (m_fields[i].kind == FieldKind::AutoInc) {
            m_values[i].isText = false;
            m_values[i].integer = m_lastKey;
        }
    m_pending = false;
}

void TTableDataset::insertRecorded(std::uint64_t mask, const RecordedValue* values, std::string_view arena) {
    if (!m_db)
        throw DatasetError(m_name + ": Cannot perform this operation on a closed dataset");
    sql::Statement& insert = insertStatement(mask);
    const int count = std::popcount(mask);
    for (int i = 0; i < count; ++i) {
        const RecordedValue& value = values[i];
        if (value.isText)
            insert.bindStatic(i + 1, arena.substr(value.textOffset, value.textLength));
        else
            insert.bind(i + 1, value.integer);
    }
    try {
        insert.run();
    } catch (...) {
        insert.reset();
        throw;
    }
    insert.reset();
    m_lastKey = m_db->lastInsertRowId();
}

} // namespace kelvane
