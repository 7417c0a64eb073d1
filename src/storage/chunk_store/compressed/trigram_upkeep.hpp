#pragma once

// Keeping the trigram index small: each run of the indexer adds a shard, and a chunk that was
// replaced or dropped leaves its numbers in an old one.

#include "storage/database.hpp"

namespace codetext::chunk_store {

/// Makes one shard of the small ones where many of about one size have gathered, and all shards
/// anew where most of what they name is stale. Both are made from the chunks as they are now, so
/// that nothing stale comes along. Within the caller's transaction.
void keep_shards_few(Database& db);

}  // namespace codetext::chunk_store
