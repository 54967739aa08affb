#include "store/AllEventsIndex.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <unordered_map>

namespace kelvane {

namespace {

constexpr const char* kKeyFields[kMasterKeyCount] = {"EventTypeName", "CorrelationGuid", "Computer",
                                                     "RuleName"};

// Numbers the distinct values of one column as the rows come; number 0 is NULL.
class KeyNumbers {
public:
    KeyNumbers() { m_values.emplace_back(); }

    std::uint32_t number(const sql::Statement& stmt, int column) {
        if (stmt.isNull(column))
            return 0;
        const std::string_view value = stmt.columnText(column);
        // Neighbouring rows mostly share their computer, rule and often their session.
        if (m_last != 0 && value == m_values[m_last])
            return m_last;
        auto [it, added] =
            m_numbers.try_emplace(std::string(value), static_cast<std::uint32_t>(m_values.size()));
        if (added)
            m_values.push_back(it->first);
        m_last = it->second;
        return m_last;
    }

    // Texts by number, and the place of each number in byte order with NULL first.
    void finish(std::vector<QString>& texts, std::vector<std::uint32_t>& order) const {
        texts.resize(m_values.size());
        for (std::size_t i = 1; i < m_values.size(); ++i)
            texts[i] = QString::fromUtf8(m_values[i].data(), static_cast<qsizetype>(m_values[i].size()));
        std::vector<std::uint32_t> byValue(m_values.size());
        std::iota(byValue.begin(), byValue.end(), 0u);
        std::sort(byValue.begin() + 1, byValue.end(),
                  [this](std::uint32_t a, std::uint32_t b) { return m_values[a] < m_values[b]; });
        order.resize(m_values.size());
        for (std::size_t place = 0; place < byValue.size(); ++place)
            order[byValue[place]] = static_cast<std::uint32_t>(place);
    }

private:
    std::vector<std::string> m_values; // [0] stands for NULL
    std::unordered_map<std::string, std::uint32_t> m_numbers;
    std::uint32_t m_last = 0;
};

} // namespace

const char* masterKeyField(MasterKey key) {
    return kKeyFields[static_cast<int>(key)];
}

bool masterKeyOfField(const QString& field, MasterKey& key) {
    for (int i = 0; i < kMasterKeyCount; ++i)
        if (field == QLatin1String(kKeyFields[i])) {
            key = static_cast<MasterKey>(i);
            return true;
        }
    return false;
}

std::shared_ptr<const AllEventsIndex> AllEventsIndex::read(sql::Database& db, const CancelFlag* cancel) {
    const CancelGuard guard(db, cancel);
    auto index = std::make_shared<AllEventsIndex>();
    std::array<KeyNumbers, kMasterKeyCount> numbers;
    // Times as one block of text: a type byte (NULL, number, text sort in that order) and the value.
    std::string times;
    std::vector<std::uint32_t> timeStart;
    try {
        sql::Statement stmt = db.prepare("SELECT GID, EventTypeName, CorrelationGuid, Computer, RuleName, "
                                         "UtcTime FROM AllEvents ORDER BY GID");
        while (stmt.step()) {
            index->m_gids.push_back(stmt.columnInt64(0));
            for (int k = 0; k < kMasterKeyCount; ++k)
                index->m_keys[k].push_back(numbers[k].number(stmt, k + 1));
            timeStart.push_back(static_cast<std::uint32_t>(times.size()));
            const int type = stmt.columnType(5);
            times += type == SQLITE_NULL ? '\0' : (type == SQLITE_TEXT || type == SQLITE_BLOB ? '\2' : '\1');
            times += stmt.columnText(5);
        }
    } catch (const sql::Error& e) {
        if (e.code() == SQLITE_INTERRUPT && cancel && cancel->load())
            throw SearchCancelled();
        throw;
    }
    for (int k = 0; k < kMasterKeyCount; ++k)
        numbers[k].finish(index->m_texts[k], index->m_order[k]);

    const std::size_t n = index->m_gids.size();
    index->m_dense =
        n == 0 || index->m_gids.back() - index->m_gids.front() == static_cast<std::int64_t>(n) - 1;
    timeStart.push_back(static_cast<std::uint32_t>(times.size()));
    auto timeOf = [&](std::size_t row) {
        return std::string_view(times).substr(timeStart[row], timeStart[row + 1] - timeStart[row]);
    };
    std::vector<std::uint32_t> byTime(n);
    std::iota(byTime.begin(), byTime.end(), 0u);
    std::stable_sort(byTime.begin(), byTime.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return timeOf(a) < timeOf(b); });
    // Equal times share a rank, so that a descending order can still keep ties in GID order.
    index->m_timeRank.resize(n);
    std::uint32_t rank = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i > 0 && timeOf(byTime[i]) != timeOf(byTime[i - 1]))
            ++rank;
        index->m_timeRank[byTime[i]] = rank;
    }
    return index;
}

int AllEventsIndex::rowOfGid(std::int64_t gid) const {
    if (m_gids.empty())
        return -1;
    if (m_dense) {
        const std::int64_t row = gid - m_gids.front();
        return row >= 0 && row < static_cast<std::int64_t>(m_gids.size()) ? static_cast<int>(row) : -1;
    }
    const auto it = std::lower_bound(m_gids.begin(), m_gids.end(), gid);
    return it != m_gids.end() && *it == gid ? static_cast<int>(it - m_gids.begin()) : -1;
}

std::vector<int> AllEventsIndex::rowsOf(const std::vector<std::int64_t>& gids) const {
    std::vector<int> rows;
    rows.reserve(gids.size());
    for (const std::int64_t gid : gids)
        if (const int row = rowOfGid(gid); row >= 0)
            rows.push_back(row);
    return rows;
}

std::vector<RowGroup> groupRows(const AllEventsIndex& index, const std::vector<int>& rows, MasterKey column) {
    std::vector<int> counts(static_cast<std::size_t>(index.keyCount(column)), 0);
    for (const int row : rows)
        ++counts[index.key(column, row)];
    std::vector<RowGroup> groups;
    for (std::size_t key = 0; key < counts.size(); ++key)
        if (counts[key] > 0)
            groups.push_back({static_cast<std::uint32_t>(key),
                              index.keyText(column, static_cast<std::uint32_t>(key)), counts[key]});
    std::sort(groups.begin(), groups.end(), [&](const RowGroup& a, const RowGroup& b) {
        return index.keyOrder(column, a.key) < index.keyOrder(column, b.key);
    });
    return groups;
}

std::vector<int> rowsOfGroup(const AllEventsIndex& index, const std::vector<int>& rows, MasterKey column,
                             std::uint32_t key) {
    std::vector<int> members;
    for (const int row : rows)
        if (index.key(column, row) == key)
            members.push_back(row);
    return members;
}

void sortRowsByTime(const AllEventsIndex& index, std::vector<int>& rows, bool ascending) {
    // Rows come in GID order, and a stable sort keeps it among equal times.
    std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) {
        return ascending ? index.timeRank(a) < index.timeRank(b) : index.timeRank(a) > index.timeRank(b);
    });
}

} // namespace kelvane
