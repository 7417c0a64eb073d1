#pragma once

// The SQLite connection behind a Database, with the prepared statements that no call is using.
// Private to this folder: it is what keeps sqlite3.h out of database.hpp.

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "storage/database/database.hpp"

namespace codetext {

/// Throws DatabaseError for the failure that `db` reported last: the database, what we were doing,
/// and SQLite's message.
[[noreturn]] void throw_last_error(sqlite3* db, std::string_view doing, std::string_view statement);

class Database::Connection {
  public:
    Connection(const std::filesystem::path& path, Access access);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    sqlite3* handle() const { return _db.get(); }

    /// One thread at a time is inside SQLite.
    std::unique_lock<std::recursive_mutex> lock() const;

    /// A prepared statement for `sql`. REQUIRES, as give_back: the lock is held.
    sqlite3_stmt* take(std::string_view sql);
    void give_back(std::string_view sql, sqlite3_stmt* statement) noexcept;

    /// Counts the steps of SQLite's virtual machine anew. REQUIRES: the lock is held.
    void begin_steps() { _steps = _max_steps = 0; }

    /// As Database::limit_values.
    void limit_values(int bytes);

    /// Asks SQLite for room for checksums in a database that is made through this connection. One
    /// that is there already stays as it is.
    void reserve_checksums();

    /// Records that the changes made since the last call of this may now be undone.
    void note_undo();
    /// How often that was so.
    std::int64_t undone() const { return _undone; }

  private:
    sqlite3_stmt* _prepared(std::string_view sql);
    void _open(const std::string& uri, Access access);
    void _make_readable();
    void _distrust_content(Access access);
    bool _is_without_end();
    std::int64_t _database_bytes() const;

    std::filesystem::path _path;  ///< without a symbolic link among its directories

    struct Close {
        void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
    };
    std::unique_ptr<sqlite3, Close> _db;
    mutable std::recursive_mutex _mutex;
    std::unordered_multimap<std::string, sqlite3_stmt*> _idle;
    int _in_use = 0;              ///< prepared statements that calls are using
    std::int64_t _steps = 0;      ///< that SQLite has taken for these calls, near enough
    std::int64_t _max_steps = 0;  ///< 0: not worked out for these calls
    std::int64_t _undone = 0;
    std::int64_t _changes_at_undo = 0;
};

}  // namespace codetext
