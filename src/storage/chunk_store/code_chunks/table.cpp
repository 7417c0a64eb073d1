// The layout of one FTS5 table. FTS5 keeps the text, and its trigram index answers `LIKE`. The
// tokenizer stops at a NUL, so `text` has a space in place of each, and `exact` has the text as it
// is where the two differ; whoever reads takes coalesce(exact, text).

#include "storage/chunk_store/code_chunks/table.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "storage/chunk_store/limits.hpp"

namespace codetext::chunk_store::code_chunks {

namespace {

/// The text as the trigram tokenizer can take it: it stops at a NUL.
std::string without_nuls(std::string text) {
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

}  // namespace

std::vector<ChunkRow> rows(const Database& db, std::int64_t first, std::int64_t end) {
    std::vector<ChunkRow> found;
    SizeLimit texts(file_of_row(first), MAX_FILE_TEXT_BYTES);
    Ascending order("chunk");
    db.each(
        "SELECT rowid, start_line, end_line, coalesce(exact, text) FROM code_chunks WHERE "
        "rowid >= ? AND rowid < ? ORDER BY rowid",
        {first, end}, [&](const RowView& row) {
            order.take(row.integer(0));
            check_lines(row.integer(0), row.integer(1), row.integer(2));
            texts.take(row.text(3).size());
            found.push_back({row.integer(0), row.integer(1), row.integer(2),
                             StoredText(std::string(row.text(3))), false});
            return Visit::CONTINUE;
        });
    return found;
}

std::vector<std::int64_t> chunked_files(const Database& db) {
    std::vector<std::int64_t> ids;
    db.each(fmt::format("SELECT id FROM files f WHERE EXISTS (SELECT 1 FROM code_chunks c WHERE "
                        "c.rowid = f.id * {}) ORDER BY id",
                        CHUNK_STRIDE),
            {}, [&ids](const RowView& row) {
                ids.push_back(row.integer(0));
                return Visit::CONTINUE;
            });
    return ids;
}

void put(Database& db, std::int64_t file_id, const PackedFile& file) {
    constexpr std::string_view SQL =
        "INSERT INTO code_chunks(rowid, start_line, end_line, text, exact) VALUES (?, ?, ?, ?, ?)";
    std::int64_t rowid = file_rowids(file_id).first;
    for (std::size_t i = 0; i < file.lines.size(); ++i, ++rowid) {
        const std::string& text = file.texts[i];
        const PackedFile::LineRange& lines = file.lines[i];
        if (text.find('\0') == std::string::npos) {
            db.execute(SQL, {rowid, lines.start_line, lines.end_line, text, nullptr});
        } else {
            db.execute(SQL, {rowid, lines.start_line, lines.end_line, without_nuls(text), text});
        }
    }
}

void drop(Database& db, std::int64_t file_id) {
    const auto [first, end] = file_rowids(file_id);
    db.execute("DELETE FROM code_chunks WHERE rowid >= ? AND rowid < ?", {first, end});
}

void create_table(Database& db) { db.execute(CODE_CHUNKS_DDL); }
void drop_table(Database& db) { db.execute("DROP TABLE code_chunks"); }

}  // namespace codetext::chunk_store::code_chunks
