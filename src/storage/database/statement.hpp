#pragma once

// One run of a prepared statement. Private to this folder.

#include <sqlite3.h>

#include <mutex>
#include <string_view>

#include "storage/database/connection.hpp"
#include "storage/database/row.hpp"

namespace codetext {

/// Holds the connection's lock from its beginning to its end, and gives the prepared statement back
/// however it ends. The statement's text and its parameters must outlive it.
class Statement {
  public:
    /// Throws DatabaseError for a text that does not compile, and for parameters that do not fit
    /// it.
    Statement(Database::Connection& connection, std::string_view sql, Parameters parameters);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// True when there is a row, false at the end.
    bool step();
    /// The row at hand.
    RowView row() const { return RowView(_statement); }
    Row owned_row() const;
    bool writes() const { return sqlite3_stmt_readonly(_statement) == 0; }

  private:
    void _bind_all(Parameters parameters);
    int _bind(int index, std::nullptr_t) { return sqlite3_bind_null(_statement, index); }
    int _bind(int index, std::int64_t value) {
        return sqlite3_bind_int64(_statement, index, value);
    }
    int _bind(int index, std::string_view value);
    int _bind(int index, BlobView value);

    Database::Connection& _connection;
    std::unique_lock<std::recursive_mutex> _lock;
    std::string_view _sql;
    sqlite3_stmt* _statement;
};

}  // namespace codetext
