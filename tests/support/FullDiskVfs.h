#pragma once

#include <sqlite3.h>

// A file system that fills up: while installed it is SQLite's default, and a database file may not grow
// beyond the capacity given; a write past it fails with SQLITE_FULL, as on a full disk. Journals are not
// limited. One at a time.
class FullDiskVfs {
public:
    explicit FullDiskVfs(sqlite3_int64 capacity);
    ~FullDiskVfs();
    FullDiskVfs(const FullDiskVfs&) = delete;
    FullDiskVfs& operator=(const FullDiskVfs&) = delete;

    void setCapacity(sqlite3_int64 capacity);
    // Writes refused so far.
    int refusedWrites() const;

private:
    sqlite3_vfs m_vfs{};
};
