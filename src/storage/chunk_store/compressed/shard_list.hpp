#pragma once

// Which shards the trigram index has, and whether all of them are there: `meta` keeps a hash of the
// list, so that a search does not pass over a shard that was lost. Private to chunk_store, verify
// and the upgrade.

#include <cstdint>
#include <string_view>
#include <vector>

#include "storage/database/database.hpp"

namespace codetext::chunk_store {

/// The key of `meta` that holds the hash.
inline constexpr std::string_view SHARDS_KEY = "trigram_shards";

/// How the blocks of posting lists stand in an index.
enum class Blocks {
    LOOSE,  ///< schema 3.2.0: a trigram without a list may lie between two blocks
    TILED,  ///< each trigram lies in one block
};

struct ShardList {
    struct Shard {
        std::int64_t id, chunks;
    };
    std::vector<Shard> shards;  ///< ascending by id
    Blocks blocks;
};

/// Reads the list. Throws DamagedChunk when it is not the one that was noted last.
ShardList listed_shards(const Database& db);

/// Notes the list as it is now, within the caller's transaction. REQUIRES: the table `meta`.
void note_shards(Database& db);

/// Throws DamagedChunk unless the list is the one noted, and the blocks of each shard lie one after
/// the other from the first trigram to the last. Reads every block.
void check_shards(const Database& db);

}  // namespace codetext::chunk_store
