#pragma once

#include "detect/SigmaRule.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::detect {

// Something a rule asks for that the engine cannot do, or cannot read; the rule is skipped with this text.
class RuleError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The modifiers of one field key ("CommandLine|contains|all"), checked and in order.
struct FieldModifiers {
    std::vector<std::string> chain; // value modifiers in the order written
    bool all = false;
    bool cased = false;
    bool negate = false;
};

// Splits "Field|mod|mod" into the field and its modifiers; throws RuleError on a modifier it does not know.
std::string parseFieldKey(std::string_view key, FieldModifiers& modifiers);

// The tests one value of a field stands for (several when a modifier expands it). A value of nullopt is
// YAML's null.
std::vector<ValueTest> expandValue(const std::optional<std::string>& value, const FieldModifiers& modifiers);

// Escapes text so that it matches itself in a regular expression.
std::string escapeRegex(std::string_view text);

} // namespace kelvane::detect
