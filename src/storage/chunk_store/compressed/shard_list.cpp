// A search asks every shard, so a lost row of `trigram_segments` would hide the matches of its
// chunks without a word. The hash of the list in `meta` tells of it. Writers read the list before
// they note a new one, or a list with a loss in it would become the right one.

#include "storage/chunk_store/compressed/shard_list.hpp"

#include <algorithm>
#include <optional>
#include <string>

#include "storage/chunk_store/compressed/byte_codec.hpp"
#include "storage/chunk_store/compressed/trigram_block.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/chunk_store/writer.hpp"
#include "utils/hash.hpp"

namespace codetext::chunk_store {

namespace {

constexpr std::string_view ALL_SHARDS = "SELECT id, chunks FROM trigram_segments ORDER BY id";
/// The last version that noted no list.
constexpr std::string_view VERSION_WITHOUT_LIST = "3.2.0";

[[noreturn]] void damaged(const std::string& fault) {
    throw DamagedChunk(
        fmt::format("damaged trigram index: {}; run `codetext verify --repair`", fault));
}

std::vector<ShardList::Shard> stored_shards(const Database& db) {
    std::vector<ShardList::Shard> shards;
    Ascending order("trigram shard");
    db.each(ALL_SHARDS, {}, [&](const RowView& row) {
        shards.push_back({row.integer(0), row.integer(1)});
        const auto& [id, chunks] = shards.back();
        order.take(id);
        check_shard_id(id);
        if (chunks < 1 || chunks > SHARD_CHUNKS) {
            throw_damage("trigram shard", id, "its number of chunks is wrong");
        }
        return Visit::CONTINUE;
    });
    return shards;
}

std::string hash_of(const std::vector<ShardList::Shard>& shards) {
    std::string bytes;
    for (const auto& [id, chunks] : shards) {
        put_varint(bytes, static_cast<std::uint64_t>(id));
        put_varint(bytes, static_cast<std::uint64_t>(chunks));
    }
    return fmt::format("{:016x}", xxh3(bytes));
}

/// The blocks of a shard lie side by side like tiles: each begins after the last trigram of the one
/// before. A gap is a block that is lost.
void check_tiles(const Database& db, std::int64_t shard) {
    std::int64_t next = 0;
    db.each("SELECT id, body FROM trigram_lists WHERE id >= ? AND id < ? ORDER BY id",
            {shard * TRIGRAMS, (shard + 1) * TRIGRAMS}, [&](const RowView& row) {
                const TrigramBlock block(row.blob(1), row.integer(0), Blocks::TILED);
                if (static_cast<std::int64_t>(block.first()) != next) {
                    damaged(fmt::format("shard {} lacks a block", shard));
                }
                next = row.integer(0) % TRIGRAMS + 1;
                return Visit::CONTINUE;
            });
    if (next != TRIGRAMS) damaged(fmt::format("shard {} lacks its last block", shard));
}

}  // namespace

ShardList listed_shards(const Database& db) {
    // An index of 3.2.0 has no hash of the list. Any other index without one has lost it.
    std::optional<std::string> noted;
    bool may_lack_list = false;
    db.each("SELECT key, value FROM meta WHERE key IN ('schema_version', 'trigram_shards')", {},
            [&](const RowView& row) {
                if (row.text(0) == SHARDS_KEY) noted = row.text(1);
                may_lack_list = may_lack_list || row.text(1) == VERSION_WITHOUT_LIST;
                return Visit::CONTINUE;
            });
    ShardList list{stored_shards(db), noted ? Blocks::TILED : Blocks::LOOSE};
    const bool is_whole = noted ? *noted == hash_of(list.shards) : may_lack_list;
    if (!is_whole) damaged("its shards are not those that were written");
    return list;
}

void note_shards(Database& db) {
    db.execute("INSERT OR REPLACE INTO meta(key, value) VALUES (?, ?)",
               {SHARDS_KEY, hash_of(stored_shards(db))});
}

void check_shards(const Database& db) {
    const ShardList list = listed_shards(db);
    if (list.blocks == Blocks::LOOSE) return;
    for (const ShardList::Shard& shard : list.shards) check_tiles(db, shard.id);
}

}  // namespace codetext::chunk_store
