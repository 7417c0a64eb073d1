#pragma once

// The `code_chunks` layout: one FTS5 table, which holds the texts itself. Private to chunk_store
// and to the upgrade that moves an index out of this layout.

#include <cstdint>
#include <vector>

#include "storage/chunk_store/chunk_row.hpp"
#include "storage/chunk_store/writer.hpp"
#include "storage/database/database.hpp"

namespace codetext::chunk_store::code_chunks {

/// The chunk rows with row ids from `first` to before `end`, ascending; `last` is not set.
std::vector<ChunkRow> rows(const Database& db, std::int64_t first, std::int64_t end);

/// Ids, ascending, of the files that have their first chunk.
std::vector<std::int64_t> chunked_files(const Database& db);

/// Stores a file's chunks. REQUIRES: it has none.
void put(Database& db, std::int64_t file_id, const PackedFile& file);
/// Drops a file's chunks, if it has any.
void drop(Database& db, std::int64_t file_id);

void create_table(Database& db);
void drop_table(Database& db);

}  // namespace codetext::chunk_store::code_chunks
