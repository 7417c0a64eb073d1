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
#include <vector>

#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// Row ids that each file id owns: file f's chunk k has row id f * CHUNK_STRIDE + k.
inline constexpr std::int64_t CHUNK_STRIDE = 1 << 20;

/// Greatest id of a file: row ids have 63 bits.
inline constexpr std::int64_t MAX_FILE_ID = (std::int64_t{1} << 43) - 2;
[[noreturn]] void throw_file_id(std::int64_t file_id);

/// The first row id of the file's block and the first one after it. Throws DatabaseError (DAMAGED)
/// for an id greater than MAX_FILE_ID, or less than -MAX_FILE_ID.
constexpr std::pair<std::int64_t, std::int64_t> file_rowids(std::int64_t file_id) {
    if (file_id > MAX_FILE_ID || file_id < -MAX_FILE_ID) throw_file_id(file_id);
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
/// What FTS5 makes with it.
inline constexpr std::string_view CODE_CHUNKS_SHADOW_DDL = R"(
CREATE TABLE 'code_chunks_data'(id INTEGER PRIMARY KEY, block BLOB);
CREATE TABLE 'code_chunks_idx'(segid, term, pgno, PRIMARY KEY(segid, term)) WITHOUT ROWID;
CREATE TABLE 'code_chunks_content'(id INTEGER PRIMARY KEY, c0, c1, c2, c3);
CREATE TABLE 'code_chunks_docsize'(id INTEGER PRIMARY KEY, sz BLOB);
CREATE TABLE 'code_chunks_config'(k PRIMARY KEY, v) WITHOUT ROWID;
)";

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

/// The statements that create what an index of the layout has more than every index.
std::vector<std::string_view> layout_ddl(Layout layout);

/// The layout that a new index gets: compressed from SQLite 3.43 on, `code_chunks` before; none
/// when the library cannot make the `code_chunks` table either (no trigram tokenizer).
std::optional<Layout> default_layout();

/// Whether the trigram index can be asked first, for row ids alone, and the texts read later, a
/// file at a time. The other layout answers with all of the texts at once.
constexpr bool asks_before_reading(Layout layout) { return layout == COMPRESSED; }

}  // namespace codetext::chunk_store
