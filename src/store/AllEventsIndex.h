#pragma once

#include "store/AllEventsSearch.h"

#include <QString>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace kelvane {

// The master columns that the all-events grid can group by.
enum class MasterKey { EventTypeName, CorrelationGuid, Computer, RuleName };
inline constexpr int kMasterKeyCount = 4;
// The field of a key (EventTypeName, ...), and the key of a field (false when it is not one).
const char* masterKeyField(MasterKey key);
bool masterKeyOfField(const QString& field, MasterKey& key);

// A compact copy of what grouping and sorting need of every AllEvents row: its GID, a small number
// per distinct value of each groupable column, and the place of its UtcTime in time order. Read once
// per load (the columns don't depend on the search), so that grouping or sorting a million rows is a
// pass over arrays instead of a GROUP BY over an unindexed table. About 24 bytes a row.
//
// Orders follow SQLite's: NULL first, then text by its UTF-8 bytes; ties by GID.
class AllEventsIndex {
public:
    static std::shared_ptr<const AllEventsIndex> read(sql::Database& db, const CancelFlag* cancel = nullptr);

    int size() const { return static_cast<int>(m_gids.size()); }
    std::int64_t gid(int row) const { return m_gids[static_cast<std::size_t>(row)]; }
    // The row of a GID, or -1.
    int rowOfGid(std::int64_t gid) const;
    // Rows of the GIDs that have one, in the order given (GIDs without a row are left out).
    std::vector<int> rowsOf(const std::vector<std::int64_t>& gids) const;

    std::uint32_t key(MasterKey column, int row) const {
        return m_keys[static_cast<int>(column)][static_cast<std::size_t>(row)];
    }
    // The value of a key number; a null QString for NULL (always number 0).
    const QString& keyText(MasterKey column, std::uint32_t key) const {
        return m_texts[static_cast<int>(column)][key];
    }
    // The place of a key number among the column's values in sort order.
    std::uint32_t keyOrder(MasterKey column, std::uint32_t key) const {
        return m_order[static_cast<int>(column)][key];
    }
    int keyCount(MasterKey column) const {
        return static_cast<int>(m_texts[static_cast<int>(column)].size());
    }
    // The place of the row's UtcTime in time order (ties in GID order).
    std::uint32_t timeRank(int row) const { return m_timeRank[static_cast<std::size_t>(row)]; }

private:
    std::vector<std::int64_t> m_gids; // ascending, as AllEvents keeps its rows
    bool m_dense = false;             // m_gids[i] == m_gids[0] + i
    std::array<std::vector<std::uint32_t>, kMasterKeyCount> m_keys;
    std::array<std::vector<QString>, kMasterKeyCount> m_texts;
    std::array<std::vector<std::uint32_t>, kMasterKeyCount> m_order;
    std::vector<std::uint32_t> m_timeRank;
};

// One group of rows: its key number, its value and how many rows it holds.
struct RowGroup {
    std::uint32_t key = 0;
    QString text;
    int count = 0;
};

// The groups of rows by a column, in the column's sort order, counted in one pass.
std::vector<RowGroup> groupRows(const AllEventsIndex& index, const std::vector<int>& rows, MasterKey column);
// The rows of one group, in the order given.
std::vector<int> rowsOfGroup(const AllEventsIndex& index, const std::vector<int>& rows, MasterKey column,
                             std::uint32_t key);
// Orders rows by UtcTime (ascending or not; ties in GID order both ways, as ORDER BY UtcTime, GID
// and ORDER BY UtcTime DESC, GID give them).
void sortRowsByTime(const AllEventsIndex& index, std::vector<int>& rows, bool ascending);

} // namespace kelvane
