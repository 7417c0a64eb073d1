#include "storage/database/cursor.hpp"

#include <iterator>
#include <utility>

namespace codetext {

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

}  // namespace codetext
