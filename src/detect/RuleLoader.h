#pragma once

#include "detect/LogSourceMap.h"
#include "detect/SigmaRule.h"

#include <string>
#include <vector>

namespace kelvane::detect {

// The rules read from folders, and the files that could not be used.
struct RuleSet {
    std::vector<SigmaRule> rules;
    std::vector<SkippedRule> skipped;
};

// Reads Sigma rules (YAML) into their model.
class RuleLoader {
public:
    explicit RuleLoader(const LogSourceMap& sources) : m_sources(sources) {}

    // One rule from its text; throws RuleError with the reason when it cannot be used.
    SigmaRule parse(const std::string& yaml, const std::string& file) const;
    // Every *.yml and *.yaml file under the folders, in path order; a rule id seen before is skipped.
    RuleSet loadFolders(const std::vector<std::string>& folders) const;

private:
    const LogSourceMap& m_sources;
};

} // namespace kelvane::detect
