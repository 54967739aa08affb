#include "store/AllEventsSearch.h"

#include "store/ExtraItemsCodec.h"
#include "store/Schema.h"

#include <algorithm>
#include <mutex>
#include <thread>

namespace kelvane {

namespace {

// FIDs are GIDs, small and dense: a bit per possible key. Keys beyond the bit range (negative ones,
// or a hand-edited database) go to a plain list.
class IdSet {
public:
    void add(std::int64_t id) {
        if (id < 0 || id >= kMaxBits) {
            m_outliers.push_back(id);
            return;
        }
        const auto word = static_cast<std::size_t>(id >> 6);
        if (word >= m_bits.size())
            m_bits.resize(std::max(word + 1, m_bits.size() * 2), 0);
        m_bits[word] |= std::uint64_t{1} << (id & 63);
    }

    void merge(const IdSet& other) {
        if (other.m_bits.size() > m_bits.size())
            m_bits.resize(other.m_bits.size(), 0);
        for (std::size_t word = 0; word < other.m_bits.size(); ++word)
            m_bits[word] |= other.m_bits[word];
        m_outliers.insert(m_outliers.end(), other.m_outliers.begin(), other.m_outliers.end());
    }

    std::vector<std::int64_t> sorted() const {
        std::vector<std::int64_t> ids(m_outliers);
        for (std::size_t word = 0; word < m_bits.size(); ++word)
            for (std::uint64_t bits = m_bits[word]; bits; bits &= bits - 1)
                ids.push_back(static_cast<std::int64_t>(word * 64 + std::countr_zero(bits)));
        if (!m_outliers.empty()) {
            std::sort(ids.begin(), ids.end());
            ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
        }
        return ids;
    }

private:
    static constexpr std::int64_t kMaxBits = std::int64_t{1} << 31;
    std::vector<std::uint64_t> m_bits;
    std::vector<std::int64_t> m_outliers;
};

constexpr int kHitsPerReport = 100000;

int stopWhenCancelled(void* flag) {
    return static_cast<const CancelFlag*>(flag)->load(std::memory_order_relaxed) ? 1 : 0;
}

} // namespace

CancelGuard::CancelGuard(sql::Database& db, const CancelFlag* cancel) : m_db(db) {
    if (cancel)
        sqlite3_progress_handler(db.handle(), 2000, &stopWhenCancelled,
                                 const_cast<void*>(static_cast<const void*>(cancel)));
}

CancelGuard::~CancelGuard() {
    sqlite3_progress_handler(m_db.handle(), 0, nullptr, nullptr);
}

std::unique_ptr<sql::Database> openReadOnlyDatabase(const std::string& path) {
    sqlite3* handle = nullptr;
    const int rc =
        sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        const std::string text = handle ? sqlite3_errmsg(handle) : sqlite3_errstr(rc);
        sqlite3_close_v2(handle);
        throw sql::Error("unable to open database file '" + path + "': " + text, rc);
    }
    // Adopt the handle through the usual wrapper: a Database opened read-write would create a
    // missing file and could write to the user's database.
    auto db = std::make_unique<sql::Database>(sql::Database::adopt(handle));
    registerExtraItemsFunctions(handle);
    return db;
}

std::vector<std::int64_t>
searchEventIds(sql::Database& db, const QString& term, const CancelFlag* cancel,
               const std::function<void(const std::vector<std::int64_t>&)>& afterTable) {
    sql::Database* readers[] = {&db};
    return searchEventIds(readers, term, cancel, afterTable);
}

