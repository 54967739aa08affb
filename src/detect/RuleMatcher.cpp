#include "detect/RuleMatcher.h"

#include "import/EventRecord.h"

#include <QHostAddress>

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <stdexcept>
#include <tuple>

namespace kelvane::detect {

namespace {

bool equalsCaseless(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::optional<double> number(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

// The four hash fields are cut out of Sysmon's Hashes item ("SHA1=...,MD5=...,IMPHASH=...").
const char* const kHashNames[] = {"md5", "sha1", "sha256", "imphash"};

} // namespace

struct RuleMatcher::Field {
    enum class Source { Item, EventId, Channel, Provider, Computer, Hash, Keywords } source;
    std::string name;
};

struct RuleMatcher::Test {
    ValueTest::Kind kind;
    int field = -1;
    int atom = -1;
    bool exists = true;
    std::pair<QHostAddress, int> network;
    ValueTest::Compare compare = ValueTest::Compare::Less;
    double number = 0;
    int otherField = -1;
    ValueTest::Place place = ValueTest::Place::Equal;
    bool caseless = true;
};

struct CompiledField {
    int field;
    bool all;
    bool negate;
    std::vector<std::vector<int>> values; // tests
};

struct CompiledNode {
    ConditionNode::Kind kind;
    int selection;
    std::vector<int> children;
};

struct CompiledRule {
    std::vector<std::vector<std::vector<CompiledField>>> selections; // selection -> maps -> fields
    std::vector<CompiledNode> nodes;
    int root = 0;
    std::vector<LogSourceTarget> targets;
};

struct RuleMatcher::EventPlan {
    struct Group {
        int field;
        std::vector<int> atoms; // pattern index -> atom
        std::unique_ptr<PatternSet> set;
    };
    std::vector<Group> groups;
    std::vector<std::uint32_t> always;                // rules that need no pattern
    std::vector<std::vector<std::string>> eventTypes; // per rule index, for rules narrowed by EventType
    std::vector<std::uint32_t> narrowed;              // the rules eventTypes speaks of
    std::vector<bool> applies;                        // per rule: whether it looks at this event id
    std::uint32_t ruleCount = 0;
};

// Turns the rules' model into the tables the matcher runs on.
class RuleMatcher::Builder {
public:
    explicit Builder(RuleMatcher& m) : m(m) {}

    int field(const std::string& name) {
        auto found = m_fieldIds.find(name);
        if (found != m_fieldIds.end())
            return found->second;
        Field f{Field::Source::Item, name};
        std::string lower = name;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        if (name.empty())
            f.source = Field::Source::Keywords;
        else if (name == "EventID")
            f.source = Field::Source::EventId;
        else if (name == "Channel")
            f.source = Field::Source::Channel;
        else if (name == "Provider_Name")
            f.source = Field::Source::Provider;
        else if (name == "Computer")
            f.source = Field::Source::Computer;
        else if (std::find(std::begin(kHashNames), std::end(kHashNames), lower) != std::end(kHashNames)) {
            f.source = Field::Source::Hash;
            f.name = lower;
        }
        m.m_fields.push_back(f);
        const int id = static_cast<int>(m.m_fields.size()) - 1;
        m_fieldIds.emplace(name, id);
        return id;
    }

    int atom(int fieldId, const ValueTest& value) {
        const auto key = std::make_tuple(fieldId, value.regex, value.caseless, value.multiLine, value.dotAll);
        auto found = m_atomIds.find(key);
        if (found != m_atomIds.end())
            return found->second;
        Pattern pattern{value.regex, value.caseless, value.multiLine, value.dotAll};
        // Patterns made from values are escaped and always valid; a rule's own expression may not be.
        const std::string error = value.written ? checkPattern(pattern) : std::string();
        if (!error.empty())
            throw std::runtime_error("the regular expression '" + value.regex + "' is refused: " + error);
        m_patterns.push_back(pattern);
        m_atomFields.push_back(fieldId);
        const int id = static_cast<int>(m_patterns.size()) - 1;
        m_atomIds.emplace(key, id);
        return id;
    }

    int test(int fieldId, const ValueTest& value) {
        Test t;
        t.kind = value.kind;
        t.field = fieldId;
        t.caseless = value.caseless;
        switch (value.kind) {
        case ValueTest::Kind::Pattern:
            t.atom = atom(fieldId, value);
            break;
        case ValueTest::Kind::Exists:
            t.exists = value.exists;
            break;
        case ValueTest::Kind::Cidr:
            t.network = QHostAddress::parseSubnet(QString::fromStdString(value.network));
            break;
        case ValueTest::Kind::Compare:
            t.compare = value.compare;
            t.number = value.number;
            break;
        case ValueTest::Kind::FieldRef:
            t.otherField = field(value.otherField);
            t.place = value.place;
            break;
        case ValueTest::Kind::Null:
            break;
        }
        m.m_tests.push_back(std::move(t));
        return static_cast<int>(m.m_tests.size()) - 1;
    }

    int node(CompiledRule& rule, const ConditionNode& source) {
        CompiledNode compiled{source.kind, source.selection, {}};
        for (const auto& child : source.children)
            compiled.children.push_back(node(rule, *child));
        rule.nodes.push_back(std::move(compiled));
        return static_cast<int>(rule.nodes.size()) - 1;
    }

    CompiledRule compile(const SigmaRule& source) {
        CompiledRule rule;
        rule.targets = source.targets;
        for (const Selection& selection : source.selections) {
            auto& maps = rule.selections.emplace_back();
            for (const auto& map : selection.maps) {
                auto& fields = maps.emplace_back();
                for (const FieldCondition& condition : map) {
                    CompiledField f{field(condition.field), condition.all, condition.negate, {}};
                    for (const auto& alternatives : condition.values) {
                        auto& tests = f.values.emplace_back();
                        for (const ValueTest& value : alternatives)
                            tests.push_back(test(f.field, value));
                    }
                    fields.push_back(std::move(f));
                }
            }
        }
        rule.root = node(rule, *source.condition);
        return rule;
    }

    // The patterns of which at least one must be found when the node is true, or nullopt when the node can
    // be true without any (a negation, a test that is no pattern).
    using Needed = std::optional<std::vector<int>>;
    Needed needed(const CompiledRule& rule, int index) const {
        const CompiledNode& n = rule.nodes[index];
        switch (n.kind) {
        case ConditionNode::Kind::Not:
            return std::nullopt;
        case ConditionNode::Kind::Selection: {
            std::vector<int> any;
            for (const auto& map : rule.selections[n.selection]) {
                Needed best = mapNeeds(map);
                if (!best)
                    return std::nullopt;
                any.insert(any.end(), best->begin(), best->end());
            }
            return any;
        }
        case ConditionNode::Kind::Or: {
            std::vector<int> any;
            for (int child : n.children) {
                Needed c = needed(rule, child);
                if (!c)
                    return std::nullopt;
                any.insert(any.end(), c->begin(), c->end());
            }
            return any;
        }
        case ConditionNode::Kind::And: {
            Needed best;
            for (int child : n.children) {
                Needed c = needed(rule, child);
                if (c && (!best || c->size() < best->size()))
                    best = std::move(c);
            }
            return best;
        }
        }
        return std::nullopt;
    }
    Needed mapNeeds(const std::vector<CompiledField>& map) const {
        Needed best;
        for (const CompiledField& f : map) {
            if (f.negate)
                continue;
            // Any value: every value must be made of patterns. All values: one of them is enough.
            std::optional<std::vector<int>> mine;
            bool usable = true;
            for (const auto& alternatives : f.values) {
                std::vector<int> atoms;
                for (int t : alternatives)
                    if (m.m_tests[t].kind == ValueTest::Kind::Pattern)
                        atoms.push_back(m.m_tests[t].atom);
                const bool patternsOnly = !atoms.empty() && atoms.size() == alternatives.size();
                if (f.all) {
                    if (patternsOnly && (!mine || atoms.size() < mine->size()))
                        mine = std::move(atoms);
                } else if (!patternsOnly) {
                    usable = false;
                    break;
                } else {
                    if (!mine)
                        mine.emplace();
                    mine->insert(mine->end(), atoms.begin(), atoms.end());
                }
            }
            if (usable && mine && (!best || mine->size() < best->size()))
                best = std::move(mine);
        }
        return best;
    }

    void build(std::vector<SigmaRule>& rules, MatcherBackend backend, std::vector<SkippedRule>& skipped) {
        for (SigmaRule& source : rules) {
            const std::size_t fields = m.m_fields.size(), tests = m.m_tests.size(), atoms = m_patterns.size();
            try {
                m.m_rules.push_back(compile(source));
                m.m_infos.push_back(std::move(source.info));
            } catch (const std::exception& e) {
                skipped.push_back({source.info.file, e.what()});
                // Leave nothing of the rule behind.
                m.m_fields.resize(fields);
                m.m_tests.resize(tests);
                m_patterns.resize(atoms);
                m_atomFields.resize(atoms);
                std::erase_if(m_fieldIds, [&](const auto& e) { return e.second >= int(fields); });
                std::erase_if(m_atomIds, [&](const auto& e) { return e.second >= int(atoms); });
            }
        }
        m.m_triggers.resize(m_patterns.size());
        m.m_planOfEvent.assign(256, -1);
        // Per event id, the patterns of each field its rules look at.
        std::map<int, std::map<int, std::vector<int>>> atomsByEvent;
        for (std::uint32_t r = 0; r < m.m_rules.size(); ++r) {
            const CompiledRule& rule = m.m_rules[r];
            const Needed need = needed(rule, rule.root);
            std::vector<int> used;
            collectAtoms(rule, used);
            if (need)
                for (int a : *need)
                    if (m.m_triggers[a].empty() || m.m_triggers[a].back() != r)
                        m.m_triggers[a].push_back(r);
            for (const LogSourceTarget& target : rule.targets) {
                if (target.eventId < 0 || target.eventId > 255)
                    continue;
                EventPlan& plan = planFor(target.eventId);
                ++plan.ruleCount;
                plan.applies[r] = true;
                if (!need)
                    plan.always.push_back(r);
                if (!target.eventTypes.empty()) {
                    plan.narrowed.push_back(r);
                    plan.eventTypes.push_back(target.eventTypes);
                }
                for (int a : used)
                    atomsByEvent[target.eventId][m_atomFields[a]].push_back(a);
            }
        }
        for (auto& [eventId, byField] : atomsByEvent) {
            EventPlan& plan = m.m_plans[m.m_planOfEvent[eventId]];
            for (auto& [fieldId, atoms] : byField) {
                std::sort(atoms.begin(), atoms.end());
                atoms.erase(std::unique(atoms.begin(), atoms.end()), atoms.end());
                std::vector<Pattern> patterns;
                for (int a : atoms)
                    patterns.push_back(m_patterns[a]);
                plan.groups.push_back({fieldId, atoms, makePatternSet(backend, patterns)});
            }
        }
        m.m_atomSeen.assign(m_patterns.size(), 0);
        m.m_ruleQueued.assign(m.m_rules.size(), 0);
        m.m_fieldResolved.assign(m.m_fields.size(), 0);
        m.m_fieldValues.assign(m.m_fields.size(), nullptr);
        m.m_fieldBuffers.assign(m.m_fields.size(), std::string());
    }

private:
    EventPlan& planFor(int eventId) {
        int& index = m.m_planOfEvent[eventId];
        if (index < 0) {
            m.m_plans.emplace_back();
            m.m_plans.back().applies.assign(m.m_rules.size(), false);
            index = static_cast<int>(m.m_plans.size()) - 1;
        }
        return m.m_plans[index];
    }
    void collectAtoms(const CompiledRule& rule, std::vector<int>& atoms) const {
        for (const auto& maps : rule.selections)
            for (const auto& map : maps)
                for (const CompiledField& f : map)
                    for (const auto& alternatives : f.values)
                        for (int t : alternatives)
                            if (m.m_tests[t].kind == ValueTest::Kind::Pattern)
                                atoms.push_back(m.m_tests[t].atom);
    }

    RuleMatcher& m;
    std::map<std::string, int> m_fieldIds;
    std::map<std::tuple<int, std::string, bool, bool, bool>, int> m_atomIds;
    std::vector<Pattern> m_patterns;
    std::vector<int> m_atomFields;
};

RuleMatcher::RuleMatcher(std::vector<SigmaRule> rules, MatcherBackend backend,
                         std::vector<SkippedRule>& skipped) {
    Builder(*this).build(rules, backend, skipped);
}

RuleMatcher::~RuleMatcher() = default;

const std::string* RuleMatcher::value(int field) {
    if (m_fieldResolved[field] == m_generation)
        return m_fieldValues[field];
    m_fieldResolved[field] = m_generation;
    const Field& f = m_fields[field];
    std::string& buffer = m_fieldBuffers[field];
    const std::string* found = nullptr;
    switch (f.source) {
    case Field::Source::Item:
        found = m_items->find(f.name);
        break;
    case Field::Source::EventId:
        buffer = std::to_string(m_eventId);
        found = &buffer;
        break;
    case Field::Source::Channel:
        buffer = "Microsoft-Windows-Sysmon/Operational";
        found = &buffer;
        break;
    case Field::Source::Provider:
        buffer = "Microsoft-Windows-Sysmon";
        found = &buffer;
        break;
    case Field::Source::Computer:
        buffer.assign(m_computer);
        found = &buffer;
        break;
    case Field::Source::Hash: {
        const std::string* hashes = m_items->find("Hashes");
        if (!hashes)
            break;
        // Items are comma-separated NAME=value pairs.
        std::string_view rest = *hashes;
        while (!rest.empty()) {
            const std::size_t comma = rest.find(',');
            const std::string_view pair = rest.substr(0, comma);
            const std::size_t equals = pair.find('=');
            if (equals != std::string_view::npos && equalsCaseless(pair.substr(0, equals), f.name)) {
                buffer.assign(pair.substr(equals + 1));
                found = &buffer;
                break;
            }
            rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        }
        break;
    }
    case Field::Source::Keywords:
        break;
    }
    m_fieldValues[field] = found;
    return found;
}

bool RuleMatcher::testTrue(const Test& test) {
    if (test.kind == ValueTest::Kind::Pattern)
        return m_atomSeen[test.atom] == m_generation;
    const std::string* text = value(test.field);
    switch (test.kind) {
    case ValueTest::Kind::Null:
        return !text || text->empty();
    case ValueTest::Kind::Exists:
        return (text != nullptr) == test.exists;
    case ValueTest::Kind::Cidr: {
        if (!text)
            return false;
        const QHostAddress address(QString::fromUtf8(text->data(), static_cast<int>(text->size())));
        return !address.isNull() && address.isInSubnet(test.network);
    }
    case ValueTest::Kind::Compare: {
        const auto n = text ? number(*text) : std::nullopt;
        if (!n)
            return false;
        switch (test.compare) {
        case ValueTest::Compare::Less:
            return *n < test.number;
        case ValueTest::Compare::LessOrEqual:
            return *n <= test.number;
        case ValueTest::Compare::Greater:
            return *n > test.number;
        case ValueTest::Compare::GreaterOrEqual:
            return *n >= test.number;
        }
        return false;
    }
    case ValueTest::Kind::FieldRef: {
        const std::string* other = value(test.otherField);
        if (!text || !other || other->size() > text->size())
            return false;
        auto same = [&](std::string_view a) {
            return test.caseless ? equalsCaseless(a, *other) : a == std::string_view(*other);
        };
        const std::string_view t = *text;
        switch (test.place) {
        case ValueTest::Place::Equal:
            return t.size() == other->size() && same(t);
        case ValueTest::Place::Start:
            return same(t.substr(0, other->size()));
        case ValueTest::Place::End:
            return same(t.substr(t.size() - other->size()));
        case ValueTest::Place::Anywhere:
            for (std::size_t i = 0; i + other->size() <= t.size(); ++i)
                if (same(t.substr(i, other->size())))
                    return true;
            return false;
        }
        return false;
    }
    case ValueTest::Kind::Pattern:
        break;
    }
    return false;
}

bool RuleMatcher::conditionTrue(const CompiledRule& rule, int index) {
    const CompiledNode& node = rule.nodes[index];
    switch (node.kind) {
    case ConditionNode::Kind::And:
        return std::all_of(node.children.begin(), node.children.end(),
                           [&](int child) { return conditionTrue(rule, child); });
    case ConditionNode::Kind::Or:
        return std::any_of(node.children.begin(), node.children.end(),
                           [&](int child) { return conditionTrue(rule, child); });
    case ConditionNode::Kind::Not:
        return !conditionTrue(rule, node.children.front());
    case ConditionNode::Kind::Selection:
        break;
    }
    for (const auto& map : rule.selections[node.selection]) {
        const bool mapTrue = std::all_of(map.begin(), map.end(), [&](const CompiledField& f) {
            auto valueTrue = [&](const std::vector<int>& alternatives) {
                return std::any_of(alternatives.begin(), alternatives.end(),
                                   [&](int t) { return testTrue(m_tests[t]); });
            };
            const bool result = f.all ? std::all_of(f.values.begin(), f.values.end(), valueTrue)
                                      : std::any_of(f.values.begin(), f.values.end(), valueTrue);
            return f.negate ? !result : result;
        });
        if (mapTrue)
            return true;
    }
    return false;
}

void RuleMatcher::evaluate(int eventId, const EventRecord& items, std::string_view computer,
                           std::vector<std::uint32_t>& fired) {
    if (eventId < 0 || eventId > 255 || m_planOfEvent[eventId] < 0)
        return;
    EventPlan& plan = m_plans[m_planOfEvent[eventId]];
    if (++m_generation == 0) {
        // Once in four billion events the stamps start again.
        std::fill(m_atomSeen.begin(), m_atomSeen.end(), 0);
        std::fill(m_ruleQueued.begin(), m_ruleQueued.end(), 0);
        std::fill(m_fieldResolved.begin(), m_fieldResolved.end(), 0);
        m_generation = 1;
    }
    m_eventId = eventId;
    m_items = &items;
    m_computer = computer;
    m_applicable += plan.ruleCount;

    m_candidates.clear();
    auto found = [&](int atom) {
        m_atomSeen[atom] = m_generation;
        for (std::uint32_t r : m_triggers[atom])
            if (m_ruleQueued[r] != m_generation && plan.applies[r]) {
                m_ruleQueued[r] = m_generation;
                m_candidates.push_back(r);
            }
    };
    for (EventPlan::Group& group : plan.groups) {
        m_hits.clear();
        if (m_fields[group.field].source == Field::Source::Keywords) {
            for (std::size_t i = 0; i < items.size(); ++i)
                group.set->match(items.at(i).second, m_hits);
        } else if (const std::string* text = value(group.field)) {
            group.set->match(*text, m_hits);
        }
        for (int hit : m_hits)
            found(group.atoms[hit]);
    }
    for (std::uint32_t r : plan.always)
        if (m_ruleQueued[r] != m_generation) {
            m_ruleQueued[r] = m_generation;
            m_candidates.push_back(r);
        }
    std::sort(m_candidates.begin(), m_candidates.end());
    const std::string* eventType = nullptr;
    bool eventTypeRead = false;
    for (std::uint32_t r : m_candidates) {
        // Rules of the registry's add and delete categories take only their kinds of event 12.
        const auto narrowed = std::lower_bound(plan.narrowed.begin(), plan.narrowed.end(), r);
        if (narrowed != plan.narrowed.end() && *narrowed == r) {
            if (!eventTypeRead) {
                eventType = items.find("EventType");
                eventTypeRead = true;
            }
            const auto& types = plan.eventTypes[narrowed - plan.narrowed.begin()];
            if (!eventType || std::none_of(types.begin(), types.end(), [&](const std::string& type) {
                    return equalsCaseless(type, *eventType);
                }))
                continue;
        }
        ++m_evaluated;
        if (conditionTrue(m_rules[r], m_rules[r].root))
            fired.push_back(r);
    }
}

} // namespace kelvane::detect
