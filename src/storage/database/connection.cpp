// How a connection is opened: SQLite opens the file through the VFS that checks pages
// (checksum_vfs.hpp), then what the content may do is bounded, and a reader is made able to read
// what lies beside the file. Only then does a statement run.
//
// Prepared statements are kept by their text, and one that a call is using is taken out of that
// table. So a visitor of rows may run the same SQL again, and gets a statement of its own.

#include "storage/database/connection.hpp"

#include <fmt/format.h>

#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "storage/database/checksum_vfs.hpp"
#include "storage/database/page_checksum.hpp"

namespace codetext {

namespace {

/// Most statements kept prepared; past it they are dropped and prepared anew.
constexpr std::size_t MAX_IDLE_STATEMENTS = 64;
constexpr int BUSY_TIMEOUT_MS = 10'000;
/// Readers rarely revisit a page, and memory for a page costs more than reading it again: a cache
/// of as many pages as lie between the root of a table and a row.
constexpr const char* READER_CACHE = "PRAGMA cache_size = 6";
/// Tries to take the lock before a thread sleeps for it: a statement takes microseconds, and
/// sleeping takes longer.
constexpr int SPINS = 200;

/// Steps of SQLite's virtual machine between two looks at their number: some tens of milliseconds.
constexpr int STEPS_A_CHECK = 1 << 20;
/// Steps that a statement may take for each byte of the database, and besides. A row has six bytes
/// or more, and no statement of ours takes fifty steps for one.
constexpr std::int64_t STEPS_A_BYTE = 8;
constexpr std::int64_t MORE_STEPS = std::int64_t{4} * STEPS_A_CHECK;
/// Most bytes of an SQL text, ours and those of the tables.
constexpr int MAX_SQL_BYTES = 1 << 20;

/// The path with its directories as they are. SQLite then takes the last component for no symbolic
/// link, which would be one that the maker of the database chose.
std::filesystem::path resolved(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path directory =
        std::filesystem::canonical(path.has_parent_path() ? path.parent_path() : ".", error);
    return error ? path : directory / path.filename();
}

/// The path as a URI, as SQLite reads it: "?", "#" and "%" would end or change the path. "//"
/// begins an authority, which is empty here, so that no part of an absolute path is taken for one.
std::string uri_of(const std::filesystem::path& path) {
    std::string uri = path.is_absolute() ? "file://" : "file:";
    for (const char c : path.native()) {
        if (c == '?' || c == '#' || c == '%') {
            uri += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        } else {
            uri += c;
        }
    }
    return uri;
}

/// NOMUTEX: `lock` holds one lock for a whole statement. SQLite's own mutex is taken for each
/// column of each row, and put threads to sleep. EXRESCODE: error.cpp tells a page that fails its
/// checksum from other failures by the extended code.
int open_flags(Access access) {
    const int flags =
        SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_URI | SQLITE_OPEN_NOFOLLOW;
    switch (access) {
        case Access::READ_ONLY:
            return flags | SQLITE_OPEN_READONLY;
        case Access::READ_WRITE:
            return flags | SQLITE_OPEN_READWRITE;
        case Access::CREATE:
            return flags | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    }
    throw std::invalid_argument("an unknown kind of access to a database");
}

/// An immutable database is its file alone. With a log beside it, that file holds old content; with
/// a journal, changes that are to be undone.
void check_stands_alone(const std::filesystem::path& path) {
    for (const char* suffix : {"-wal", "-journal"}) {
        std::filesystem::path beside = path;
        beside += suffix;
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(beside, error);
        if (error == std::errc::no_such_file_or_directory || (!error && size == 0)) continue;
        throw DatabaseError(
            DatabaseError::Kind::CANNOT_OPEN,
            fmt::format("cannot read {}: its newest changes are in {}, and reading them needs a "
                        "user who may write there and room on the disk",
                        path.string(), beside.filename().string()),
            "");
    }
}

/// The first statement is the first to meet the log and the journal: opening reads the header of
/// the file, no more.
int first_read(sqlite3* db) {
    return sqlite3_exec(db, "SELECT 1 FROM sqlite_master LIMIT 1", nullptr, nullptr, nullptr);
}

/// The failures of a reader that cannot make the files beside a database with a log: it may not
/// write there, or a full disk has no room for the shared memory.
bool needs_immutable(int result) {
    return (result & 0xFF) == SQLITE_READONLY || (result & 0xFF) == SQLITE_CANTOPEN ||
           result == SQLITE_IOERR_SHMOPEN || result == SQLITE_IOERR_SHMSIZE;
}

/// SQLite's message, or for damage what to do about it.
std::string message_of(sqlite3* db) {
    const int code = sqlite3_extended_errcode(db);
    const std::string_view fault = code == SQLITE_IOERR_DATA
                                       ? "a page does not match its checksum, or is missing"
                                       : sqlite3_errmsg(db);
    const bool is_damage = code == SQLITE_IOERR_DATA || (code & 0xFF) == SQLITE_CORRUPT;
    if (!is_damage) return std::string(fault);
    return fmt::format("the index is damaged ({}); run `codetext verify --repair`", fault);
}

}  // namespace

void throw_last_error(sqlite3* db, std::string_view doing, std::string_view statement) {
    const char* path = sqlite3_db_filename(db, "main");
    const bool has_path = path != nullptr && *path != '\0';
    const int code = sqlite3_extended_errcode(db);
    // Nobody calls sqlite3_interrupt: this code comes from the progress handler alone.
    throw DatabaseError(
        code,
        fmt::format("{}{}{}: {}", has_path ? path : "", has_path ? ": " : "", doing,
                    code == SQLITE_INTERRUPT ? "a table without end" : message_of(db)),
        statement);
}

Database::Connection::Connection(const std::filesystem::path& path, Access access)
    : _path(resolved(path)) {
    if (path.native().find('\0') != std::string::npos) {
        throw std::invalid_argument("a database path with an embedded NUL");
    }
    _open(uri_of(_path), access);
    if (access == Access::READ_ONLY) _make_readable();
    if (access == Access::CREATE) reserve_checksums();
    sqlite3_busy_timeout(handle(), BUSY_TIMEOUT_MS);
    // SQLite rolls back by itself too (a full disk, say), and no statement tells of that.
    sqlite3_rollback_hook(
        handle(), [](void* connection) { static_cast<Connection*>(connection)->note_undo(); },
        this);
    if (access == Access::READ_ONLY)
        sqlite3_exec(handle(), READER_CACHE, nullptr, nullptr, nullptr);
}

Database::Connection::~Connection() {
    // Statement's destructor has given all others back.
    for (auto& [sql, statement] : _idle) sqlite3_finalize(statement);
    sqlite3_rollback_hook(handle(), nullptr, nullptr);  // closing may roll back
}

std::unique_lock<std::recursive_mutex> Database::Connection::lock() const {
    // Recursive: a visitor of rows may run statements of its own (a frame reads its dictionary).
    std::unique_lock lock(_mutex, std::try_to_lock);
    for (int i = 0; i < SPINS && !lock.owns_lock(); ++i) {
        std::this_thread::yield();
        lock.try_lock();
    }
    if (!lock.owns_lock()) lock.lock();
    return lock;
}

sqlite3_stmt* Database::Connection::take(std::string_view sql) {
    sqlite3_stmt* statement = _prepared(sql);
    // A statement inside of another's visitor counts with that one. If it began the count anew,
    // each row would give an outer statement without end more steps.
    if (_in_use++ == 0) begin_steps();
    return statement;
}

sqlite3_stmt* Database::Connection::_prepared(std::string_view sql) {
    if (auto found = _idle.find(std::string(sql)); found != _idle.end()) {
        sqlite3_stmt* statement = found->second;
        _idle.erase(found);
        return statement;
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(handle(), sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
        throw_last_error(handle(), "cannot prepare a statement", sql);
    }
    if (!statement) throw DatabaseError(DatabaseError::Kind::MISUSE, "no statement to run", sql);
    return statement;
}

void Database::Connection::give_back(std::string_view sql, sqlite3_stmt* statement) noexcept {
    --_in_use;
    // A statement that is not reset keeps its read transaction open, and no checkpoint could move
    // the whole log. The result says again what step() has thrown. Bindings point to memory of the
    // caller.
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    try {
        if (_idle.size() < MAX_IDLE_STATEMENTS) {
            _idle.emplace(sql, statement);
            return;
        }
    } catch (const std::bad_alloc&) {  // keeping it would only have saved time
    }
    sqlite3_finalize(statement);
}

// The end of a transaction that changed nothing undoes nothing: a reader may go on with what it
// has.
void Database::Connection::note_undo() {
    const std::int64_t changes = sqlite3_total_changes64(handle());
    if (changes != _changes_at_undo) ++_undone;
    _changes_at_undo = changes;
}

void Database::Connection::limit_values(int bytes) {
    sqlite3_limit(handle(), SQLITE_LIMIT_LENGTH, bytes);
}

void Database::Connection::reserve_checksums() {
    int bytes = page_checksum::BYTES;
    sqlite3_file_control(handle(), "main", SQLITE_FCNTL_RESERVE_BYTES, &bytes);
}

void Database::Connection::_open(const std::string& uri, Access access) {
    // A null name would stand for the system's own VFS, which checks nothing.
    if (checksum_vfs() == nullptr) throw std::bad_alloc();
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(uri.c_str(), &opened, open_flags(access), checksum_vfs());
    _db.reset(opened);
    if (result == SQLITE_OK) return _distrust_content(access);
    throw DatabaseError(sqlite3_extended_errcode(opened),
                        fmt::format("cannot open {}: {}", _path.string(), message_of(opened)), "");
}

// A database may come from a stranger, who has put into it whatever its tables can hold.
void Database::Connection::_distrust_content(Access access) {
    for (const auto& [option, value] :
         {std::pair(SQLITE_DBCONFIG_DEFENSIVE, 1),
          {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
          {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
          // a writer has triggers of its own
          {SQLITE_DBCONFIG_ENABLE_TRIGGER, access == Access::READ_ONLY ? 0 : 1}}) {
        sqlite3_db_config(handle(), option, value, nullptr);
    }
    // VACUUM attaches the database that it makes.
    sqlite3_limit(handle(), SQLITE_LIMIT_ATTACHED, access == Access::READ_ONLY ? 0 : 1);
    sqlite3_limit(handle(), SQLITE_LIMIT_SQL_LENGTH, MAX_SQL_BYTES);
    limit_values(max_value_bytes(access));
    // The last bound: SQLite calls this between steps, and a result other than 0 ends the
    // statement.
    sqlite3_progress_handler(
        handle(), STEPS_A_CHECK,
        [](void* connection) {
            return static_cast<Connection*>(connection)->_is_without_end() ? 1 : 0;
        },
        this);
}

// A page that stands in several places of a tree, as only damage or malice puts it, makes a table
// of a few pages go on for ever.
bool Database::Connection::_is_without_end() {
    if (_max_steps == 0) _max_steps = MORE_STEPS + _database_bytes() * STEPS_A_BYTE;
    _steps += STEPS_A_CHECK;
    return _steps > _max_steps;
}

std::int64_t Database::Connection::_database_bytes() const {
    std::int64_t bytes = 0;
    // What the last commits wrote may be in the log only.
    for (const char* ending : {"", "-wal"}) {
        std::filesystem::path file = _path;
        file += ending;
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(file, error);
        if (!error) bytes += static_cast<std::int64_t>(size);
    }
    return bytes;
}

// Only a writer can take back a change that was cut short. And a reader makes files beside a WAL
// database; a user who may not write there, or has no room on the disk, cannot.
void Database::Connection::_make_readable() {
    int result = first_read(handle());
    if (result == SQLITE_READONLY_ROLLBACK) {
        _db.reset();
        // The first read of a writer plays the journal back. Another process may be doing that: it
        // waits.
        _open(uri_of(_path), Access::READ_WRITE);
        sqlite3_busy_timeout(handle(), BUSY_TIMEOUT_MS);
        first_read(handle());
        _db.reset();
        _open(uri_of(_path), Access::READ_ONLY);
        result = first_read(handle());
    }
    if (!needs_immutable(result)) return;
    _db.reset();
    check_stands_alone(_path);
    _open(uri_of(_path) + "?immutable=1", Access::READ_ONLY);
}

}  // namespace codetext