std::vector<std::int64_t>
searchEventIds(std::span<sql::Database* const> readers, const QString& term, const CancelFlag* cancel,
               const std::function<void(const std::vector<std::int64_t>&)>& afterTable) {
    const std::string text = term.toStdString();
    // The largest tables first, so that no reader is left with a big one at the end.
    std::vector<schema::SearchSubSelect> selects = schema::searchSubSelects();
    std::vector<std::pair<std::int64_t, std::size_t>> bySize;
    for (std::size_t i = 0; i < selects.size(); ++i) {
        sql::Statement last = readers[0]->prepare(std::string("SELECT MAX(") + selects[i].sizeColumn +
                                                  ") FROM " + selects[i].table);
        bySize.emplace_back(last.step() ? -last.columnInt64(0) : 0, i);
    }
    std::stable_sort(bySize.begin(), bySize.end());

    std::atomic<std::size_t> next{0};
    std::mutex lock;
    IdSet found;
    std::exception_ptr failure;
    auto work = [&](sql::Database& db) {
        try {
            const CancelGuard guard(db, cancel);
            for (std::size_t n = next++; n < bySize.size(); n = next++) {
                if (cancel && cancel->load())
                    throw SearchCancelled();
                sql::Statement stmt = db.prepare(selects[bySize[n].second].sql);
                stmt.bindStatic(stmt.parameterIndex(":TermParam"), text);
                IdSet table;
                // A big table reports its hits on the way, so that the first ones show at once.
                int hits = 0;
                while (stmt.step()) {
                    table.add(stmt.columnInt64(0));
                    if (++hits == kHitsPerReport && afterTable) {
                        hits = 0;
                        const std::lock_guard hold(lock);
                        found.merge(table);
                        afterTable(found.sorted());
                    }
                }
                const std::lock_guard hold(lock);
                found.merge(table);
                if (afterTable)
                    afterTable(found.sorted());
            }
        } catch (const sql::Error& e) {
            const std::lock_guard hold(lock);
            if (!failure)
                failure = e.code() == SQLITE_INTERRUPT && cancel && cancel->load()
                              ? std::make_exception_ptr(SearchCancelled())
                              : std::current_exception();
            next = bySize.size();
        } catch (...) {
            const std::lock_guard hold(lock);
            if (!failure)
                failure = std::current_exception();
            next = bySize.size();
        }
    };
    std::vector<std::thread> helpers;
    for (std::size_t r = 1; r < readers.size(); ++r)
        helpers.emplace_back(work, std::ref(*readers[r]));
    work(*readers[0]);
    for (std::thread& helper : helpers)
        helper.join();
    if (failure)
        std::rethrow_exception(failure);
    return found.sorted();
}

namespace {

MasterRow masterRowAt(const sql::Statement& stmt) {
    auto text = [&](int column) {
        if (stmt.isNull(column))
            return QString();
        const std::string_view value = stmt.columnText(column);
        return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
    };
    MasterRow row;
    row.utcTime = text(0);
    row.eventType = static_cast<int>(stmt.columnInt64(1));
    row.eventTypeName = text(2);
    row.gid = stmt.columnInt64(3);
    row.correlationGuid = text(4);
    row.computer = text(5);
    row.ruleName = text(6);
    return row;
}

constexpr const char* kMasterColumns =
    "SELECT UtcTime, EventType, EventTypeName, GID, CorrelationGuid, Computer, RuleName FROM AllEvents";

} // namespace

MasterRowReader::MasterRowReader(sql::Database& db)
    : m_db(db), m_stmt(db.prepare(std::string(kMasterColumns) + " WHERE GID = ?", true)) {}

bool MasterRowReader::read(std::int64_t gid, MasterRow& row) {
    m_stmt.reset();
    m_stmt.bind(1, gid);
    if (!m_stmt.step())
        return false;
    row = masterRowAt(m_stmt);
    m_stmt.reset();
    return true;
}

void MasterRowReader::readAll(const std::function<void(MasterRow&&)>& take) {
    sql::Statement all = m_db.prepare(std::string(kMasterColumns) + " ORDER BY GID");
    while (all.step())
        take(masterRowAt(all));
}

std::vector<MasterRow> searchMasterRows(sql::Database& db, const QString& term) {
    const std::vector<std::int64_t> ids = searchEventIds(db, term);
    std::vector<MasterRow> rows;
    MasterRowReader reader(db);
    // Few hits are read by key; many in one pass over AllEvents, which costs less than a look-up each.
    constexpr std::size_t kLookups = 20000;
    if (ids.size() <= kLookups) {
        for (const std::int64_t gid : ids) {
            MasterRow row;
            if (reader.read(gid, row))
                rows.push_back(std::move(row));
        }
        return rows;
    }
    reader.readAll([&](MasterRow&& row) {
        if (std::binary_search(ids.begin(), ids.end(), row.gid))
            rows.push_back(std::move(row));
    });
    return rows;
}

} // namespace kelvane
