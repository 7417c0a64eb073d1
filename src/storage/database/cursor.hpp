#pragma once

// A statement cursor with one result at a time.
//
//   Cursor cursor(db);
//   cursor.execute("SELECT id FROM files");
//   while (std::optional<Row> row = cursor.fetchone()) use(row->integer(0));

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

#include "storage/database/database.hpp"

namespace codetext {

/// A statement cursor, as the schema upgrade hands it to its steps: one result at a time.
class Cursor {
  public:
    explicit Cursor(Database& db) : _db(&db) {}
    /// Runs one statement to its end and holds its rows; returns this cursor.
    Cursor& execute(std::string_view sql, Parameters parameters = {});
    Cursor& execute(std::string_view sql, std::initializer_list<Parameter> parameters) {
        return execute(sql, Parameters(parameters.begin(), parameters.size()));
    }
    /// Runs one statement once per parameter row, in order.
    void executemany(std::string_view sql, const std::vector<std::vector<Parameter>>& rows);
    /// The next row that was not fetched yet, or none.
    std::optional<Row> fetchone();
    /// Every row that was not fetched yet.
    std::vector<Row> fetchall();

  private:
    Database* _db;
    std::vector<Row> _rows;
    std::size_t _next = 0;
};

}  // namespace codetext
