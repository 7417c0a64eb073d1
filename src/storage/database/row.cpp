#include "storage/database/row.hpp"

#include <fmt/format.h>
#include <sqlite3.h>

#include <stdexcept>

#include "storage/database/error.hpp"

namespace codetext {

namespace {

void check_column(std::size_t column, std::size_t size) {
    if (column >= size) {
        throw std::out_of_range(fmt::format("column {} of a row of {}", column, size));
    }
}

[[noreturn]] void throw_type(std::string_view wanted, std::size_t column,
                             std::string_view statement) {
    throw DatabaseError(DatabaseError::Kind::WRONG_TYPE,
                        fmt::format("column {} is not {}", column, wanted), statement);
}

sqlite3_stmt* statement_of(void* statement) { return static_cast<sqlite3_stmt*>(statement); }

/// The column's index for SQLite, once the column is known to hold `type`. SQLite would convert a
/// value of another type without a word: a text that is no number would be 0.
int column_of_type(sqlite3_stmt* statement, std::size_t column, int type, std::string_view name) {
    check_column(column, static_cast<std::size_t>(sqlite3_data_count(statement)));
    const int index = static_cast<int>(column);
    if (sqlite3_column_type(statement, index) != type) {
        throw_type(name, column, sqlite3_sql(statement));
    }
    return index;
}

/// The value's bytes. Each type has its own call: one for the other type could convert the value,
/// which moves it, in a database whose encoding is not UTF-8.
std::string_view bytes_of(sqlite3_stmt* statement, int index) {
    const void* bytes = sqlite3_column_type(statement, index) == SQLITE_TEXT
                            ? sqlite3_column_text(statement, index)
                            : sqlite3_column_blob(statement, index);
    const int size = sqlite3_column_bytes(statement, index);
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

template <typename Type>
const Type& value_of(const std::vector<Row::Value>& values, std::size_t column,
                     std::string_view wanted) {
    check_column(column, values.size());
    const Type* value = std::get_if<Type>(&values[column]);
    if (!value) throw_type(wanted, column, "");
    return *value;
}

}  // namespace

std::size_t RowView::size() const {
    return static_cast<std::size_t>(sqlite3_data_count(statement_of(_statement)));
}

bool RowView::is_null(std::size_t column) const {
    check_column(column, size());
    return sqlite3_column_type(statement_of(_statement), static_cast<int>(column)) == SQLITE_NULL;
}

std::int64_t RowView::integer(std::size_t column) const {
    sqlite3_stmt* statement = statement_of(_statement);
    return sqlite3_column_int64(statement,
                                column_of_type(statement, column, SQLITE_INTEGER, "an integer"));
}

std::string_view RowView::text(std::size_t column) const {
    sqlite3_stmt* statement = statement_of(_statement);
    return bytes_of(statement, column_of_type(statement, column, SQLITE_TEXT, "a text"));
}

std::string_view RowView::blob(std::size_t column) const {
    sqlite3_stmt* statement = statement_of(_statement);
    return bytes_of(statement, column_of_type(statement, column, SQLITE_BLOB, "a blob"));
}

bool Row::is_null(std::size_t column) const {
    check_column(column, _values.size());
    return std::holds_alternative<std::nullptr_t>(_values[column]);
}

std::int64_t Row::integer(std::size_t column) const {
    return value_of<std::int64_t>(_values, column, "an integer");
}

const std::string& Row::text(std::size_t column) const {
    return value_of<std::string>(_values, column, "a text");
}

const std::string& Row::blob(std::size_t column) const {
    return value_of<Blob>(_values, column, "a blob").bytes;
}

}  // namespace codetext
