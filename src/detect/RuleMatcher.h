#pragma once

#include "detect/PatternSet.h"
#include "detect/SigmaRule.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {
class EventRecord;
}

namespace kelvane::detect {

struct CompiledRule;

// All rules compiled into one matcher. Per event id and field, one pattern set holds every pattern the rules
// look for there; an event runs each of its fields through its set once, and only the rules whose needed
// patterns were found (and the few that need none) have their condition evaluated.
// One matcher serves one thread at a time.
class RuleMatcher {
public:
    // Rules whose patterns or networks cannot be compiled are left out and added to skipped.
    RuleMatcher(std::vector<SigmaRule> rules, MatcherBackend backend, std::vector<SkippedRule>& skipped);
    ~RuleMatcher();
    RuleMatcher(const RuleMatcher&) = delete;
    RuleMatcher& operator=(const RuleMatcher&) = delete;

    // The rules compiled, by the index evaluate reports.
    const std::vector<RuleInfo>& rules() const { return m_infos; }

    // Appends, in rising order, the index of every rule the event fires.
    void evaluate(int eventId, const EventRecord& items, std::string_view computer,
                  std::vector<std::uint32_t>& fired);

    // Rules that applied to the events evaluated so far (one per rule and event of its log source), and of
    // those the ones whose condition had to be evaluated.
    std::uint64_t ruleEvaluations() const { return m_applicable; }
    std::uint64_t conditionsEvaluated() const { return m_evaluated; }

private:
    struct Field;
    struct Test;
    struct EventPlan;
    class Builder;

    const std::string* value(int field);
    bool testTrue(const Test& test);
    bool conditionTrue(const CompiledRule& rule, int node);

    std::vector<RuleInfo> m_infos;
    std::vector<CompiledRule> m_rules;
    std::vector<Field> m_fields;
    std::vector<Test> m_tests;
    std::vector<std::vector<std::uint32_t>> m_triggers; // per pattern (atom): rules that need it
    std::vector<EventPlan> m_plans;
    std::vector<int> m_planOfEvent; // event id -> plan, or -1

    // Per event.
    std::uint32_t m_generation = 0;
    std::vector<std::uint32_t> m_atomSeen;
    std::vector<std::uint32_t> m_ruleQueued;
    std::vector<std::uint32_t> m_fieldResolved;
    std::vector<const std::string*> m_fieldValues;
    std::vector<std::string> m_fieldBuffers;
    std::vector<int> m_hits;
    std::vector<std::uint32_t> m_candidates;
    int m_eventId = 0;
    const EventRecord* m_items = nullptr;
    std::string_view m_computer;
    std::uint64_t m_applicable = 0;
    std::uint64_t m_evaluated = 0;
};

} // namespace kelvane::detect
