#include "storage/database/statement.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>
#include <string>

namespace codetext {

namespace {

Row::Value value_of(sqlite3_stmt* statement, int column) {
    const auto bytes = [&] {
        const void* data = sqlite3_column_blob(statement, column);
        if (data == nullptr && sqlite3_column_bytes(statement, column) > 0) throw std::bad_alloc();
        return std::string(static_cast<const char*>(data),
                           static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    };
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
            return sqlite3_column_int64(statement, column);
        case SQLITE_FLOAT:
            return sqlite3_column_double(statement, column);
        case SQLITE_TEXT:
            return bytes();
        case SQLITE_BLOB:
            return Blob{bytes()};
        default:
            return nullptr;
    }
}

/// Whether the statement may take back what earlier ones changed, as ROLLBACK and ROLLBACK TO do.
/// SQLite takes these for readers without a column, and tells no more: every such statement counts
/// that does not plainly begin with a word that is known to undo nothing.
bool may_undo(sqlite3_stmt* statement, std::string_view sql) {
    if (sqlite3_stmt_readonly(statement) == 0 || sqlite3_column_count(statement) > 0) return false;
    constexpr std::array<std::string_view, 4> UNDO_NOTHING = {"BEGIN", "COMMIT", "SAVEPOINT",
                                                              "RELEASE"};
    return std::none_of(UNDO_NOTHING.begin(), UNDO_NOTHING.end(),
                        [&](std::string_view word) { return sql.starts_with(word); });
}

}  // namespace

// The lock comes first and goes last: the members are made in the order of their declaration. A
// statement that does not compile throws before there is anything to give back.
Statement::Statement(Database::Connection& connection, std::string_view sql, Parameters parameters)
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
    if (may_undo(_statement, sql)) connection.note_undo();
}

Statement::~Statement() { _connection.give_back(_sql, _statement); }

bool Statement::step() {
    switch (sqlite3_step(_statement)) {
        case SQLITE_ROW:
            return true;
        case SQLITE_DONE:
            return false;
        default:
            throw_last_error(_connection.handle(), "a statement failed", _sql);
    }
}

Row Statement::owned_row() const {
    std::vector<Row::Value> values;
    const int columns = sqlite3_data_count(_statement);
    values.reserve(static_cast<std::size_t>(columns));
    for (int column = 0; column < columns; ++column) values.push_back(value_of(_statement, column));
    return Row(std::move(values));
}

void Statement::_bind_all(Parameters parameters) {
    const auto wanted = static_cast<std::size_t>(sqlite3_bind_parameter_count(_statement));
    if (wanted != parameters.size()) {
        throw DatabaseError(
            DatabaseError::Kind::MISUSE,
            fmt::format("{} parameters for {} placeholders", parameters.size(), wanted), _sql);
    }
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const int result =
            std::visit([&](const auto& value) { return _bind(static_cast<int>(i + 1), value); },
                       parameters[i]._value);
        if (result != SQLITE_OK) {
            throw_last_error(_connection.handle(), "cannot bind a parameter", _sql);
        }
    }
}

// A null pointer would bind NULL instead of an empty value. SQLITE_STATIC: no copy is made, since
// the parameters outlive the statement.
int Statement::_bind(int index, std::string_view value) {
    return sqlite3_bind_text64(_statement, index, value.empty() ? "" : value.data(), value.size(),
                               SQLITE_STATIC, SQLITE_UTF8);
}

int Statement::_bind(int index, BlobView value) {
    return sqlite3_bind_blob64(_statement, index, value.bytes.empty() ? "" : value.bytes.data(),
                               value.bytes.size(), SQLITE_STATIC);
}

}  // namespace codetext
