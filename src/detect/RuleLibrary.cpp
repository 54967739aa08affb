#include "detect/RuleLibrary.h"

#include "detect/LogSourceMap.h"
#include "detect/RuleLoader.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <stdexcept>

namespace kelvane::detect {

std::string dataFolder() {
    const QString fromEnvironment = qEnvironmentVariable("KELVANE_DATA_DIR");
    if (!fromEnvironment.isEmpty())
        return QDir(fromEnvironment).absolutePath().toStdString();
    if (!QCoreApplication::instance())
        return {};
    const QDir bin(QCoreApplication::applicationDirPath());
    for (const QString& candidate : {bin.filePath("../share/kelvane"), bin.filePath("share/kelvane")})
        if (QFileInfo(candidate).isDir())
            return QDir(candidate).canonicalPath().toStdString();
    return {};
}

std::string bundledRulesFolder() {
    const std::string data = dataFolder();
    if (data.empty())
        return {};
    const QString folder = QDir(QString::fromStdString(data)).filePath("sigma");
    return QFileInfo(QDir(folder).filePath("thor.yml")).isFile() ? folder.toStdString() : std::string();
}

LoadedRules loadRules(const std::vector<std::string>& userFolders, bool bundled, MatcherBackend backend) {
    const std::string sigma = bundledRulesFolder();
    if (sigma.empty())
        throw std::runtime_error(
            "the bundled Sigma rules were not found (share/kelvane/sigma beside the program)");
    const LogSourceMap sources = LogSourceMap::fromFile(sigma + "/thor.yml");
    std::vector<std::string> folders;
    if (bundled)
        for (const char* name : {"rules", "rules-emerging-threats", "rules-threat-hunting"})
            folders.push_back(sigma + "/" + name);
    folders.insert(folders.end(), userFolders.begin(), userFolders.end());
    RuleSet set = RuleLoader(sources).loadFolders(folders);
    LoadedRules loaded;
    loaded.skipped = std::move(set.skipped);
    loaded.matcher = std::make_unique<RuleMatcher>(std::move(set.rules), backend, loaded.skipped);
    return loaded;
}

} // namespace kelvane::detect
