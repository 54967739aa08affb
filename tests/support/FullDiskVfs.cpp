#include "FullDiskVfs.h"

#include <atomic>
#include <cstring>

namespace {

sqlite3_vfs* g_real = nullptr;
std::atomic<sqlite3_int64> g_capacity{0};
std::atomic<int> g_refused{0};

// The file as SQLite sees it, followed by the real file's own state.
struct ShimFile {
    sqlite3_file base;
    bool limited;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

ShimFile* shim(sqlite3_file* file) {
    return reinterpret_cast<ShimFile*>(file);
}

int shimClose(sqlite3_file* f) {
    return shim(f)->real()->pMethods->xClose(shim(f)->real());
}
int shimRead(sqlite3_file* f, void* buffer, int amount, sqlite3_int64 offset) {
    return shim(f)->real()->pMethods->xRead(shim(f)->real(), buffer, amount, offset);
}
int shimWrite(sqlite3_file* f, const void* buffer, int amount, sqlite3_int64 offset) {
    if (shim(f)->limited && offset + amount > g_capacity.load()) {
        ++g_refused;
        return SQLITE_FULL;
    }
    return shim(f)->real()->pMethods->xWrite(shim(f)->real(), buffer, amount, offset);
}
int shimTruncate(sqlite3_file* f, sqlite3_int64 size) {
    return shim(f)->real()->pMethods->xTruncate(shim(f)->real(), size);
}
int shimSync(sqlite3_file* f, int flags) {
    return shim(f)->real()->pMethods->xSync(shim(f)->real(), flags);
}
int shimFileSize(sqlite3_file* f, sqlite3_int64* size) {
    return shim(f)->real()->pMethods->xFileSize(shim(f)->real(), size);
}
int shimLock(sqlite3_file* f, int level) {
    return shim(f)->real()->pMethods->xLock(shim(f)->real(), level);
}
int shimUnlock(sqlite3_file* f, int level) {
    return shim(f)->real()->pMethods->xUnlock(shim(f)->real(), level);
}
int shimCheckReservedLock(sqlite3_file* f, int* out) {
    return shim(f)->real()->pMethods->xCheckReservedLock(shim(f)->real(), out);
}
int shimFileControl(sqlite3_file* f, int op, void* arg) {
    // A larger size hint would let the file grow without a write that can fail.
    if (op == SQLITE_FCNTL_SIZE_HINT && shim(f)->limited)
        return SQLITE_NOTFOUND;
    return shim(f)->real()->pMethods->xFileControl(shim(f)->real(), op, arg);
}
int shimSectorSize(sqlite3_file* f) {
    return shim(f)->real()->pMethods->xSectorSize(shim(f)->real());
}
int shimDeviceCharacteristics(sqlite3_file* f) {
    return shim(f)->real()->pMethods->xDeviceCharacteristics(shim(f)->real());
}

// Without shared memory or memory mapping: the importer's database uses neither.
const sqlite3_io_methods kMethods = {1,
                                     shimClose,
                                     shimRead,
                                     shimWrite,
                                     shimTruncate,
                                     shimSync,
                                     shimFileSize,
                                     shimLock,
                                     shimUnlock,
                                     shimCheckReservedLock,
                                     shimFileControl,
                                     shimSectorSize,
                                     shimDeviceCharacteristics,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr,
                                     nullptr};

int shimOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    ShimFile* f = shim(file);
    std::memset(f, 0, sizeof(ShimFile));
    const int rc = g_real->xOpen(g_real, name, f->real(), flags, outFlags);
    if (rc != SQLITE_OK || !f->real()->pMethods)
        return rc;
    f->limited = (flags & SQLITE_OPEN_MAIN_DB) != 0;
    f->base.pMethods = &kMethods;
    return SQLITE_OK;
}

} // namespace

FullDiskVfs::FullDiskVfs(sqlite3_int64 capacity) {
    g_real = sqlite3_vfs_find(nullptr);
    g_capacity = capacity;
    g_refused = 0;
    m_vfs = *g_real;
    m_vfs.iVersion = 1;
    m_vfs.szOsFile = static_cast<int>(sizeof(ShimFile)) + g_real->szOsFile;
    m_vfs.zName = "kelvane-full-disk";
    m_vfs.pNext = nullptr;
    m_vfs.xOpen = shimOpen;
    sqlite3_vfs_register(&m_vfs, 1);
}

FullDiskVfs::~FullDiskVfs() {
    sqlite3_vfs_unregister(&m_vfs);
    sqlite3_vfs_register(g_real, 1);
}

void FullDiskVfs::setCapacity(sqlite3_int64 capacity) {
    g_capacity = capacity;
}

int FullDiskVfs::refusedWrites() const {
    return g_refused.load();
}
