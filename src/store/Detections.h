#pragma once

#include "store/Sqlite.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kelvane {

namespace detect {
struct RuleInfo;
struct SkippedRule;
} // namespace detect

// The rules that ran on a database and the events they fired on, beside the Sysmon tables:
//   DetectionRules   one row per rule that ran (RuleId, Title, Level, Status, Description, Tags, References,
//                    FalsePositives, File, Text); lists are stored one item a line
//   DetectionMatches one row per event and rule that fired (GID, RuleId), indexed both ways
//   DetectionSkipped the rule files that could not be used (File, Reason)
namespace detections {

// The order analysts read levels in: critical first.
int levelRank(const QString& level);
// The colour ("#rrggbb") that marks a level, by rank, wherever detections are shown.
const char* levelColorName(int rank);
extern const char* const kLevels[5];

bool tablesExist(sql::Database& db);
// The tables and indexes of the detections in the database's schema.
int schemaObjectCount(sql::Database& db);
// Removes the detection tables (an import without rules must not keep an earlier import's matches).
void drop(sql::Database& db);
// Replaces whatever detections the database holds, or, with keepEarlier (logs added to a case), adds the
// matches to those of the events it held before. matches are (GID, index into rules).
void store(sql::Database& db, const std::vector<detect::RuleInfo>& rules,
           const std::vector<std::pair<std::int64_t, std::uint32_t>>& matches,
           const std::vector<detect::SkippedRule>& skipped, bool keepEarlier = false);

struct MatchLine {
    std::int64_t gid;
    QString ruleId;
    QString level;
    QString title;
};
// Every match in GID order, then by level (critical first) and rule id. Empty without the tables.
std::vector<MatchLine> matches(sql::Database& db);

struct RuleSummary {
    QString ruleId;
    QString title;
    QString level;
    QStringList tags;
    std::int64_t count = 0;
    QString firstTime;
    QString lastTime;
    QStringList computers;
};
// The rules that fired, by level (critical first), then title.
std::vector<RuleSummary> firedRules(sql::Database& db);

struct RuleDetails {
    QString ruleId, title, level, status, description, file, text;
    QStringList tags, references, falsePositives;
};
// One rule that ran; an empty ruleId when there is no such rule.
RuleDetails rule(sql::Database& db, const QString& ruleId);
// The rules one event fired, by level (critical first).
std::vector<RuleDetails> rulesOfEvent(sql::Database& db, std::int64_t gid);
// The GIDs a rule fired on, in GID order.
std::vector<std::int64_t> eventsOfRule(sql::Database& db, const QString& ruleId);
// The events a rule fired on, as the Detections tab lists them, in GID order.
struct EventLine {
    std::int64_t gid = 0;
    QString utcTime;
    int eventType = 0;
    QString eventTypeName;
    QString computer;
    QString processGuid;
};
std::vector<EventLine> eventLinesOfRule(sql::Database& db, const QString& ruleId);
// The ATT&CK tactics among a rule's tags ("attack.execution" gives "execution"; techniques and groups are
// left out).
QStringList tactics(const QStringList& tags);

// The highest level and the number of matches of every process GUID (the correlation GUID of AllEvents)
// that has any; what the process views mark.
struct Mark {
    int rank = 0; // levelRank of the highest level
    std::int64_t count = 0;
};
std::map<QString, Mark> marksByProcessGuid(sql::Database& db);
// The same by process path (the Image of AllImageExes, lower case), as the process view's paths list them.
std::map<QString, Mark> marksByImage(sql::Database& db);
// The highest level of each event with matches.
std::map<std::int64_t, int> levelsByEvent(sql::Database& db, const std::vector<std::int64_t>& gids);

// The files that were skipped, with their reasons.
std::vector<std::pair<QString, QString>> skippedRules(sql::Database& db);

} // namespace detections
} // namespace kelvane
