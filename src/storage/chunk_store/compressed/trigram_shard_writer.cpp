// Inverting chunks into posting lists: (trigram, chunk) pairs are sorted by trigram in two passes
// of a radix sort (D. E. Knuth, "The Art of Computer Programming" 3, section 5.2.5). The first pass
// counts pairs into 4,096 buckets by the high half of the trigram; the second sorts each bucket by
// the low half, by counting where the bucket is large. Pairs come in the order of their chunks, and
// both passes keep that order. O(pairs) time, four bytes a pair.

#include <algorithm>
#include <array>

#include "storage/chunk_store/compressed/byte_codec.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

namespace {

/// A block that just fits a page (of 32,768 bytes, less what SQLite keeps in it) wastes nothing.
constexpr std::size_t BLOCK_BYTES = 32'700;
/// Most bytes of a directory entry and of what stands before the directory.
constexpr std::size_t ENTRY_BYTES = 20;
/// Lists of a block. A search reads the directory from its start; so many entries take
/// microseconds.
constexpr std::size_t BLOCK_LISTS = 4096;

/// Trigrams after which a shard is written though it has few chunks, which bounds the memory.
constexpr std::size_t MAX_GATHERED = 32 << 20;

/// High bits of a trigram, which choose its bucket.
constexpr unsigned BUCKET_BITS = 12;
constexpr std::uint32_t BUCKETS = 1u << BUCKET_BITS;
constexpr std::uint32_t LOW_MASK = BUCKETS - 1;
/// Below this many entries comparing is faster than counting into 4,096 places.
constexpr std::size_t SMALL_BUCKET = 4096;

static_assert(SHARD_CHUNKS <= 1 << 16, "a chunk's number has 16 bits");

/// A pair within a bucket: the low bits of the trigram above the chunk's number.
using Entry = std::uint32_t;

/// Sorts a bucket by trigram. Entries of one trigram keep the order of their chunks.
void sort_bucket(std::span<Entry> bucket, std::vector<Entry>& scratch) {
    if (bucket.size() < SMALL_BUCKET) {
        std::sort(bucket.begin(), bucket.end());
        return;
    }
    std::array<std::uint32_t, BUCKETS + 1> place{};
    for (const Entry entry : bucket) ++place[(entry >> 16) + 1];
    for (std::size_t i = 1; i < place.size(); ++i) place[i] += place[i - 1];
    scratch.resize(bucket.size());
    for (const Entry entry : bucket) scratch[place[entry >> 16]++] = entry;
    std::copy(scratch.begin(), scratch.end(), bucket.begin());
}

/// Puts posting lists, trigram after trigram, into blocks and stores each block as it fills.
class BlockWriter {
  public:
    BlockWriter(Database& db, std::int64_t shard) : _db(&db), _shard(shard) {}

    void put(std::uint32_t trigram, std::span<const std::uint16_t> numbers) {
        _list.clear();
        const std::uint8_t parameter = append_postings(numbers, _list);
        const std::size_t size = _bytes.size() + _directory.size() + _list.size();
        // With room for one more entry and for what stands before the directory. A list that is
        // larger than a block has one of its own.
        if (_lists == BLOCK_LISTS || size + 2 * ENTRY_BYTES > BLOCK_BYTES) _store(_last);
        put_varint(_directory, trigram - (_lists == 0 ? _first : _last));
        ++_lists;
        put_varint(_directory, numbers.size() << PARAMETER_BITS | parameter);
        put_varint(_directory, _list.size());
        _bytes += _list;
        _last = trigram;
    }

    /// Stores the last block, which answers for all trigrams that are left.
    void finish() { _store(TRIGRAMS - 1); }

  private:
    /// Stores the block that answers for the trigrams from _first to `last`. The next begins right
    /// after.
    void _store(std::uint32_t last) {
        const std::int64_t rowid = _shard * TRIGRAMS + last;
        std::string head, body;
        put_varint(head, _first);
        put_varint(head, _lists);
        put_varint(head, _directory.size());
        put_hash(body, block_hash(head, rowid));
        body.append(head).append(_directory).append(_bytes);
        _db->execute("INSERT INTO trigram_lists(id, body) VALUES (?, ?)", {rowid, BlobView{body}});
        _first = last + 1;
        _lists = 0;
        _directory.clear();
        _bytes.clear();
    }

