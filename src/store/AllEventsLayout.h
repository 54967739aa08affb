#pragma once

#include "store/Sqlite.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace kelvane {

// What the all-events grid shows: the master columns, and a detail view per event table with its columns,
// links and the tools each allows. Plain data, so that the grid, the exports and the tests read one list.

struct MasterColumn {
    const char* name; // cxGridAllEventsDBTableMasterView...
    const char* field;
    const char* caption;
    bool canGroup;
    bool canSort;
};
std::span<const MasterColumn> masterColumns();

enum class DetailLink { None, Detail, Session };

struct DetailColumn {
    const char* field;
    const char* caption; // empty: the field's name
    DetailLink link;
    QString shownCaption() const { return QString::fromLatin1(*caption ? caption : field); }
};

struct DetailView {
    const char* name;  // cxGridAllEventsDBTableView...
    const char* table; // the event table, also the key of its detail form
    std::vector<DetailColumn> columns;
    bool groupByStrip;     // only DNS queries show one
    int firstSortable;     // columns from here on sort by a click: DNS queries 0, WMI filters 1, others -1
    const char* emptyText; // shown with no rows, empty for the grid's default
};

// All views, and the view for a master row's EventType (the remote-thread view, which is the
// level's default, for every type not in the list).
std::span<const DetailView> detailViews();
const DetailView& detailViewForEventType(int eventType);

// The rows of one event table that belong to a master row (FID = GID), as whole rows.
struct DetailRows {
    QStringList fields; // every column of the table, in table order
    std::vector<std::vector<QVariant>> rows;
};

// Where the rows of each event table lie by FID: (FID, rowid) pairs sorted by FID, per table. The
// event tables have no index on FID, so without this a detail row costs a scan of its table.
class DetailKeys {
public:
    using Pairs = std::vector<std::pair<std::int64_t, std::int64_t>>;
    // One pass over the FID column of each event table (a background thread does this after a
    // load). Throws SearchCancelled when cancel is set.
    static std::shared_ptr<const DetailKeys> read(sql::Database& db,
                                                  const std::atomic_bool* cancel = nullptr);
    static Pairs readTable(sql::Database& db, const std::string& table);
    const Pairs* table(const std::string& name) const;

private:
    std::unordered_map<std::string, Pairs> m_tables;
};

// Reads detail rows by key, through the keys of a background read when they are in, else through
// keys it reads itself for that table on first use. Forget with clear() when the database changes.
class DetailRowReader {
public:
    DetailRows read(sql::Database& db, const QString& table, std::int64_t fid);
    void setKeys(std::shared_ptr<const DetailKeys> keys) { m_shared = std::move(keys); }
    void clear() {
        m_shared.reset();
        m_own.clear();
    }

private:
    std::shared_ptr<const DetailKeys> m_shared;
    std::unordered_map<std::string, DetailKeys::Pairs> m_own;
};

} // namespace kelvane
