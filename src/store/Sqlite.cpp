#include "store/Sqlite.h"

#include "store/ExtraItemsCodec.h"

#include <limits>

namespace kelvane::sql {

void configureLibrary() {
    // No allocation statistics: they cost a global lock for every allocation of every row written. The
    // library takes this only before its first use, so it is done once, as a program starts.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
}

Database::Database(const std::string& path, Mode mode) {
    sqlite3* db = nullptr;
    const int flags = mode == ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(path.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    m_db.reset(db);
    if (rc != SQLITE_OK) {
        const std::string text = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
        m_db.reset();
        throw Error("unable to open database file '" + path + "': " + text, rc);
    }
    sqlite3_extended_result_codes(db, 1);
    // The all-events view reads on connections of its own; a write that meets one of its reads waits for
    // it to end instead of failing with "database is locked".
    sqlite3_busy_timeout(db, 10000);
    registerExtraItemsFunctions(db);
}

void Database::exec(const std::string& sql) {
    char* message = nullptr;
    const int rc = sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, &message);
    if (rc != SQLITE_OK) {
        std::string text = message ? message : sqlite3_errstr(rc);
        sqlite3_free(message);
        throw Error(text, rc);
    }
}

Statement Database::prepare(std::string_view sql, bool persistent) const {
    if (!m_db)
        throw Error("database is not open", SQLITE_MISUSE);
    sqlite3_stmt* stmt = nullptr;
    const unsigned flags = persistent ? SQLITE_PREPARE_PERSISTENT : 0;
    if (sql.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw Error("statement too long", SQLITE_TOOBIG);
    const int rc =
        sqlite3_prepare_v3(m_db.get(), sql.data(), static_cast<int>(sql.size()), flags, &stmt, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_finalize(stmt);
        throw Error(sqlite3_errmsg(m_db.get()), rc);
    }
    return Statement(m_db.get(), stmt);
}

void Statement::fail(int rc) const {
    throw Error(m_db ? sqlite3_errmsg(m_db) : sqlite3_errstr(rc), rc);
}

void Statement::bindNull(int index) {
    if (const int rc = sqlite3_bind_null(m_stmt.get(), index); rc != SQLITE_OK)
        fail(rc);
}

void Statement::bind(int index, std::int64_t value) {
    if (const int rc = sqlite3_bind_int64(m_stmt.get(), index, value); rc != SQLITE_OK)
        fail(rc);
}

void Statement::bind(int index, double value) {
    if (const int rc = sqlite3_bind_double(m_stmt.get(), index, value); rc != SQLITE_OK)
        fail(rc);
}

void Statement::bindStatic(int index, std::string_view text) {
    // The 64-bit call: a text past 2 GiB is refused by the library with SQLITE_TOOBIG, not cut.
    const int rc =
        sqlite3_bind_text64(m_stmt.get(), index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    if (rc != SQLITE_OK)
        fail(rc);
}

void Statement::bind(int index, std::string_view text) {
    const int rc =
        sqlite3_bind_text64(m_stmt.get(), index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    if (rc != SQLITE_OK)
        fail(rc);
}

bool Statement::step() {
    const int rc = sqlite3_step(m_stmt.get());
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    const Error error(sqlite3_errmsg(m_db), rc);
    sqlite3_reset(m_stmt.get());
    throw error;
}

void Statement::run() {
    while (step()) {
    }
}

void Statement::reset() {
    sqlite3_reset(m_stmt.get());
}

std::string Statement::columnName(int col) const {
    const char* name = sqlite3_column_name(m_stmt.get(), col);
    return name ? name : std::string();
}

std::string_view Statement::columnText(int col) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_stmt.get(), col));
    if (!text)
        return {};
    return std::string_view(text, static_cast<size_t>(sqlite3_column_bytes(m_stmt.get(), col)));
}

Transaction::Transaction(Database& db) : m_db(db) {
    m_db.exec("BEGIN");
}

Transaction::~Transaction() {
    if (m_open) {
        try {
            m_db.exec("ROLLBACK");
        } catch (...) {
        }
    }
}

void Transaction::commit() {
    m_db.exec("COMMIT");
    m_open = false;
}

} // namespace kelvane::sql
