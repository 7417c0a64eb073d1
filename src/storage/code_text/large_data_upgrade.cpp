#include "storage/code_text/large_data_upgrade.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <vector>

#include "storage/code_text/chunk_rows.hpp"

namespace codetext::code_text {

namespace upgrade_sql {

// A file's text is its chunks with one LF between each two, so one byte is added for each chunk and
// one taken away; a file without a chunk has 0. Of a TEXT, length() counts characters up to a NUL;
// of a BLOB, bytes.
const std::string CHUNKED_TEXT_BYTES_SQL = fmt::format(
    "(SELECT coalesce(sum(length(CAST(coalesce(c.exact, c.text) AS BLOB)) + 1), 1) - 1 FROM "
    "code_chunks c WHERE c.rowid >= f.id * {0} AND c.rowid < (f.id + 1) * {0})",
    CODE_CHUNK_STRIDE);
}  // namespace upgrade_sql

namespace {

std::vector<std::int64_t> files_to_mark(Cursor& cursor) {
    const std::vector<std::string> placeholders(LARGE_DATA_LANGUAGES.size(), "?");
    const std::string statement = fmt::format(
        "SELECT f.id, f.language, {} FROM files f WHERE f.text_on_disk = 0 AND f.language IN ({})",
        upgrade_sql::CHUNKED_TEXT_BYTES_SQL, fmt::join(placeholders, ","));
    const std::vector<Parameter> languages(LARGE_DATA_LANGUAGES.begin(),
                                           LARGE_DATA_LANGUAGES.end());
    std::vector<std::int64_t> chosen;
    for (const Row& row : cursor.execute(statement, languages).fetchall()) {
        if (text_kept_on_disk(row.text(1), row.integer(2))) chosen.push_back(row.integer(0));
    }
    return chosen;
}

}  // namespace

std::int64_t keep_large_data_on_disk(Cursor& cursor) {
    cursor.execute("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'code_chunks'");
    if (!cursor.fetchone()) return 0;
    const std::vector<std::int64_t> chosen = files_to_mark(cursor);
    std::vector<std::vector<Parameter>> marks;
    for (const std::int64_t file_id : chosen) {
        const auto [first, end] = file_rowids(file_id);
        cursor.execute("DELETE FROM code_chunks WHERE rowid >= ? AND rowid < ?", {first, end});
        marks.push_back({file_id});
    }
    cursor.executemany("UPDATE files SET text_on_disk = 1 WHERE id = ?", marks);
    return static_cast<std::int64_t>(chosen.size());
}

}  // namespace codetext::code_text
