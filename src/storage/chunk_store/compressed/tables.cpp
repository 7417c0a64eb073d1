#include "storage/chunk_store/compressed/tables.hpp"

#include <string>

#include "storage/chunk_store/compressed/unchunked_files.hpp"

namespace codetext::chunk_store::compressed {

void create_tables(Database& db) {
    db.execute_script(std::string(TABLES_DDL));
    create_unchunked_files(db);
}

void put(Database& db, std::int64_t file_id, const PackedFile& file, ShardWriter& shards) {
    const std::int64_t first = file_rowids(file_id).first;
    std::span<const std::uint32_t> trigrams = file.trigrams;
    for (std::size_t i = 0; i < file.lines.size(); ++i) {
        const auto chunk = static_cast<std::int64_t>(i);
        // OR FAIL: SQLite would otherwise write a journal for each statement that triggers follow,
        // to undo it alone. A failure here undoes the whole transaction.
        db.execute("INSERT OR FAIL INTO chunks(id, start_line, end_line) VALUES (?, ?, ?)",
                   {first + chunk, file.lines[i].start_line, file.lines[i].end_line});
        shards.add(file_id, chunk, trigrams.first(file.trigram_counts[i]));
        trigrams = trigrams.subspan(file.trigram_counts[i]);
    }
    for (const PackedFile::Frame& frame : file.frames) {
        db.execute("INSERT INTO chunk_frames(id, body) VALUES (?, ?)",
                   {first + frame.first_chunk, BlobView{frame.body}});
    }
}

void drop(Database& db, std::int64_t file_id) {
    const auto [first, end] = file_rowids(file_id);
    db.execute("DELETE FROM chunks WHERE id >= ? AND id < ?", {first, end});
    db.execute("DELETE FROM chunk_frames WHERE id >= ? AND id < ?", {first, end});
}

bool narrow_rows_agree(const Database& db, std::int64_t file_id, std::span<const ChunkRow> rows) {
    const auto [first, end] = file_rowids(file_id);
    bool agree = true;
    std::size_t next = 0;
    db.each("SELECT id, start_line, end_line FROM chunks WHERE id >= ? AND id < ? ORDER BY id",
            {first, end}, [&](const RowView& row) {
                agree = agree && next < rows.size() && rows[next].rowid == row.integer(0) &&
                        rows[next].start_line == row.integer(1) &&
                        rows[next].end_line == row.integer(2);
                ++next;
                return Visit::CONTINUE;
            });
    return agree && next == rows.size();
}

}  // namespace codetext::chunk_store::compressed
