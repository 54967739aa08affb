#pragma once

#include "detect/SigmaRule.h"

#include <memory>
#include <string_view>
#include <vector>

namespace kelvane::detect {

// Reads a rule's condition over its selections: and, or, not, parentheses, "1 of"/"any of"/"all of" a
// name pattern (with *) or "them". Throws RuleError on what it cannot read, and on aggregations.
std::unique_ptr<ConditionNode> parseCondition(std::string_view text,
                                              const std::vector<Selection>& selections);

} // namespace kelvane::detect
