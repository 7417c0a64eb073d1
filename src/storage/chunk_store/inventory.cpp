#include "storage/chunk_store/inventory.hpp"

#include <fmt/format.h>

#include <utility>

#include "storage/chunk_store/code_chunks/table.hpp"
#include "storage/chunk_store/compressed/unchunked_files.hpp"

namespace codetext::chunk_store {

namespace {

struct ChunkTable {
    std::string_view name, key;
};

ChunkTable table_of(Layout layout) {
    return layout == COMPRESSED ? ChunkTable{COMPRESSED_TABLE, "id"}
                                : ChunkTable{"code_chunks", "rowid"};
}

std::int64_t number(const Database& db, const std::string& sql) {
    return db.fetchone(sql)->integer(0);
}

}  // namespace

std::string from_files_without_chunks(Layout layout) {
    const auto [table, key] = table_of(layout);
    return fmt::format(
        "FROM {} WHERE f.text_on_disk = 0 AND NOT EXISTS (SELECT 1 FROM {} c WHERE c.{} = f.id * "
        "{})",
        layout == COMPRESSED ? PERHAPS_UNCHUNKED_FILES : "files f", table, key, CHUNK_STRIDE);
}

std::vector<std::int64_t> files_without_chunks(const Database& db, Layout layout) {
    std::vector<std::int64_t> ids;
    db.each("SELECT f.id " + from_files_without_chunks(layout) + " ORDER BY f.id", {},
            [&ids](const RowView& row) {
                ids.push_back(row.integer(0));
                return Visit::CONTINUE;
            });
    return ids;
}

std::int64_t chunk_count(const Database& db, Layout layout) {
    // The tokenizer's own table of row ids is far smaller than the one with the texts.
    const std::string_view table = layout == COMPRESSED ? COMPRESSED_TABLE : "code_chunks_docsize";
    // Counted row by row: counting page by page, SQLite would not notice a table without end.
    return number(db, fmt::format("SELECT count(*) FROM {} WHERE id >= {}", table,
                                  -MAX_FILE_ID * CHUNK_STRIDE));
}

std::int64_t stray_chunk_count(const Database& db, Layout layout) {
    const auto [table, key] = table_of(layout);
    return number(db, fmt::format("SELECT count(*) FROM {} c WHERE NOT EXISTS (SELECT 1 FROM files "
                                  "f WHERE f.id = c.{} / {})",
                                  table, key, CHUNK_STRIDE));
}

std::vector<ChunkRow> stored_rows(const Database& db, Layout layout, std::int64_t first,
                                  std::int64_t end, DictionariesHandle dictionaries) {
    return layout == COMPRESSED ? file_rows(db, first, end, std::move(dictionaries))
                                : code_chunks::rows(db, first, end);
}

}  // namespace codetext::chunk_store
