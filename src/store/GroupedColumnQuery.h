#pragma once

#include <QString>
#include <QVariant>

#include <optional>
#include <string>
#include <vector>

namespace kelvane::sql {
class Statement;
}

namespace kelvane {

// A query of the shape "SELECT C FROM T [WHERE ...] GROUP BY C" or "... GROUP BY LOWER(C)" / "UPPER(C)",
// as the process view's lists are written. SQLite answers a GROUP BY by sorting every row; over a
// million rows that alone takes most of a second, while reading the column and grouping in a hash
// table takes a fraction of it. The result is the same: one row per group, in the order of the key.
struct GroupedColumnQuery {
    enum class Key { Exact, Lower, Upper };

    std::string baseSql; // the query without its GROUP BY
    std::string column;
    Key key = Key::Exact;

    // Recognises the shape; anything else gives nothing and runs as written.
    static std::optional<GroupedColumnQuery> parse(const std::string& sql);

    // Groups the first column of the rows that stmt (prepared from baseSql and bound) yields.
    // Each group shows the value of its last row, as SQLite's own grouping does.
    std::vector<QVariant> group(sql::Statement& stmt) const;
};

// LIKE's idea of a match of '%text%': case is ignored for ASCII letters only.
bool likeContains(const QString& value, const QString& text);

} // namespace kelvane
