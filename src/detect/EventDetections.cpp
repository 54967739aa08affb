#include "detect/EventDetections.h"

#include "import/TEventMapper.h"
#include "store/Detections.h"

namespace kelvane::detect {

void EventDetections::evaluate(int eventId, const EventRecord& items, std::string_view computer,
                               std::int64_t gid) {
    m_fired.clear();
    m_rules.matcher->evaluate(eventId, items, computer, m_fired);
    for (std::uint32_t rule : m_fired)
        m_matches.emplace_back(gid, rule);
}

void EventDetections::evaluate(const EventState& state, std::int64_t gid) {
    evaluate(state.FEventIDUnderParsing, state.FEventRecordData, state.FComputerName, gid);
}

void EventDetections::store(sql::Database& db, bool keepEarlier) const {
    detections::store(db, rules(), m_matches, m_rules.skipped, keepEarlier);
}

std::string EventDetections::summary() const {
    return "Detections: " + std::to_string(rules().size()) + " rules ran, " +
           std::to_string(m_matches.size()) + " matches, " + std::to_string(m_rules.skipped.size()) +
           " rule files skipped";
}

} // namespace kelvane::detect
