#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelvane::sql {

// A failure of the sqlite3 library, carrying the library's own text.
class Error : public std::runtime_error {
public:
    explicit Error(const std::string& what, int code = SQLITE_ERROR)
        : std::runtime_error(what), m_code(code) {}
    int code() const { return m_code; }

private:
    int m_code;
};

// Process-wide settings of the library; call once as a program starts, before any database is opened.
void configureLibrary();

struct DatabaseCloser {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt* stmt) const { sqlite3_finalize(stmt); }
};

class Statement;

// One open sqlite3 connection.
class Database {
public:
    enum Mode { ReadWrite, ReadOnly };

    Database() = default;
    // Opens the file at path, UTF-8: for writing (made when missing), or only for reading.
    explicit Database(const std::string& path, Mode mode = ReadWrite);
    // Takes over a handle opened elsewhere (with other flags).
    static Database adopt(sqlite3* handle) {
        Database db;
        db.m_db.reset(handle);
        sqlite3_extended_result_codes(handle, 1);
        return db;
    }

    sqlite3* handle() const { return m_db.get(); }
    bool isOpen() const { return m_db != nullptr; }

    // Runs a script of one or more statements that return no rows.
    void exec(const std::string& sql);
    // Prepares a statement; persistent ones are meant to be cached and reused.
    Statement prepare(std::string_view sql, bool persistent = false) const;
    std::int64_t lastInsertRowId() const { return sqlite3_last_insert_rowid(m_db.get()); }
    std::string errorMessage() const { return m_db ? sqlite3_errmsg(m_db.get()) : "database is not open"; }

private:
    std::unique_ptr<sqlite3, DatabaseCloser> m_db;
};

// One prepared statement; reset and rebound for each use.
class Statement {
public:
    Statement() = default;
    Statement(sqlite3* db, sqlite3_stmt* stmt) : m_db(db), m_stmt(stmt) {}

    bool isValid() const { return m_stmt != nullptr; }
    sqlite3_stmt* handle() const { return m_stmt.get(); }

    void bindNull(int index);
    void bind(int index, std::int64_t value);
    void bind(int index, double value);
    // The text must outlive the next step() (it is bound without a copy).
    void bindStatic(int index, std::string_view text);
    void bind(int index, std::string_view text);
    int parameterIndex(const char* name) const { return sqlite3_bind_parameter_index(m_stmt.get(), name); }
    int parameterCount() const { return sqlite3_bind_parameter_count(m_stmt.get()); }

    // Steps once: true while a row is available, false when done.
    bool step();
    // Steps a statement that yields no rows.
    void run();
    void reset();
    void clearBindings() { sqlite3_clear_bindings(m_stmt.get()); }

    int columnCount() const { return sqlite3_column_count(m_stmt.get()); }
    std::string columnName(int col) const;
    int columnType(int col) const { return sqlite3_column_type(m_stmt.get(), col); }
    bool isNull(int col) const { return columnType(col) == SQLITE_NULL; }
    std::int64_t columnInt64(int col) const { return sqlite3_column_int64(m_stmt.get(), col); }
    double columnDouble(int col) const { return sqlite3_column_double(m_stmt.get(), col); }
    std::string_view columnText(int col) const;

private:
    [[noreturn]] void fail(int rc) const;
    sqlite3* m_db = nullptr;
    std::unique_ptr<sqlite3_stmt, StatementFinalizer> m_stmt;
};

// BEGIN ... COMMIT that rolls back unless committed.
class Transaction {
public:
    explicit Transaction(Database& db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& m_db;
    bool m_open = true;
};

} // namespace kelvane::sql
