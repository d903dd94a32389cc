#pragma once
// The stand-ins' one SQLite database. One connection, used under one mutex:
// the RPC workers of all three daemons share it, and SQLite's own locking is
// then never in the way. Every change runs inside a `sim_txn`, so a process
// that dies in the middle of one leaves the database as it was before it
// (write-ahead log; committed changes are in the log before COMMIT returns).
#include <sqlite3.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <variant>
#include <vector>

namespace tvn::sim {

// A value bound into a statement built at run time.
using sql_value = std::variant<int64_t, std::string>;

class sim_stmt {
public:
    sim_stmt() = default;
    explicit sim_stmt(sqlite3_stmt* stmt) : stmt_(stmt) {}
    ~sim_stmt();
    sim_stmt(sim_stmt&& other) noexcept : stmt_(other.stmt_) { other.stmt_ = nullptr; }
    sim_stmt& operator=(sim_stmt&& other) noexcept;
    sim_stmt(const sim_stmt&) = delete;
    sim_stmt& operator=(const sim_stmt&) = delete;

    explicit operator bool() const { return stmt_ != nullptr; }

    // Parameters are numbered from 1, as in SQLite.
    sim_stmt& bind(int index, int64_t value);
    sim_stmt& bind(int index, std::string_view value);
    sim_stmt& bind(int index, const sql_value& value);
    sim_stmt& bind_null(int index);
    template <class T>
        requires std::is_integral_v<T>
    sim_stmt& bind(int index, T value) {
        // uint64 identifiers are kept bit for bit in SQLite's signed integers.
        return bind(index, static_cast<int64_t>(value));
    }
    sim_stmt& bind(int index, const char* value) { return bind(index, std::string_view(value)); }
    sim_stmt& bind(int index, const std::string& value) {
        return bind(index, std::string_view(value));
    }
    // Binds every value in order from parameter 1.
    sim_stmt& bind_all(const std::vector<sql_value>& values);

    // SQLITE_ROW, SQLITE_DONE or an error code.
    int step();
    // Runs a statement that returns no rows: SQLITE_DONE or an error code.
    int run();
    void reset();

    int64_t i64(int col) const;
    uint64_t u64(int col) const { return static_cast<uint64_t>(i64(col)); }
    uint32_t u32(int col) const { return static_cast<uint32_t>(i64(col)); }
    int32_t i32(int col) const { return static_cast<int32_t>(i64(col)); }
    std::string text(int col) const;
    bool is_null(int col) const;

private:
    sqlite3_stmt* stmt_ = nullptr;
};

// A statement kept prepared by the database; reset (bindings cleared) when
// the reference goes. Empty when preparing failed.
class sim_stmt_ref {
public:
    explicit sim_stmt_ref(sim_stmt* stmt) : stmt_(stmt) {}
    ~sim_stmt_ref() {
        if (stmt_ != nullptr) stmt_->reset();
    }
    sim_stmt_ref(const sim_stmt_ref&) = delete;
    sim_stmt_ref& operator=(const sim_stmt_ref&) = delete;
    explicit operator bool() const { return stmt_ != nullptr && static_cast<bool>(*stmt_); }
    sim_stmt* operator->() { return stmt_; }
    sim_stmt& operator*() { return *stmt_; }

private:
    sim_stmt* stmt_;
};

class sim_db {
public:
    // The layout this build writes. Older databases are migrated forward on
    // open; a newer one is refused rather than misread.
    static int schema_version_latest();

    sim_db() = default;
    ~sim_db();
    sim_db(const sim_db&) = delete;
    sim_db& operator=(const sim_db&) = delete;

    // Opens (creating it and its folder when missing) and migrates. `durable`
    // also survives a power cut (an fsync per commit); without it a commit
    // survives the death of the process, which is what the stand-in needs.
    // 0, or SIM_ERR_IO with the reason in `err`. `stop_at_version` (tests)
    // migrates no further than that version; 0 means the latest.
    int32_t open(const std::string& path, bool durable, std::string& err,
                 int stop_at_version = 0);
    void close();
    bool is_open() const { return db_ != nullptr; }
    const std::string& path() const { return path_; }

    // Guards the connection; every store call holds it for its duration.
    std::mutex& mutex() { return mutex_; }

    // Caller holds the mutex for all of these.
    sim_stmt prepare(std::string_view sql);
    // For statements of the hot paths: prepared once, kept until close().
    // One user at a time (the caller holds the mutex and does not nest).
    sim_stmt_ref cached(const std::string& sql);
    int exec(const char* sql);
    std::string errmsg() const;
    int64_t last_insert_rowid() const;
    int changes() const;
    int schema_version();

private:
    int32_t migrate(std::string& err, int target);

    std::unordered_map<std::string, sim_stmt> cache_;
    sqlite3* db_ = nullptr;
    std::string path_;
    std::mutex mutex_;
};

// One transaction with the database lock held: BEGIN IMMEDIATE on creation,
// ROLLBACK on destruction unless commit() succeeded.
class sim_txn {
public:
    explicit sim_txn(sim_db& db);
    ~sim_txn();
    sim_txn(const sim_txn&) = delete;
    sim_txn& operator=(const sim_txn&) = delete;

    bool ok() const { return begun_; }
    // 0 or SIM_ERR_IO.
    int32_t commit();
    sim_db& db() { return db_; }

private:
    sim_db& db_;
    std::lock_guard<std::mutex> lock_;
    bool begun_ = false;
    bool done_ = false;
};

// Read-only access: the lock alone (one connection, so a reader under the
// lock always sees a whole, committed state).
class sim_read {
public:
    explicit sim_read(sim_db& db) : db_(db), lock_(db.mutex()) {}
    sim_db& db() { return db_; }

private:
    sim_db& db_;
    std::lock_guard<std::mutex> lock_;
};

}  // namespace tvn::sim
