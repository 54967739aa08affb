#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kelvane::detect {

// What a rule says about itself, as stored beside its matches.
struct RuleInfo {
    std::string id;
    std::string title;
    std::string level;
    std::string status;
    std::string description;
    std::vector<std::string> tags;
    std::vector<std::string> references;
    std::vector<std::string> falsePositives;
    std::string file;
    std::string text;
};

// One test on one value of an event, before it is compiled.
struct ValueTest {
    enum class Kind { Pattern, Null, Exists, Cidr, Compare, FieldRef };
    enum class Compare { Less, LessOrEqual, Greater, GreaterOrEqual };
    Kind kind = Kind::Pattern;
    // Pattern: a regular expression in the syntax both matchers share, without anchors of its own.
    std::string regex;
    bool written = false; // the rule's own regular expression (re), not one made from a value
    bool caseless = true;
    bool multiLine = false;
    bool dotAll = true;
    // Exists: whether the field must be there. Cidr: the network as text.
    bool exists = true;
    std::string network;
    Compare compare = Compare::Less;
    double number = 0;
    // FieldRef: the other field, and where its value must stand in this one.
    std::string otherField;
    enum class Place { Equal, Start, End, Anywhere } place = Place::Equal;
};

// The tests of one field of a selection map: values are alternatives (any of them, or all with |all);
// one value may expand to several alternatives of its own (base64offset, windash).
struct FieldCondition {
    std::string field; // empty for a keyword search over every value
    bool all = false;
    bool negate = false; // neq
    std::vector<std::vector<ValueTest>> values;
};

// A selection: any of its maps, each map all of its fields.
struct Selection {
    std::string name;
    std::vector<std::vector<FieldCondition>> maps;
};

struct ConditionNode {
    enum class Kind { And, Or, Not, Selection };
    Kind kind = Kind::Selection;
    int selection = -1;
    std::vector<std::unique_ptr<ConditionNode>> children;
};

// Where a rule applies: event ids, each optionally narrowed to EventType values.
struct LogSourceTarget {
    int eventId = 0;
    std::vector<std::string> eventTypes; // empty: any
};

struct SigmaRule {
    RuleInfo info;
    std::vector<LogSourceTarget> targets;
    std::vector<Selection> selections;
    std::unique_ptr<ConditionNode> condition;
};

// A rule file that was not used, and why.
struct SkippedRule {
    std::string file;
    std::string reason;
};

} // namespace kelvane::detect
