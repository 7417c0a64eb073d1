#pragma once

// The tables of the compressed layout as the writer fills them: narrow chunk rows, and frames that
// hold the texts. Private to chunk_store.

#include <cstdint>
#include <span>

#include "storage/chunk_store/chunk_row.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/writer.hpp"
#include "storage/database/database.hpp"

namespace codetext::chunk_store::compressed {

/// Creates the empty tables. REQUIRES: the table `files`.
void create_tables(Database& db);

/// Stores a file's chunks and hands their trigrams to `shards`. REQUIRES: it has none.
void put(Database& db, std::int64_t file_id, const PackedFile& file, ShardWriter& shards);
/// Drops a file's chunks, if it has any.
void drop(Database& db, std::int64_t file_id);

/// Whether the narrow rows of the file are those of its frames, which gave `rows`.
bool narrow_rows_agree(const Database& db, std::int64_t file_id, std::span<const ChunkRow> rows);

}  // namespace codetext::chunk_store::compressed
