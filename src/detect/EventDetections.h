#pragma once

#include "detect/RuleLibrary.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kelvane {
struct EventState;
class EventRecord;
namespace sql {
class Database;
}
} // namespace kelvane

namespace kelvane::detect {

// The rules of one import or re-evaluation and what they found, ready to be stored.
class EventDetections {
public:
    explicit EventDetections(LoadedRules rules) : m_rules(std::move(rules)) {}

    // One event, as its items were read; gid is its master row's key.
    void evaluate(int eventId, const EventRecord& items, std::string_view computer, std::int64_t gid);
    void evaluate(const EventState& state, std::int64_t gid);

    // Writes the rules, the matches and the skipped files into the database (replacing earlier ones, or
    // adding to them with keepEarlier).
    void store(sql::Database& db, bool keepEarlier = false) const;

    const std::vector<RuleInfo>& rules() const { return m_rules.matcher->rules(); }
    const std::vector<SkippedRule>& skipped() const { return m_rules.skipped; }
    const std::vector<std::pair<std::int64_t, std::uint32_t>>& matches() const { return m_matches; }
    const RuleMatcher& matcher() const { return *m_rules.matcher; }
    // One line for a person: rules, matches, skipped files.
    std::string summary() const;

private:
    LoadedRules m_rules;
    std::vector<std::pair<std::int64_t, std::uint32_t>> m_matches;
    std::vector<std::uint32_t> m_fired;
};

} // namespace kelvane::detect
