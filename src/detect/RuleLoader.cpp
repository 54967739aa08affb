#include "detect/RuleLoader.h"

#include "detect/ConditionParser.h"
#include "detect/SigmaValue.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace kelvane::detect {
namespace {

std::string text(const YAML::Node& node) {
    return node && node.IsScalar() ? node.Scalar() : std::string();
}

std::vector<std::string> texts(const YAML::Node& node) {
    std::vector<std::string> out;
    if (node && node.IsSequence()) {
        for (const auto& item : node)
            if (item.IsScalar())
                out.push_back(item.Scalar());
    } else if (node && node.IsScalar()) {
        out.push_back(node.Scalar());
    }
    return out;
}

std::optional<std::string> scalarValue(const YAML::Node& node) {
    if (node.IsNull())
        return std::nullopt;
    if (!node.IsScalar())
        throw RuleError("a value that is neither text nor number");
    return node.Scalar();
}

FieldCondition fieldCondition(const std::string& key, const YAML::Node& value) {
    FieldModifiers modifiers;
    FieldCondition condition;
    condition.field = parseFieldKey(key, modifiers);
    condition.all = modifiers.all;
    condition.negate = modifiers.negate;
    if (value.IsSequence()) {
        for (const auto& item : value)
            condition.values.push_back(expandValue(scalarValue(item), modifiers));
    } else {
        condition.values.push_back(expandValue(scalarValue(value), modifiers));
    }
    if (condition.values.empty())
        throw RuleError("the field " + condition.field + " has an empty list of values");
    return condition;
}

std::vector<FieldCondition> selectionMap(const YAML::Node& map) {
    std::vector<FieldCondition> fields;
    for (const auto& entry : map)
        fields.push_back(fieldCondition(entry.first.Scalar(), entry.second));
    return fields;
}

Selection selection(const std::string& name, const YAML::Node& node) {
    Selection selection;
    selection.name = name;
    if (node.IsMap()) {
        selection.maps.push_back(selectionMap(node));
    } else if (node.IsSequence() && node.size() > 0 && node[0].IsMap()) {
        for (const auto& item : node) {
            if (!item.IsMap())
                throw RuleError("the selection " + name + " mixes maps and keywords");
            selection.maps.push_back(selectionMap(item));
        }
    } else if (node.IsSequence() || node.IsScalar()) {
        // Keywords: any of them anywhere in any value.
        FieldCondition keywords;
        FieldModifiers modifiers;
        modifiers.chain = {"contains"};
        for (const std::string& word : texts(node))
            keywords.values.push_back(expandValue(word, modifiers));
        if (keywords.values.empty())
            throw RuleError("the selection " + name + " is empty");
        selection.maps.push_back({std::move(keywords)});
    } else {
        throw RuleError("the selection " + name + " is empty");
    }
    return selection;
}

} // namespace

SigmaRule RuleLoader::parse(const std::string& yaml, const std::string& file) const {
    std::vector<YAML::Node> documents;
    try {
        documents = YAML::LoadAll(yaml);
    } catch (const YAML::Exception& e) {
        throw RuleError("not valid YAML: " + std::string(e.what()));
    }
    if (documents.size() != 1)
        throw RuleError(documents.empty() ? "empty file" : "rule collections are not supported");
    const YAML::Node& root = documents.front();
    if (!root.IsMap())
        throw RuleError("not a rule");
    if (root["correlation"])
        throw RuleError("correlation rules are not supported");
    if (root["filter"])
        throw RuleError("filter rules are not supported");

    SigmaRule rule;
    try {
        rule.info.id = text(root["id"]);
        rule.info.title = text(root["title"]);
        if (rule.info.title.empty())
            throw RuleError("the rule has no title");
        if (rule.info.id.empty())
            rule.info.id = std::filesystem::path(file).stem().string();
        rule.info.level = text(root["level"]);
        rule.info.status = text(root["status"]);
        rule.info.description = text(root["description"]);
        rule.info.tags = texts(root["tags"]);
        rule.info.references = texts(root["references"]);
        rule.info.falsePositives = texts(root["falsepositives"]);
        rule.info.file = file;
        rule.info.text = yaml;

        const YAML::Node source = root["logsource"];
        if (!source || !source.IsMap())
            throw RuleError("the rule has no logsource");
        rule.targets =
            m_sources.targets(text(source["product"]), text(source["category"]), text(source["service"]));
        if (rule.targets.empty())
            throw RuleError("the log source is not a Sysmon event");

        const YAML::Node detection = root["detection"];
        if (!detection || !detection.IsMap())
            throw RuleError("the rule has no detection");
        if (detection["timeframe"])
            throw RuleError("timeframes are not supported");
        for (const auto& entry : detection) {
            const std::string name = entry.first.Scalar();
            if (name != "condition")
                rule.selections.push_back(selection(name, entry.second));
        }
        const std::vector<std::string> conditions = texts(detection["condition"]);
        if (conditions.empty())
            throw RuleError("the rule has no condition");
        if (conditions.size() == 1) {
            rule.condition = parseCondition(conditions.front(), rule.selections);
        } else {
            rule.condition = std::make_unique<ConditionNode>();
            rule.condition->kind = ConditionNode::Kind::Or;
            for (const std::string& condition : conditions)
                rule.condition->children.push_back(parseCondition(condition, rule.selections));
        }
    } catch (const YAML::Exception& e) {
        throw RuleError("unexpected YAML shape: " + std::string(e.what()));
    }
    return rule;
}

RuleSet RuleLoader::loadFolders(const std::vector<std::string>& folders) const {
    namespace fs = std::filesystem;
    RuleSet set;
    std::vector<fs::path> files;
    for (const std::string& folder : folders) {
        std::error_code error;
        if (!fs::is_directory(folder, error)) {
            set.skipped.push_back({folder, "not a folder"});
            continue;
        }
        std::vector<fs::path> mine;
        for (auto it = fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied,
                                                        error);
             !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
            const auto extension = it->path().extension();
            if (it->is_regular_file() && (extension == ".yml" || extension == ".yaml"))
                mine.push_back(it->path());
        }
        std::sort(mine.begin(), mine.end());
        files.insert(files.end(), mine.begin(), mine.end());
    }

    // Reading YAML is most of the cost of loading; the files are read on every core.
    std::vector<std::optional<SigmaRule>> rules(files.size());
    std::vector<std::string> reasons(files.size());
    std::atomic<std::size_t> next{0};
    auto work = [&] {
        for (std::size_t i = next++; i < files.size(); i = next++) {
            std::ifstream in(files[i], std::ios::binary);
            std::stringstream content;
            content << in.rdbuf();
            try {
                if (!in)
                    throw RuleError("cannot be read");
                rules[i] = parse(content.str(), files[i].string());
            } catch (const RuleError& e) {
                reasons[i] = e.what();
            }
        }
    };
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
    std::vector<std::thread> helpers;
    for (unsigned t = 1; t < threads; ++t)
        helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers)
        helper.join();

    std::set<std::string> ids;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!rules[i]) {
            set.skipped.push_back({files[i].string(), reasons[i]});
        } else if (!ids.insert(rules[i]->info.id).second) {
            set.skipped.push_back(
                {files[i].string(), "a rule with the id " + rules[i]->info.id + " was read before"});
        } else {
            set.rules.push_back(std::move(*rules[i]));
        }
    }
    return set;
}

} // namespace kelvane::detect
