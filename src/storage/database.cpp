#include "storage/database.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

namespace codetext {

namespace {

/// Most statements kept prepared; past it they are dropped and prepared anew.
constexpr std::size_t MAX_IDLE_STATEMENTS = 64;
constexpr int BUSY_TIMEOUT_MS = 10'000;
/// A reader comes to few pages twice, and the memory for each page that it holds costs more to get
/// than the page to read: as many as it goes through on the way to a row.
constexpr const char* READER_CACHE = "PRAGMA cache_size = 6";
/// Tries to take the lock before a thread sleeps for it.
constexpr int SPINS = 200;

[[noreturn]] void throw_error(sqlite3* db, std::string_view doing, std::string_view statement) {
    const char* path = sqlite3_db_filename(db, "main");
    const bool has_path = path != nullptr && *path != '\0';
    throw DatabaseError(sqlite3_extended_errcode(db),
                        fmt::format("{}{}{}: {}", has_path ? path : "", has_path ? ": " : "", doing,
                                    sqlite3_errmsg(db)),
                        statement);
}

int column_of(std::size_t column, std::size_t size) {
    if (column >= size) {
        throw std::out_of_range(fmt::format("column {} of a row of {}", column, size));
    }
    return static_cast<int>(column);
}

[[noreturn]] void throw_type(std::string_view wanted, std::size_t column,
                             std::string_view statement) {
    throw DatabaseError(SQLITE_MISMATCH, fmt::format("column {} holds no {}", column, wanted),
                        statement);
}

std::string_view bytes_of(sqlite3_stmt* statement, int column) {
    const void* bytes = sqlite3_column_blob(statement, column);
    const int size = sqlite3_column_bytes(statement, column);
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

Row::Value value_of(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
            return sqlite3_column_int64(statement, column);
        case SQLITE_FLOAT:
            return sqlite3_column_double(statement, column);
        case SQLITE_TEXT:
            return std::string(bytes_of(statement, column));
        case SQLITE_BLOB:
            return Blob{std::string(bytes_of(statement, column))};
        default:
            return nullptr;
    }
}

Row owned(sqlite3_stmt* statement) {
    std::vector<Row::Value> values;
    const int columns = sqlite3_data_count(statement);
    values.reserve(static_cast<std::size_t>(columns));
    for (int column = 0; column < columns; ++column) values.push_back(value_of(statement, column));
    return Row(std::move(values));
}

template <typename Type>
const Type& held(const std::vector<Row::Value>& values, std::size_t column,
                 std::string_view wanted) {
    column_of(column, values.size());
    const Type* value = std::get_if<Type>(&values[column]);
    if (!value) throw_type(wanted, column, "");
    return *value;
}

}  // namespace

DatabaseError::DatabaseError(int code, const std::string& message, std::string_view statement)
    : std::runtime_error(statement.empty() ? message
                                           : fmt::format("{} (in: {})", message, statement)),
      _code(code),
      _statement(statement) {}

std::size_t RowView::size() const {
    return static_cast<std::size_t>(sqlite3_data_count(static_cast<sqlite3_stmt*>(_statement)));
}

bool RowView::is_null(std::size_t column) const {
    auto* statement = static_cast<sqlite3_stmt*>(_statement);
    return sqlite3_column_type(statement, column_of(column, size())) == SQLITE_NULL;
}

std::int64_t RowView::integer(std::size_t column) const {
    auto* statement = static_cast<sqlite3_stmt*>(_statement);
    const int index = column_of(column, size());
    if (sqlite3_column_type(statement, index) != SQLITE_INTEGER) {
        throw_type("integer", column, sqlite3_sql(statement));
    }
    return sqlite3_column_int64(statement, index);
}

std::string_view RowView::text(std::size_t column) const {
    auto* statement = static_cast<sqlite3_stmt*>(_statement);
    const int index = column_of(column, size());
    if (sqlite3_column_type(statement, index) != SQLITE_TEXT) {
        throw_type("text", column, sqlite3_sql(statement));
    }
    return bytes_of(statement, index);
}

std::string_view RowView::blob(std::size_t column) const {
    auto* statement = static_cast<sqlite3_stmt*>(_statement);
    const int index = column_of(column, size());
    if (sqlite3_column_type(statement, index) != SQLITE_BLOB) {
        throw_type("blob", column, sqlite3_sql(statement));
    }
    return bytes_of(statement, index);
}

bool Row::is_null(std::size_t column) const {
    column_of(column, size());
    return std::holds_alternative<std::nullptr_t>(_values[column]);
}

std::int64_t Row::integer(std::size_t column) const {
    return held<std::int64_t>(_values, column, "integer");
}

const std::string& Row::text(std::size_t column) const {
    return held<std::string>(_values, column, "text");
}

const std::string& Row::blob(std::size_t column) const {
    return held<Blob>(_values, column, "blob").bytes;
}

namespace {

/// The path as a URI, as SQLite reads it: "?", "#" and "%" would end or change the path.
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

}  // namespace

/// The SQLite connection and the prepared statements that no call is using.
class Database::Connection {
  public:
    Connection(const std::filesystem::path& path, Access access) {
        if (path.native().find('\0') != std::string::npos) {
            throw std::invalid_argument("a database path with an embedded NUL");
        }
        int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_URI;
        flags |= access == Access::READ_ONLY ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
        if (access == Access::CREATE) flags |= SQLITE_OPEN_CREATE;
        open(uri_of(path), flags, path);
        if (access == Access::READ_ONLY && needs_immutable()) {
            sqlite3_close_v2(_db);
            check_no_log(path);
            open(uri_of(path) + "?immutable=1", flags, path);
        }
        sqlite3_busy_timeout(_db, BUSY_TIMEOUT_MS);
        if (access == Access::READ_ONLY) {
            sqlite3_exec(_db, READER_CACHE, nullptr, nullptr, nullptr);
        }
    }
    ~Connection() {
        for (auto& [sql, statement] : _idle) sqlite3_finalize(statement);
        sqlite3_close_v2(_db);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    sqlite3* handle() const { return _db; }

    /// One thread at a time is inside SQLite. A statement is done in microseconds, and sleeping
    /// would take longer than waiting for that.
    std::unique_lock<std::recursive_mutex> lock() {
        std::unique_lock lock(_mutex, std::try_to_lock);
        for (int i = 0; i < SPINS && !lock.owns_lock(); ++i) {
            std::this_thread::yield();
            lock.try_lock();
        }
        if (!lock.owns_lock()) lock.lock();
        return lock;
    }

    // REQUIRES, of these two: the lock is held.
    sqlite3_stmt* take(std::string_view sql) {
        if (auto found = _idle.find(std::string(sql)); found != _idle.end()) {
            sqlite3_stmt* statement = found->second;
            _idle.erase(found);
            return statement;
        }
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v3(_db, sql.data(), static_cast<int>(sql.size()),
                               SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
            throw_error(_db, "cannot prepare a statement", sql);
        }
        if (!statement) throw DatabaseError(SQLITE_MISUSE, "no statement to run", sql);
        return statement;
    }

    void give_back(std::string_view sql, sqlite3_stmt* statement) noexcept {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
        if (_idle.size() < MAX_IDLE_STATEMENTS) {
            _idle.emplace(sql, statement);
        } else {
            sqlite3_finalize(statement);
        }
    }

    std::shared_ptr<void> find_kept(std::type_index key) {
        const auto locked = lock();
        auto found = _kept.find(key);
        return found == _kept.end() ? nullptr : found->second;
    }
    /// Keeps the object unless another thread was first; returns the one that is kept.
    std::shared_ptr<void> keep(std::type_index key, std::shared_ptr<void> object) {
        const auto locked = lock();
        return _kept.emplace(key, std::move(object)).first->second;
    }

  private:
    void open(const std::string& uri, int flags, const std::filesystem::path& path) {
        if (sqlite3_open_v2(uri.c_str(), &_db, flags, nullptr) == SQLITE_OK) return;
        const DatabaseError error(
            sqlite3_extended_errcode(_db),
            fmt::format("cannot open {}: {}", path.string(), sqlite3_errmsg(_db)), "");
        sqlite3_close_v2(_db);
        throw error;
    }

    // Without a log the file alone is the database; with one it would give old content.
    static void check_no_log(const std::filesystem::path& path) {
        std::filesystem::path log = path;
        log += "-wal";
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(log, error);
        if (error == std::errc::no_such_file_or_directory || (!error && size == 0)) return;
        throw DatabaseError(SQLITE_CANTOPEN,
                            fmt::format("cannot read {}: it has a log, which takes a user who may "
                                        "write there, and room on the disk, to read",
                                        path.string()),
                            "");
    }

    // A reader makes the files beside a WAL database, and one who may not write there, or has no
    // room on the disk, cannot.
    bool needs_immutable() const {
        const int result =
            sqlite3_exec(_db, "SELECT 1 FROM sqlite_master LIMIT 1", nullptr, nullptr, nullptr);
        return (result & 0xFF) == SQLITE_READONLY || (result & 0xFF) == SQLITE_CANTOPEN ||
               result == SQLITE_IOERR_SHMOPEN || result == SQLITE_IOERR_SHMSIZE;
    }

    sqlite3* _db = nullptr;
    std::recursive_mutex _mutex;
    std::unordered_map<std::type_index, std::shared_ptr<void>> _kept;
    std::unordered_multimap<std::string, sqlite3_stmt*> _idle;
};

/// One run of a prepared statement, given back however it ends.
class Statement {
  public:
    Statement(Database::Connection& connection, std::string_view sql, Parameters parameters)
        : _connection(connection),
          _lock(connection.lock()),
          _sql(sql),
          _statement(connection.take(sql)) {
        try {
            _bind_all(parameters);
        } catch (...) {
            _connection.give_back(_sql, _statement);
            throw;
        }
    }
    ~Statement() { _connection.give_back(_sql, _statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// True when there is a row, false at the end.
    bool step() {
        switch (sqlite3_step(_statement)) {
            case SQLITE_ROW:
                return true;
            case SQLITE_DONE:
                return false;
            default:
                throw_error(_connection.handle(), "a statement failed", _sql);
        }
    }
    sqlite3_stmt* handle() const { return _statement; }
    RowView row() const { return RowView(_statement); }

  private:
    void _bind_all(Parameters parameters) {
        const auto wanted = static_cast<std::size_t>(sqlite3_bind_parameter_count(_statement));
        if (wanted != parameters.size()) {
            throw DatabaseError(
                SQLITE_MISUSE,
                fmt::format("{} parameters for {} placeholders", parameters.size(), wanted), _sql);
        }
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const int result =
                std::visit([&](const auto& value) { return _bind(static_cast<int>(i + 1), value); },
                           parameters[i]._value);
            if (result != SQLITE_OK)
                throw_error(_connection.handle(), "cannot bind a parameter", _sql);
        }
    }
    int _bind(int index, std::nullptr_t) { return sqlite3_bind_null(_statement, index); }
    int _bind(int index, std::int64_t value) {
        return sqlite3_bind_int64(_statement, index, value);
    }
    // A null pointer would bind NULL instead of an empty value.
    int _bind(int index, std::string_view value) {
        return sqlite3_bind_text64(_statement, index, value.empty() ? "" : value.data(),
                                   value.size(), SQLITE_STATIC, SQLITE_UTF8);
    }
    int _bind(int index, BlobView value) {
        return sqlite3_bind_blob64(_statement, index, value.bytes.empty() ? "" : value.bytes.data(),
                                   value.bytes.size(), SQLITE_STATIC);
    }

    Database::Connection& _connection;
    std::unique_lock<std::recursive_mutex> _lock;
    std::string_view _sql;
    sqlite3_stmt* _statement;
};

Database::Database(std::filesystem::path path, Access access)
    : _path(std::move(path)), _connection(std::make_unique<Connection>(_path, access)) {}
Database::~Database() = default;
Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;

std::optional<Row> Database::fetchone(std::string_view sql, Parameters parameters) const {
    Statement statement(*_connection, sql, parameters);
    if (!statement.step()) return std::nullopt;
    Row row = owned(statement.handle());
    if (!sqlite3_stmt_readonly(statement.handle())) {
        while (statement.step()) {
        }
    }
    return row;
}

std::vector<Row> Database::fetchall(std::string_view sql, Parameters parameters) const {
    Statement statement(*_connection, sql, parameters);
    std::vector<Row> rows;
    while (statement.step()) rows.push_back(owned(statement.handle()));
    return rows;
}

void Database::each(std::string_view sql, Parameters parameters,
                    const std::function<Visit(const RowView&)>& visit) const {
    Statement statement(*_connection, sql, parameters);
    while (statement.step()) {
        if (visit(statement.row()) == Visit::STOP) return;
    }
}

std::int64_t Database::execute(std::string_view sql, Parameters parameters) {
    Statement statement(*_connection, sql, parameters);
    while (statement.step()) {
    }
    return sqlite3_changes64(_connection->handle());
}

void Database::execute_script(const std::string& sql) {
    const auto locked = _connection->lock();
    if (sqlite3_exec(_connection->handle(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw_error(_connection->handle(), "a statement failed", sql);
    }
}

std::int64_t Database::last_insert_rowid() const {
    return sqlite3_last_insert_rowid(_connection->handle());
}

std::shared_ptr<void> Database::_find_kept(std::type_index key) const {
    return _connection->find_kept(key);
}

std::shared_ptr<void> Database::_keep(std::type_index key, std::shared_ptr<void> object) const {
    return _connection->keep(key, std::move(object));
}

// data_version counts the commits of other connections that are seen here, the changes our own.
// Both only grow.
std::int64_t Database::content_version() const {
    return fetchone("PRAGMA data_version")->integer(0) +
           sqlite3_total_changes64(_connection->handle());
}

void Database::set_busy_timeout(int milliseconds) {
    sqlite3_busy_timeout(_connection->handle(), milliseconds);
}

Cursor& Cursor::execute(std::string_view sql, Parameters parameters) {
    _rows = _db->fetchall(sql, parameters);
    _next = 0;
    return *this;
}

void Cursor::executemany(std::string_view sql, const std::vector<std::vector<Parameter>>& rows) {
    for (const auto& row : rows) _db->execute(sql, row);
    _rows.clear();
    _next = 0;
}

std::optional<Row> Cursor::fetchone() {
    if (_next == _rows.size()) return std::nullopt;
    return std::move(_rows[_next++]);
}

std::vector<Row> Cursor::fetchall() {
    std::vector<Row> rest(
        std::make_move_iterator(_rows.begin() + static_cast<std::ptrdiff_t>(_next)),
        std::make_move_iterator(_rows.end()));
    _rows.clear();
    _next = 0;
    return rest;
}

Transaction::Transaction(Database& db, Kind kind) : _db(&db) {
    db.execute(kind == Kind::WRITE ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (!_db) return;
    try {
        _db->execute("ROLLBACK");
    } catch (const DatabaseError&) {
        // Some failures, a full disk among them, have rolled back already.
    }
}

void Transaction::commit() {
    _db->execute("COMMIT");
    _db = nullptr;
}

int sqlite_version() { return sqlite3_libversion_number(); }

}  // namespace codetext
