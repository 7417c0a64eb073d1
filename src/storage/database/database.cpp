#include "storage/database/database.hpp"

#include <sqlite3.h>

#include <utility>

#include "storage/database/connection.hpp"
#include "storage/database/statement.hpp"

namespace codetext {

Database::Database(std::filesystem::path path, Access access)
    : _path(std::move(path)), _connection(std::make_unique<Connection>(_path, access)) {}
Database::~Database() = default;
Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;

std::optional<Row> Database::fetchone(std::string_view sql, Parameters parameters) const {
    Statement statement(*_connection, sql, parameters);
    if (!statement.step()) return std::nullopt;
    Row row = statement.owned_row();
    if (statement.writes()) {
        while (statement.step()) {
        }
    }
    return row;
}

std::vector<Row> Database::fetchall(std::string_view sql, Parameters parameters) const {
    Statement statement(*_connection, sql, parameters);
    std::vector<Row> rows;
    while (statement.step()) rows.push_back(statement.owned_row());
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
    _connection->note_undo();  // it may hold a ROLLBACK TO
    _connection->begin_steps();
    if (sqlite3_exec(_connection->handle(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw_last_error(_connection->handle(), "a statement failed", sql);
    }
}

std::int64_t Database::last_insert_rowid() const {
    const auto locked = _connection->lock();
    return sqlite3_last_insert_rowid(_connection->handle());
}

void Database::copy_to(const std::filesystem::path& path) {
    const auto locked = _connection->lock();
    // VACUUM gives the copy as many reserved bytes as were asked for last, whatever the original
    // has.
    _connection->reserve_checksums();
    execute("VACUUM INTO ?", {path.native()});
}

// SQLite's data version of a database tells of commits, by this connection and by others, but not
// of what an open transaction has changed or taken back.
ContentStamp Database::content_stamp() const {
    const auto locked = _connection->lock();
    sqlite3* db = _connection->handle();
    ContentStamp stamp{.changes = sqlite3_total_changes64(db), .undone = _connection->undone()};
    sqlite3_file_control(db, "main", SQLITE_FCNTL_DATA_VERSION, &stamp.data_version);
    return stamp;
}

void Database::set_busy_timeout(int milliseconds) {
    const auto locked = _connection->lock();
    sqlite3_busy_timeout(_connection->handle(), milliseconds);
}

void Database::limit_values(int bytes) {
    const auto locked = _connection->lock();
    _connection->limit_values(bytes);
}

int sqlite_version() { return sqlite3_libversion_number(); }

}  // namespace codetext
