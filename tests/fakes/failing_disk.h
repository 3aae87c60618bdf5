#pragma once
// While it lives, the database engine's default file layer: the real one,
// except that for files whose name holds `affects` writes fail as on a full
// disk, or the file opens read-only as one the engine may not write.
#include <sqlite3.h>

#include <algorithm>
#include <list>
#include <string>
#include <utility>

namespace ombrix::test {

class FailingDisk {
public:
    enum class Fault { None, Full, ReadOnly };
    Fault fault = Fault::None;

    explicit FailingDisk(std::string affects)
        : affects_(std::move(affects)), real_(sqlite3_vfs_find(nullptr)), vfs_(*real_) {
        vfs_.zName = "ombrix-failing-disk";
        vfs_.pAppData = this;
        vfs_.xOpen = &open;
        sqlite3_vfs_register(&vfs_, 1);
    }
    ~FailingDisk() { sqlite3_vfs_unregister(&vfs_), sqlite3_vfs_register(real_, 1); }
    FailingDisk(const FailingDisk&) = delete;
    FailingDisk& operator=(const FailingDisk&) = delete;

private:
    static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        FailingDisk& d = *static_cast<FailingDisk*>(vfs->pAppData);
        const bool ours = name && std::string(name).find(d.affects_) != std::string::npos;
        if (ours && d.fault == Fault::ReadOnly && (flags & SQLITE_OPEN_READWRITE)) {
            if (!(flags & SQLITE_OPEN_MAIN_DB)) return SQLITE_CANTOPEN;
            flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
        }
        const int rc = d.real_->xOpen(d.real_, name, file, flags, outFlags);
        if (rc != SQLITE_OK || !ours || !file->pMethods) return rc;
        // The real file's methods (a journal's differ from its database's), with the writes through us.
        auto kept = std::ranges::find_if(d.methods_, [&](const auto& m) { return m.first == file->pMethods; });
        if (kept == d.methods_.end()) (kept = d.methods_.insert(kept, {file->pMethods, *file->pMethods}))->second.xWrite = &write;
        file->pMethods = &kept->second;
        current_ = &d;
        return rc;
    }
    static int write(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset) {
        if (current_->fault == Fault::Full) return SQLITE_FULL;
        for (const auto& [real, ours] : current_->methods_) {
            if (&ours == file->pMethods) return real->xWrite(file, data, amount, offset);
        }
        return SQLITE_IOERR_WRITE;
    }

    static inline FailingDisk* current_ = nullptr;  // the live one, for the writes
    std::string affects_;
    sqlite3_vfs* real_ = nullptr;
    sqlite3_vfs vfs_{};
    std::list<std::pair<const sqlite3_io_methods*, sqlite3_io_methods>> methods_;  // real and ours; a list keeps them in place
};

}  // namespace ombrix::test
