#pragma once

// Shards of the trigram index. A shard is written once, for the chunks that one commit stored. It
// numbers them from 0 in the order in which they came, and a posting list for each trigram names
// those that hold it. A chunk that is replaced or dropped later leaves its number behind: every
// candidate is verified against its text, so a stale number costs time and gives no wrong answer.
//
// The blocks of a shard's posting lists share all trigrams among them: a block answers for those
// from its first, which its head tells, to its last, which its row id tells. So the first row at or
// after a trigram is the one page with its list, and a block that was lost shows. docs/FORMAT.md
// has the bytes.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "storage/chunk_store/compressed/posting_list.hpp"
#include "storage/chunk_store/compressed/trigram_block.hpp"
#include "storage/database.hpp"

namespace codetext::chunk_store {

/// Greatest id of a shard, so that the row ids of its lists fit 63 bits.
inline constexpr std::int64_t MAX_SHARD_ID = (std::int64_t{1} << 38) - 1;
/// Throws DamagedChunk for an id that no shard has.
void check_shard_id(std::int64_t id);

/// Gathers chunks and writes them as shards of at most SHARD_CHUNKS.
class ShardWriter {
  public:
    explicit ShardWriter(Database& db) : _db(&db) {}
    /// Adds a file's chunk number `chunk` (from 0) with its distinct trigrams. Writes a shard when
    /// it is full.
    void add(std::int64_t file_id, std::int64_t chunk, std::span<const std::uint32_t> trigrams);
    /// Writes the shard that is not full yet, if it has a chunk.
    void flush();

  private:
    struct ChunkRange {
        std::int64_t file_id, first_chunk, chunks;
    };
    std::int64_t _next_id() const;
    std::string _coded_ranges() const;
    void _write_blocks(std::int64_t shard);
    void _clear();

    Database* _db;
    std::vector<ChunkRange> _ranges;
    std::vector<std::uint32_t> _trigrams;         ///< of each chunk, one after the other
    std::vector<std::uint32_t> _trigrams_before;  ///< where each chunk's begin in _trigrams
    std::unique_ptr<std::uint32_t[]> _sorted;     ///< room for the sort, kept for the next shard
    std::size_t _sorted_size = 0;
};

/// A shard as a search reads it.
class ShardReader {
  public:
    /// Throws DamagedChunk for an id that no shard has.
    ShardReader(const Database& db, std::int64_t id, Blocks blocks);
    /// The few of the trigrams that fewest of the shard's chunks hold, the rarest first. Asking for
    /// these drops nearly all that asking for every one would drop. Throws DamagedChunk.
    std::vector<std::uint32_t> rarest(std::span<const std::uint32_t> trigrams) const;
    /// Numbers, ascending, of the shard's chunks that hold every one of the trigrams, or a superset
    /// of these. Throws DamagedChunk.
    std::vector<std::uint16_t> holding(std::span<const std::uint32_t> trigrams) const;
    /// Appends the row ids of the chunks with these numbers.
    void append_rowids(std::span<const std::uint16_t> numbers,
                       std::vector<std::int64_t>& rowids) const;
    /// The ids of the files that have chunks in it, in the order in which they came.
    std::vector<std::int64_t> file_ids() const;

  private:
    /// None when no chunk of the shard holds the trigram.
    std::optional<TrigramBlock::List> _find(std::uint32_t trigram) const;
    [[noreturn]] void _lacks_block() const;
    void _read(const TrigramBlock::List& list, std::vector<std::uint16_t>& numbers) const;
    template <typename Visitor>
    void _each_range(const Visitor& visit) const;

    const Database* _db;
    std::int64_t _id;
    Blocks _blocks;
};

}  // namespace codetext::chunk_store
