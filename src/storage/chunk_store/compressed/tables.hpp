#pragma once

// The tables of the compressed layout as the writer fills them: narrow chunk rows, and frames that
// hold the texts. Private to chunk_store, verify and the upgrade.

#include <cstdint>
#include <span>
#include <string_view>

#include "storage/chunk_store/chunk_row.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/writer.hpp"
#include "storage/database/database.hpp"

namespace codetext::chunk_store::compressed {

// The chunk table is narrow and apart from the frames, so that looking for a file's first chunk
// reads few pages. The trigram index's shards are called segments here, their first name.
inline constexpr std::string_view TABLES_DDL = R"(
CREATE TABLE chunks(id INTEGER PRIMARY KEY, start_line INTEGER NOT NULL, end_line INTEGER NOT NULL);
CREATE TABLE chunk_frames(id INTEGER PRIMARY KEY, body BLOB NOT NULL);
CREATE TABLE chunk_dictionaries(id INTEGER PRIMARY KEY, body BLOB NOT NULL);
CREATE TABLE trigram_segments(id INTEGER PRIMARY KEY, chunks INTEGER NOT NULL, files BLOB NOT NULL);
CREATE TABLE trigram_lists(id INTEGER PRIMARY KEY, body BLOB NOT NULL);
)";

/// Creates the empty tables. REQUIRES: the table `files`.
void create_tables(Database& db);

/// Stores a file's chunks and hands their trigrams to `shards`. REQUIRES: it has none.
void put(Database& db, std::int64_t file_id, const PackedFile& file, ShardWriter& shards);
/// Seals every frame, for the upgrade from schema 3.2.0.
void seal_frames(Database& db);
/// Drops a file's chunks, if it has any.
void drop(Database& db, std::int64_t file_id);

/// Whether the narrow rows of the file are those of its frames, which gave `rows`.
bool narrow_rows_agree(const Database& db, std::int64_t file_id, std::span<const ChunkRow> rows);

}  // namespace codetext::chunk_store::compressed
