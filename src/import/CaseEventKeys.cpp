#include "import/CaseEventKeys.h"

#include "import/TEventMapper.h"
#include "store/CaseFiles.h"
#include "store/Sqlite.h"

#include <functional>
#include <string_view>

namespace kelvane {

namespace {

std::uint64_t hashOf(std::string_view computer, std::string_view recordId, std::string_view utcTime) {
    std::string text;
    text.reserve(computer.size() + recordId.size() + utcTime.size() + 2);
    text.append(computer).append(1, '\x1f').append(recordId).append(1, '\x1f').append(utcTime);
    return std::hash<std::string_view>()(text);
}

} // namespace

void CaseEventKeys::load(sql::Database& db) {
    casefiles::ensureTables(db);
    auto stmt = db.prepare("SELECT Computer, RecordId, UtcTime FROM CaseEvents");
    while (stmt.step())
        m_seen.insert(hashOf(stmt.columnText(0), stmt.columnText(1), stmt.columnText(2)));
}

bool CaseEventKeys::isDuplicate(const EventState& event, const std::string& recordId) {
    if (recordId.empty())
        return false;
    const std::string* utcTime = event.FEventRecordData.find("UtcTime");
    const std::string_view time = utcTime ? std::string_view(*utcTime) : std::string_view();
    if (!m_seen.insert(hashOf(event.FComputerName, recordId, time)).second)
        return true;
    m_new.push_back({event.FComputerName, recordId, std::string(time)});
    return false;
}

void CaseEventKeys::writeNew(sql::Database& db) {
    auto stmt = db.prepare("INSERT OR IGNORE INTO CaseEvents (Computer, RecordId, UtcTime) VALUES (?, ?, ?)");
    for (const Key& key : m_new) {
        stmt.reset();
        stmt.bind(1, std::string_view(key.computer));
        stmt.bind(2, std::string_view(key.recordId));
        stmt.bind(3, std::string_view(key.utcTime));
        stmt.step();
    }
    m_new.clear();
}

} // namespace kelvane
