#include "storage/chunk_store/compressed/tables.hpp"

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/shard_list.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"

namespace codetext::chunk_store::compressed {

void create_tables(Database& db) {
    db.execute_script(std::string(TABLES_DDL));
    create_unchunked_files(db);
    note_shards(db);
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
        const std::int64_t rowid = first + frame.first_chunk;
        std::string body = frame.body;
        seal_frame(body, rowid);
        db.execute("INSERT INTO chunk_frames(id, body) VALUES (?, ?)", {rowid, BlobView{body}});
    }
}

void seal_frames(Database& db) {
    // In batches, so that no statement reads the table while its rows are changed, and memory holds
    // few frames.
    constexpr std::string_view NEXT = "SELECT id, body FROM chunk_frames WHERE id > ? ORDER BY id";
    std::int64_t last = std::numeric_limits<std::int64_t>::min();
    std::vector<std::pair<std::int64_t, std::string>> batch;
    do {
        batch.clear();
        db.each(NEXT, {last}, [&](const RowView& row) {
            batch.emplace_back(row.integer(0), row.blob(1));
            return batch.size() < 256 ? Visit::CONTINUE : Visit::STOP;
        });
        for (auto& [rowid, body] : batch) {
            seal_frame(body, rowid);
            db.execute("UPDATE chunk_frames SET body = ? WHERE id = ?", {BlobView{body}, rowid});
            last = rowid;
        }
    } while (!batch.empty());
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
