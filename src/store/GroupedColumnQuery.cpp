#include "store/GroupedColumnQuery.h"

#include "store/Sqlite.h"

#include <QRegularExpression>

#include <algorithm>
#include <unordered_map>

namespace kelvane {
namespace {

char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

std::optional<GroupedColumnQuery> GroupedColumnQuery::parse(const std::string& sql) {
    static const QRegularExpression shape(
        R"(^\s*SELECT\s+(\w+)\s+FROM\s+(\w+)((?:\s+WHERE\s+[^;]*?)?)\s+GROUP\s+BY\s+(?:(LOWER|UPPER)\s*\(\s*(\w+)\s*\)|(\w+))\s*;?\s*$)",
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    const auto match = shape.match(QString::fromStdString(sql));
    if (!match.hasMatch())
        return std::nullopt;
    const QString column = match.captured(1);
    const QString function = match.captured(4).toUpper();
    const QString grouped = function.isEmpty() ? match.captured(6) : match.captured(5);
    // The grouping must be over the selected column, or the shape means something else.
    if (grouped.compare(column, Qt::CaseInsensitive) != 0)
        return std::nullopt;
    GroupedColumnQuery query;
    query.column = column.toStdString();
    query.key = function == "LOWER" ? Key::Lower : function == "UPPER" ? Key::Upper : Key::Exact;
    query.baseSql = ("SELECT " + column + " FROM " + match.captured(2) + match.captured(3)).toStdString();
    return query;
}

std::vector<QVariant> GroupedColumnQuery::group(sql::Statement& stmt) const {
    // Key -> (order of first sight is irrelevant: groups come out sorted by key) last value seen.
    std::unordered_map<std::string, std::string> groups;
    bool hasNull = false;
    std::string keyText;
    while (stmt.step()) {
        if (stmt.isNull(0)) {
            hasNull = true;
            continue;
        }
        const std::string_view value = stmt.columnText(0);
        keyText.assign(value);
        if (key == Key::Lower)
            std::transform(keyText.begin(), keyText.end(), keyText.begin(), asciiLower);
        else if (key == Key::Upper)
            std::transform(keyText.begin(), keyText.end(), keyText.begin(), asciiUpper);
        auto it = groups.find(keyText);
        if (it == groups.end())
            groups.emplace(keyText, std::string(value));
        else
            it->second.assign(value);
    }
    std::vector<const std::pair<const std::string, std::string>*> sorted;
    sorted.reserve(groups.size());
    for (const auto& g : groups)
        sorted.push_back(&g);
    // SQLite's binary collation: byte order.
    std::sort(sorted.begin(), sorted.end(), [](const auto* a, const auto* b) { return a->first < b->first; });
    std::vector<QVariant> rows;
    rows.reserve(sorted.size() + (hasNull ? 1 : 0));
    if (hasNull)
        rows.emplace_back();
    for (const auto* g : sorted)
        rows.emplace_back(QString::fromStdString(g->second));
    return rows;
}

bool likeContains(const QString& value, const QString& text) {
    if (text.isEmpty())
        return true;
    const auto fold = [](QChar c) { return c.unicode() < 128 ? c.toLower() : c; };
    const qsizetype n = text.size();
    for (qsizetype start = 0; start + n <= value.size(); ++start) {
        qsizetype i = 0;
        while (i < n && fold(value.at(start + i)) == fold(text.at(i)))
            ++i;
        if (i == n)
            return true;
    }
    return false;
}

} // namespace kelvane
