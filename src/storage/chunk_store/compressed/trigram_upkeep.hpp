#pragma once

// Keeping the trigram index small: each run of the indexer adds a shard, and a chunk that was
// replaced or dropped leaves its number in an old one. The writer calls this before each commit.

#include "storage/database.hpp"

namespace codetext::chunk_store {

/// Makes one shard of many small ones of about one size, and makes all shards anew when most of
/// what they name is stale. Works within the caller's transaction. Throws DamagedChunk,
/// DatabaseError.
void keep_shards_few(Database& db);

/// Makes all shards anew, for the upgrade from schema 3.2.0.
void remake_shards(Database& db);

}  // namespace codetext::chunk_store
