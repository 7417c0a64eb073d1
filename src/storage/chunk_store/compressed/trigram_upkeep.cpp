// Each commit appends a shard, and every search asks every shard, so shards must stay few. Shards
// of about one size (within a power of eight) are merged when more than eight of them have
// gathered, as in a log-structured merge tree (P. O'Neil et al., "The log-structured merge-tree",
// 1996): a chunk moves at most once for each power. Merging reads the chunks of the shards' files
// as they are now and makes their posting lists anew, so it needs no code that merges lists, and
// stale numbers do not come along.

#include "storage/chunk_store/compressed/trigram_upkeep.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <map>
#include <vector>

#include "storage/chunk_store.hpp"
#include "storage/chunk_store/compressed/shard_list.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

namespace {

/// Shards of about one size that may stand side by side.
constexpr std::size_t MAX_OF_A_SIZE = 8;
/// Two sizes are about one when they lie in one power of eight.
constexpr std::uint64_t LOG2_OF_A_SIZE = 3;
/// A shard of this many chunks is made anew only together with all the others.
constexpr std::int64_t LARGE_SHARD_CHUNKS = SHARD_CHUNKS / 8;

using ShardSize = ShardList::Shard;

void drop_shard(Database& db, std::int64_t id) {
    db.execute("DELETE FROM trigram_segments WHERE id = ?", {id});
    db.execute("DELETE FROM trigram_lists WHERE id >= ? AND id < ?",
               {id * TRIGRAMS, (id + 1) * TRIGRAMS});
}

/// Replaces the shards by new ones, of the chunks that their files have now. A file may have other
/// chunks in other shards; they are named twice then, which costs time and changes no answer.
void make_anew(Database& db, const std::vector<std::int64_t>& shards, Blocks blocks) {
    std::vector<std::int64_t> files;
    for (const std::int64_t id : shards) {
        const std::vector<std::int64_t> own = ShardReader(db, id, blocks).file_ids();
        files.insert(files.end(), own.begin(), own.end());
        drop_shard(db, id);
    }
    // Before the writer compares the list with what is noted.
    note_shards(db);
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());

    const DictionariesHandle dictionaries = make_dictionaries();
    TrigramCollector collector;
    ShardWriter writer(db);
    std::vector<std::uint32_t> trigrams;
    for (const std::int64_t file_id : files) {
        const auto [first, end] = file_rowids(file_id);
        for (const ChunkRow& row : file_rows(db, first, end, dictionaries)) {
            trigrams.clear();
            collector.append(row.text.view(), trigrams);
            writer.add(file_id, row.rowid - first, trigrams);
        }
    }
    writer.flush();
}

bool mostly_stale(const Database& db, const std::vector<ShardSize>& sizes) {
    std::int64_t named = 0;
    for (const ShardSize& size : sizes) named += size.chunks;
    if (named <= 2 * LARGE_SHARD_CHUNKS) return false;
    return named > 2 * chunk_count(db, COMPRESSED);
}

}  // namespace

void keep_shards_few(Database& db) {
    const std::vector<ShardSize> sizes = listed_shards(db).shards;
    if (mostly_stale(db, sizes)) return remake_shards(db);
    std::map<std::uint64_t, std::vector<std::int64_t>> by_size;
    for (const ShardSize& size : sizes) {
        if (size.chunks >= LARGE_SHARD_CHUNKS) continue;
        const auto power =
            static_cast<std::uint64_t>(std::bit_width(static_cast<std::uint64_t>(size.chunks))) /
            LOG2_OF_A_SIZE;
        by_size[power].push_back(size.id);
    }
    for (const auto& [power, shards] : by_size) {
        if (shards.size() > MAX_OF_A_SIZE) return make_anew(db, shards, Blocks::TILED);
    }
}

void remake_shards(Database& db) {
    const ShardList list = listed_shards(db);
    std::vector<std::int64_t> all;
    all.reserve(list.shards.size());
    for (const ShardSize& shard : list.shards) all.push_back(shard.id);
    make_anew(db, all, list.blocks);
}

}  // namespace codetext::chunk_store
