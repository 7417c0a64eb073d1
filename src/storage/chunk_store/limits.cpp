#include "storage/chunk_store/limits.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "storage/chunk_store/chunk_row.hpp"

namespace codetext::chunk_store {

void throw_damage(const char* what, std::int64_t id, const char* detail) {
    throw DamagedChunk(
        fmt::format("damaged {} at row {}: {}; run `codetext verify --repair`", what, id, detail));
}

void SizeLimit::_refuse() const {
    throw_damage("file", _file_id, "its chunks are larger than those of any file");
}

void DatabaseLimit::_look() {
    const std::int64_t size = _db->fetchone("PRAGMA page_count")->integer(0) *
                              _db->fetchone("PRAGMA page_size")->integer(0);
    _limit_bytes = std::max(_limit_bytes, static_cast<std::size_t>(size));
    if (_bytes <= _limit_bytes) return;
    throw DatabaseError(
        DatabaseError::Kind::DAMAGED,
        "damaged index: it gives more than it holds; run `codetext verify --repair`", "");
}

void check_lines(std::int64_t rowid, std::int64_t start_line, std::int64_t end_line) {
    if (start_line < 1 || end_line < start_line - 1 || end_line > MAX_LINE_NUMBER) {
        throw_damage("chunk", rowid, "its line numbers are wrong");
    }
}

}  // namespace codetext::chunk_store
