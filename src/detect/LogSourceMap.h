#pragma once

#include "detect/SigmaRule.h"

#include <map>
#include <string>
#include <vector>

namespace kelvane::detect {

// Which Sysmon events a rule's log source means: each Windows category to its event ids (some narrowed by
// EventType), and the Sysmon service to every event. Read from the rule repository's own configuration of
// Sysmon log sources, whose entries rewrite a category to the sysmon service.
class LogSourceMap {
public:
    // Reads the configuration file; throws std::runtime_error when it cannot be read.
    static LogSourceMap fromFile(const std::string& path);
    static LogSourceMap fromText(const std::string& yaml);

    // The targets of a rule's logsource, or empty when it is not a Sysmon source.
    std::vector<LogSourceTarget> targets(const std::string& product, const std::string& category,
                                         const std::string& service) const;
    // Every Sysmon event id the configuration names.
    const std::vector<int>& sysmonEventIds() const { return m_allIds; }

private:
    std::map<std::string, std::vector<LogSourceTarget>> m_categories;
    std::vector<int> m_allIds;
};

} // namespace kelvane::detect
