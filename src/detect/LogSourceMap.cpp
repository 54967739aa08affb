#include "detect/LogSourceMap.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kelvane::detect {

LogSourceMap LogSourceMap::fromFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read the log source configuration " + path);
    std::stringstream text;
    text << in.rdbuf();
    try {
        return fromText(text.str());
    } catch (const YAML::Exception& e) {
        throw std::runtime_error(path + ": " + e.what());
    }
}

LogSourceMap LogSourceMap::fromText(const std::string& yaml) {
    LogSourceMap map;
    const YAML::Node root = YAML::Load(yaml);
    for (const auto& entry : root["logsources"]) {
        const YAML::Node source = entry.second;
        const YAML::Node rewrite = source["rewrite"];
        if (!source["category"] || !rewrite || rewrite["service"].as<std::string>("") != "sysmon")
            continue;
        const YAML::Node conditions = source["conditions"];
        if (!conditions || !conditions["EventID"])
            continue;
        LogSourceTarget target;
        target.eventId = conditions["EventID"].as<int>();
        if (const YAML::Node type = conditions["EventType"]) {
            if (type.IsSequence())
                for (const auto& value : type)
                    target.eventTypes.push_back(value.as<std::string>());
            else
                target.eventTypes.push_back(type.as<std::string>());
        }
        auto& targets = map.m_categories[source["category"].as<std::string>()];
        // registry_delete comes as two entries of event 12: one target with both EventTypes.
        auto same = std::find_if(targets.begin(), targets.end(),
                                 [&](const LogSourceTarget& t) { return t.eventId == target.eventId; });
        if (same != targets.end()) {
            if (same->eventTypes.empty() || target.eventTypes.empty())
                same->eventTypes.clear();
            else
                same->eventTypes.insert(same->eventTypes.end(), target.eventTypes.begin(),
                                        target.eventTypes.end());
        } else {
            targets.push_back(target);
        }
        if (std::find(map.m_allIds.begin(), map.m_allIds.end(), target.eventId) == map.m_allIds.end())
            map.m_allIds.push_back(target.eventId);
    }
    std::sort(map.m_allIds.begin(), map.m_allIds.end());
    if (map.m_categories.empty())
        throw std::runtime_error("the log source configuration names no Sysmon category");
    return map;
}

std::vector<LogSourceTarget> LogSourceMap::targets(const std::string& product, const std::string& category,
                                                   const std::string& service) const {
    if (!product.empty() && product != "windows")
        return {};
    if (category.empty()) {
        if (service != "sysmon")
            return {};
        std::vector<LogSourceTarget> all;
        for (int id : m_allIds)
            all.push_back({id, {}});
        return all;
    }
    if (!service.empty() && service != "sysmon")
        return {};
    const auto found = m_categories.find(category);
    return found == m_categories.end() ? std::vector<LogSourceTarget>{} : found->second;
}

} // namespace kelvane::detect