    Database* _db;
    std::int64_t _shard;
    std::size_t _lists = 0;
    std::uint32_t _first = 0;  ///< that the block answers for
    std::uint32_t _last = 0;   ///< whose list came last
    std::string _directory, _bytes;
    std::string _list;  ///< the list that put() codes
};

void put_bucket(std::uint32_t bucket, std::span<const Entry> entries, BlockWriter& blocks) {
    std::vector<std::uint16_t> numbers;
    for (std::size_t i = 0; i < entries.size();) {
        const std::uint32_t low = entries[i] >> 16;
        numbers.clear();
        for (; i < entries.size() && entries[i] >> 16 == low; ++i) {
            numbers.push_back(static_cast<std::uint16_t>(entries[i]));
        }
        blocks.put(bucket << BUCKET_BITS | low, numbers);
    }
}

}  // namespace

void ShardWriter::add(std::int64_t file_id, std::int64_t chunk,
                      std::span<const std::uint32_t> trigrams) {
    const bool goes_on = !_ranges.empty() && _ranges.back().file_id == file_id &&
                         _ranges.back().first_chunk + _ranges.back().chunks == chunk;
    if (goes_on) {
        ++_ranges.back().chunks;
    } else {
        _ranges.push_back({file_id, chunk, 1});
    }
    _trigrams_before.push_back(static_cast<std::uint32_t>(_trigrams.size()));
    _trigrams.insert(_trigrams.end(), trigrams.begin(), trigrams.end());
    if (_trigrams_before.size() == SHARD_CHUNKS || _trigrams.size() >= MAX_GATHERED) flush();
}

void ShardWriter::flush() {
    if (_trigrams_before.empty()) return;
    listed_shards(*_db);  // what was lost before must not be noted as the whole list
    const std::int64_t id = _next_id();
    const std::string ranges = _coded_ranges();
    std::string files;
    put_hash(files, xxh3(ranges, static_cast<std::uint64_t>(id)));
    files += ranges;
    _db->execute("INSERT INTO trigram_segments(id, chunks, files) VALUES (?, ?, ?)",
                 {id, static_cast<std::int64_t>(_trigrams_before.size()), BlobView{files}});
    _write_blocks(id);
    note_shards(*_db);
    _clear();
}

std::int64_t ShardWriter::_next_id() const {
    return _db->fetchone("SELECT coalesce(max(id), 0) + 1 FROM trigram_segments")->integer(0);
}

std::string ShardWriter::_coded_ranges() const {
    std::string bytes;
    std::int64_t previous = 0;
    for (const ChunkRange& range : _ranges) {
        put_varint(bytes, zigzag(range.file_id - previous));
        put_varint(bytes, static_cast<std::uint64_t>(range.first_chunk));
        put_varint(bytes, static_cast<std::uint64_t>(range.chunks));
        previous = range.file_id;
    }
    return bytes;
}

void ShardWriter::_write_blocks(std::int64_t shard) {
    check_shard_id(shard);
    // First pass: count the pairs of each bucket, and so where its place begins. `place` then moves
    // on through the bucket as pairs are put there, so `begins` keeps the beginnings.
    std::vector<std::uint32_t> place(BUCKETS + 1);
    for (const std::uint32_t trigram : _trigrams) ++place[(trigram >> BUCKET_BITS) + 1];
    for (std::size_t i = 1; i < place.size(); ++i) place[i] += place[i - 1];
    const std::vector<std::uint32_t> begins = place;

    if (_sorted_size < _trigrams.size()) {
        _sorted = std::make_unique_for_overwrite<Entry[]>(_trigrams.capacity());
        _sorted_size = _trigrams.capacity();
    }
    Entry* const entries = _sorted.get();
    for (std::size_t chunk = 0; chunk < _trigrams_before.size(); ++chunk) {
        const std::size_t end =
            chunk + 1 < _trigrams_before.size() ? _trigrams_before[chunk + 1] : _trigrams.size();
        for (std::size_t i = _trigrams_before[chunk]; i < end; ++i) {
            const std::uint32_t trigram = _trigrams[i];
            entries[place[trigram >> BUCKET_BITS]++] =
                (trigram & LOW_MASK) << 16 | static_cast<std::uint32_t>(chunk);
        }
    }

    // Second pass: buckets are in the order of the high bits; sort each by the low bits.
    BlockWriter blocks(*_db, shard);
    std::vector<Entry> scratch;
    for (std::uint32_t bucket = 0; bucket < BUCKETS; ++bucket) {
        const std::span<Entry> own(entries + begins[bucket], begins[bucket + 1] - begins[bucket]);
        sort_bucket(own, scratch);
        put_bucket(bucket, own, blocks);
    }
    blocks.finish();
}

void ShardWriter::_clear() {
    _ranges.clear();
    _trigrams.clear();
    _trigrams_before.clear();
}

}  // namespace codetext::chunk_store
