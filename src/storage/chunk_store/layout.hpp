#pragma once

// The two layouts in which an index keeps its chunks, and the row ids that both give them.
//
//   if (std::optional<Layout> layout = chunk_store::layout(db)) {
//       const auto [first, end] = chunk_store::file_rowids(7);
//       use(chunk_store::stored_rows(db, *layout, first, end));
//   }

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// Row ids that each file id owns: file f's chunk k has row id f * CHUNK_STRIDE + k.
inline constexpr std::int64_t CHUNK_STRIDE = 1 << 20;

/// The first row id of the file's block and the first one after it.
constexpr std::pair<std::int64_t, std::int64_t> file_rowids(std::int64_t file_id) {
    return {file_id * CHUNK_STRIDE, (file_id + 1) * CHUNK_STRIDE};
}

/// The file whose block holds the row id. A row id below 0 belongs to no file: the result is
/// negative then.
constexpr std::int64_t file_of_row(std::int64_t rowid) {
    return rowid / CHUNK_STRIDE - (rowid % CHUNK_STRIDE < 0 ? 1 : 0);
}

/// Creates the table of the `code_chunks` layout.
inline constexpr std::string_view CODE_CHUNKS_DDL =
    "CREATE VIRTUAL TABLE code_chunks USING fts5(start_line UNINDEXED, end_line UNINDEXED, text, "
    "exact UNINDEXED, tokenize='trigram')";

/// The compressed layout's chunk table: one narrow row a chunk, keyed by `id`.
inline constexpr std::string_view COMPRESSED_TABLE = "chunks";

/// How an index lays out its chunks: a text value of its own type.
struct Layout {
    std::string_view name;
    friend bool operator==(Layout, Layout) = default;
};
inline constexpr Layout COMPRESSED{"compressed"};
inline constexpr Layout CODE_CHUNKS{"code_chunks"};

/// The layout of the index's chunks; none when it has no table of the files' text.
std::optional<Layout> layout(const Database& db);

/// The layout that a new index gets: compressed from SQLite 3.43 on, `code_chunks` before; none
/// when the library cannot make the `code_chunks` table either (no trigram tokenizer).
std::optional<Layout> default_layout();

/// Whether the trigram index can be asked first, for row ids alone, and the texts read later, a
/// file at a time. The other layout answers with all of the texts at once.
constexpr bool asks_before_reading(Layout layout) { return layout == COMPRESSED; }

}  // namespace codetext::chunk_store
