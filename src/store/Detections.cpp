#include "store/Detections.h"

#include "detect/SigmaRule.h"

#include <algorithm>

namespace kelvane::detections {

const char* const kLevels[5] = {"critical", "high", "medium", "low", "informational"};

namespace {

QString text(const sql::Statement& stmt, int col) {
    const std::string_view value = stmt.columnText(col);
    return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
}

std::string lines(const std::vector<std::string>& items) {
    std::string out;
    for (const std::string& item : items) {
        if (!out.empty())
            out += '\n';
        out += item;
    }
    return out;
}

QStringList splitLines(const QString& value) {
    return value.isEmpty() ? QStringList() : value.split('\n');
}

// SQL that ranks a level the way levelRank does.
const char* const kRankSql =
    "CASE lower(Level) WHEN 'critical' THEN 5 WHEN 'high' THEN 4 WHEN 'medium' THEN 3 "
    "WHEN 'low' THEN 2 WHEN 'informational' THEN 1 ELSE 0 END";

RuleDetails details(const sql::Statement& stmt) {
    RuleDetails r;
    r.ruleId = text(stmt, 0);
    r.title = text(stmt, 1);
    r.level = text(stmt, 2);
    r.status = text(stmt, 3);
    r.description = text(stmt, 4);
    r.tags = splitLines(text(stmt, 5));
    r.references = splitLines(text(stmt, 6));
    r.falsePositives = splitLines(text(stmt, 7));
    r.file = text(stmt, 8);
    r.text = text(stmt, 9);
    return r;
}

const char* const kRuleColumns = "r.RuleId, r.Title, r.Level, r.Status, r.Description, r.Tags, "
                                 "r.\"References\", r.FalsePositives, r.File, r.Text";

} // namespace

int levelRank(const QString& level) {
    const QString lower = level.toLower();
    for (int i = 0; i < 5; ++i)
        if (lower == kLevels[i])
            return 5 - i;
    return 0;
}

const char* levelColorName(int rank) {
    switch (rank) {
    case 5:
        return "#b00020";
    case 4:
        return "#e04020";
    case 3:
        return "#f0a000";
    case 2:
        return "#3080d0";
    default:
        return "#808080";
    }
}

bool tablesExist(sql::Database& db) {
    auto stmt = db.prepare("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                           "('DetectionRules', 'DetectionMatches', 'DetectionSkipped')");
    return stmt.step() && stmt.columnInt64(0) == 3;
}

int schemaObjectCount(sql::Database& db) {
    auto stmt = db.prepare("SELECT COUNT(*) FROM sqlite_master WHERE name IN ('DetectionRules', "
                           "'DetectionMatches', 'DetectionSkipped', 'DetectionMatchesByGID', "
                           "'DetectionMatchesByRule') OR tbl_name = 'DetectionRules'");
    return stmt.step() ? static_cast<int>(stmt.columnInt64(0)) : 0;
}

void drop(sql::Database& db) {
    db.exec("DROP TABLE IF EXISTS DetectionMatches;\n"
            "DROP TABLE IF EXISTS DetectionRules;\n"
            "DROP TABLE IF EXISTS DetectionSkipped;\n");
}

void store(sql::Database& db, const std::vector<detect::RuleInfo>& rules,
           const std::vector<std::pair<std::int64_t, std::uint32_t>>& matches,
           const std::vector<detect::SkippedRule>& skipped, bool keepEarlier) {
    if (keepEarlier)
        db.exec("DROP INDEX IF EXISTS DetectionMatchesByGID;\n"
                "DROP INDEX IF EXISTS DetectionMatchesByRule;\n"
                "DROP TABLE IF EXISTS DetectionSkipped;\n");
    else
        drop(db);
    db.exec(
        "CREATE TABLE IF NOT EXISTS DetectionRules (RuleId VARCHAR PRIMARY KEY NOT NULL, Title VARCHAR, "
        "Level VARCHAR, "
        "Status VARCHAR, Description VARCHAR, Tags VARCHAR, \"References\" VARCHAR, FalsePositives VARCHAR, "
        "File VARCHAR, Text VARCHAR);\n"
        "CREATE TABLE IF NOT EXISTS DetectionMatches (GID INTEGER NOT NULL, RuleId VARCHAR NOT NULL);\n"
        "CREATE TABLE IF NOT EXISTS DetectionSkipped (File VARCHAR, Reason VARCHAR);\n");
    auto insertRule =
        db.prepare("INSERT OR REPLACE INTO DetectionRules VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (const detect::RuleInfo& rule : rules) {
        insertRule.reset();
        insertRule.bind(1, rule.id);
        insertRule.bind(2, rule.title);
        insertRule.bind(3, rule.level);
        insertRule.bind(4, rule.status);
        insertRule.bind(5, rule.description);
        insertRule.bind(6, lines(rule.tags));
        insertRule.bind(7, lines(rule.references));
        insertRule.bind(8, lines(rule.falsePositives));
        insertRule.bind(9, rule.file);
        insertRule.bind(10, rule.text);
        insertRule.run();
    }
    std::vector<std::pair<std::int64_t, std::uint32_t>> sorted = matches;
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    auto insertMatch = db.prepare("INSERT INTO DetectionMatches VALUES (?, ?)");
    for (const auto& [gid, rule] : sorted) {
        insertMatch.reset();
        insertMatch.bind(1, gid);
        insertMatch.bindStatic(2, rules.at(rule).id);
        insertMatch.run();
    }
    auto insertSkipped = db.prepare("INSERT INTO DetectionSkipped VALUES (?, ?)");
    for (const detect::SkippedRule& skip : skipped) {
        insertSkipped.reset();
        insertSkipped.bind(1, skip.file);
        insertSkipped.bind(2, skip.reason);
        insertSkipped.run();
    }
    // Built after the rows: one sort instead of a growing index.
    db.exec("CREATE INDEX DetectionMatchesByGID ON DetectionMatches (GID, RuleId);\n"
            "CREATE INDEX DetectionMatchesByRule ON DetectionMatches (RuleId, GID);\n");
}

std::vector<MatchLine> matches(sql::Database& db) {
    std::vector<MatchLine> out;
    if (!tablesExist(db))
        return out;
    auto stmt =
        db.prepare(std::string("SELECT m.GID, m.RuleId, r.Level, r.Title FROM DetectionMatches m JOIN "
                               "DetectionRules r ON r.RuleId = m.RuleId ORDER BY m.GID, ") +
                   kRankSql + " DESC, m.RuleId");
    while (stmt.step())
        out.push_back({stmt.columnInt64(0), text(stmt, 1), text(stmt, 2), text(stmt, 3)});
    return out;
}

std::vector<RuleSummary> firedRules(sql::Database& db) {
    std::vector<RuleSummary> out;
    if (!tablesExist(db))
        return out;
    auto stmt =
        db.prepare(std::string("SELECT r.RuleId, r.Title, r.Level, r.Tags, COUNT(*), MIN(a.UtcTime), "
                               "MAX(a.UtcTime), GROUP_CONCAT(DISTINCT a.Computer) FROM DetectionMatches m "
                               "JOIN DetectionRules r ON r.RuleId = m.RuleId LEFT JOIN AllEvents a ON "
                               "a.GID = m.GID GROUP BY m.RuleId ORDER BY ") +
                   kRankSql + " DESC, r.Title, r.RuleId");
    while (stmt.step()) {
        RuleSummary s;
        s.ruleId = text(stmt, 0);
        s.title = text(stmt, 1);
        s.level = text(stmt, 2);
        s.tags = splitLines(text(stmt, 3));
        s.count = stmt.columnInt64(4);
        s.firstTime = text(stmt, 5);
        s.lastTime = text(stmt, 6);
        s.computers = text(stmt, 7).split(',', Qt::SkipEmptyParts);
        s.computers.sort();
        out.push_back(std::move(s));
    }
    return out;
}

RuleDetails rule(sql::Database& db, const QString& ruleId) {
    if (!tablesExist(db))
        return {};
    auto stmt =
        db.prepare(std::string("SELECT ") + kRuleColumns + " FROM DetectionRules r WHERE r.RuleId = ?");
    const std::string id = ruleId.toStdString();
    stmt.bind(1, id);
    return stmt.step() ? details(stmt) : RuleDetails{};
}

std::vector<RuleDetails> rulesOfEvent(sql::Database& db, std::int64_t gid) {
    std::vector<RuleDetails> out;
    if (!tablesExist(db))
        return out;
    auto stmt =
        db.prepare(std::string("SELECT ") + kRuleColumns +
                   " FROM DetectionMatches m JOIN DetectionRules r ON r.RuleId = m.RuleId WHERE m.GID = ? "
                   "ORDER BY " +
                   kRankSql + " DESC, r.Title");
    stmt.bind(1, gid);
    while (stmt.step())
        out.push_back(details(stmt));
    return out;
}

std::vector<std::int64_t> eventsOfRule(sql::Database& db, const QString& ruleId) {
    std::vector<std::int64_t> out;
    if (!tablesExist(db))
        return out;
    auto stmt = db.prepare("SELECT GID FROM DetectionMatches WHERE RuleId = ? ORDER BY GID");
    const std::string id = ruleId.toStdString();
    stmt.bind(1, id);
    while (stmt.step())
        out.push_back(stmt.columnInt64(0));
    return out;
}

std::vector<EventLine> eventLinesOfRule(sql::Database& db, const QString& ruleId) {
    std::vector<EventLine> out;
    if (!tablesExist(db))
        return out;
    auto stmt =
        db.prepare("SELECT m.GID, a.UtcTime, a.EventType, a.EventTypeName, a.Computer, a.CorrelationGuid "
                   "FROM DetectionMatches m LEFT JOIN AllEvents a ON a.GID = m.GID WHERE m.RuleId = ? "
                   "ORDER BY m.GID");
    const std::string id = ruleId.toStdString();
    stmt.bind(1, id);
    while (stmt.step())
        out.push_back({stmt.columnInt64(0), text(stmt, 1), static_cast<int>(stmt.columnInt64(2)),
                       text(stmt, 3), text(stmt, 4), text(stmt, 5)});
    return out;
}

QStringList tactics(const QStringList& tags) {
    QStringList out;
    for (const QString& tag : tags) {
        if (!tag.startsWith("attack."))
            continue;
        const QString name = tag.mid(7);
        // Techniques (t1059.001), groups (g0016) and software (s0002) are ids, not tactics.
        if (name.size() > 1 && (name[0] == 't' || name[0] == 'g' || name[0] == 's') && name[1].isDigit())
            continue;
        out << name;
    }
    return out;
}

std::map<QString, Mark> marksByProcessGuid(sql::Database& db) {
    std::map<QString, Mark> out;
    if (!tablesExist(db))
        return out;
    auto stmt = db.prepare(std::string("SELECT a.CorrelationGuid, MAX(") + kRankSql +
                           "), COUNT(*) FROM DetectionMatches m JOIN DetectionRules r ON r.RuleId = m.RuleId "
                           "JOIN AllEvents a ON a.GID = m.GID GROUP BY a.CorrelationGuid");
    while (stmt.step())
        out[text(stmt, 0)] = {static_cast<int>(stmt.columnInt64(1)), stmt.columnInt64(2)};
    return out;
}

std::map<QString, Mark> marksByImage(sql::Database& db) {
    std::map<QString, Mark> out;
    if (!tablesExist(db))
        return out;
    auto stmt =
        db.prepare(std::string("SELECT LOWER(i.Image), MAX(") + kRankSql +
                   "), COUNT(DISTINCT m.GID) FROM DetectionMatches m JOIN DetectionRules r ON r.RuleId = "
                   "m.RuleId JOIN AllImageExes i ON i.FID = m.GID GROUP BY LOWER(i.Image)");
    while (stmt.step())
        out[text(stmt, 0)] = {static_cast<int>(stmt.columnInt64(1)), stmt.columnInt64(2)};
    return out;
}

std::map<std::int64_t, int> levelsByEvent(sql::Database& db, const std::vector<std::int64_t>& gids) {
    std::map<std::int64_t, int> out;
    if (gids.empty() || !tablesExist(db))
        return out;
    auto stmt =
        db.prepare(std::string("SELECT MAX(") + kRankSql +
                   ") FROM DetectionMatches m JOIN DetectionRules r ON r.RuleId = m.RuleId WHERE m.GID = ?");
    for (std::int64_t gid : gids) {
        stmt.reset();
        stmt.bind(1, gid);
        if (stmt.step() && !stmt.isNull(0))
            out[gid] = static_cast<int>(stmt.columnInt64(0));
    }
    return out;
}

std::vector<std::pair<QString, QString>> skippedRules(sql::Database& db) {
    std::vector<std::pair<QString, QString>> out;
    if (!tablesExist(db))
        return out;
    auto stmt = db.prepare("SELECT File, Reason FROM DetectionSkipped ORDER BY File");
    while (stmt.step())
        out.emplace_back(text(stmt, 0), text(stmt, 1));
    return out;
}

} // namespace kelvane::detections
