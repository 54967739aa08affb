#pragma once

#include "detect/PatternSet.h"
#include "detect/RuleMatcher.h"
#include "detect/SigmaRule.h"

#include <memory>
#include <string>
#include <vector>

namespace kelvane::detect {

// Kelvane's data folder: share/kelvane beside the executable's folder (an installed tree, and the build tree,
// which gets a copy at configure time), or KELVANE_DATA_DIR when set. Empty when none is found.
std::string dataFolder();
// The bundled Sigma rules and their log source configuration (thor.yml), or empty when missing.
std::string bundledRulesFolder();

// The rules compiled for one import or one re-evaluation.
struct LoadedRules {
    std::unique_ptr<RuleMatcher> matcher;
    std::vector<SkippedRule> skipped;
};

// Reads the bundled rules (when asked) and the user's folders, and compiles them. The log sources are mapped
// by the bundled thor.yml. Throws std::runtime_error when that file cannot be read.
LoadedRules loadRules(const std::vector<std::string>& userFolders, bool bundled,
                      MatcherBackend backend = MatcherBackend::Vectorscan);

} // namespace kelvane::detect
