// A query of many trigrams asks for the few that fewest chunks of the shard hold, and intersects
// their posting lists, the shortest first. It leaves out a list that is much longer than what is
// left: reading it costs more than the few candidates that it would drop, and every candidate is
// verified against its text anyway. A list is found by one seek: its block is the first row at or
// after its trigram.

#include <algorithm>
#include <iterator>

#include "storage/chunk_store/compressed/byte_codec.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/layout.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

namespace {

/// Trigrams that one query asks for.
constexpr std::size_t MAX_ASKED = 4;
/// Trigrams of a needle among which the rarest are looked for. So many hold rare ones enough.
constexpr std::size_t MAX_WEIGHED = 256;
/// A list this many times longer than what is left is not worth reading.
constexpr std::size_t NOT_WORTH_READING = 64;

void keep_common(std::vector<std::uint16_t>& numbers, const std::vector<std::uint16_t>& others) {
    const auto end = std::set_intersection(numbers.begin(), numbers.end(), others.begin(),
                                           others.end(), numbers.begin());
    numbers.erase(end, numbers.end());
}

}  // namespace

void check_shard_id(std::int64_t id) {
    if (id < 1 || id > MAX_SHARD_ID) throw_damage("trigram shard", id, "no shard has this id");
}

ShardReader::ShardReader(const Database& db, std::int64_t id, Blocks blocks)
    : _db(&db), _id(id), _blocks(blocks) {
    check_shard_id(id);
}

std::optional<TrigramBlock::List> ShardReader::_find(std::uint32_t trigram) const {
    std::optional<TrigramBlock::List> list;
    bool has_block = false;
    _db->each("SELECT id, body FROM trigram_lists WHERE id >= ? AND id < ? ORDER BY id LIMIT 1",
              {_id * TRIGRAMS + trigram, (_id + 1) * TRIGRAMS}, [&](const RowView& row) {
                  TrigramBlock block(row.blob(1), row.integer(0), _blocks);
                  has_block = block.first() <= trigram;
                  list = block.find(trigram);
                  return Visit::STOP;
              });
    // In a whole shard some block answers for every trigram: for one that no chunk holds, a block
    // without a list for it. Without a block at all, there is no telling.
    if (!has_block && _blocks == Blocks::TILED) _lacks_block();
    return list;
}

void ShardReader::_lacks_block() const {
    throw DamagedChunk(fmt::format(
        "damaged trigram index: shard {} lacks a block; run `codetext verify --repair`", _id));
}

void ShardReader::_read(const TrigramBlock::List& list, std::vector<std::uint16_t>& numbers) const {
    if (!read_postings({list.count, list.parameter, list.bytes}, numbers)) {
        throw DamagedChunk(
            fmt::format("damaged trigram index: a posting list of shard {} is cut short; run "
                        "`codetext verify --repair`",
                        _id));
    }
}

std::vector<std::uint32_t> ShardReader::rarest(std::span<const std::uint32_t> trigrams) const {
    trigrams = trigrams.first(std::min(trigrams.size(), MAX_WEIGHED));
    std::vector<std::pair<std::uint32_t, std::uint32_t>> weighed;
    for (const std::uint32_t trigram : trigrams) {
        const auto list = _find(trigram);
        weighed.emplace_back(list ? list->count : 0, trigram);
    }
    std::sort(weighed.begin(), weighed.end());
    weighed.resize(std::min(weighed.size(), MAX_ASKED));
    std::vector<std::uint32_t> rare;
    rare.reserve(weighed.size());
    for (const auto& [count, trigram] : weighed) rare.push_back(trigram);
    return rare;
}

std::vector<std::uint16_t> ShardReader::holding(std::span<const std::uint32_t> trigrams) const {
    std::vector<TrigramBlock::List> lists;
    lists.reserve(trigrams.size());
    for (const std::uint32_t trigram : trigrams) {
        auto list = _find(trigram);
        // No chunk of the shard holds this trigram, so none holds all.
        if (!list) return {};
        lists.push_back(*std::move(list));
    }
    std::sort(lists.begin(), lists.end(),
              [](const auto& a, const auto& b) { return a.count < b.count; });
    std::vector<std::uint16_t> numbers;
    _read(lists.front(), numbers);
    std::vector<std::uint16_t> others;
    for (std::size_t i = 1; i < lists.size(); ++i) {
        if (lists[i].count > numbers.size() * NOT_WORTH_READING) break;
        _read(lists[i], others);
        keep_common(numbers, others);
    }
    return numbers;
}

template <typename Visitor>
void ShardReader::_each_range(const Visitor& visit) const {
    auto row = _db->fetchone("SELECT files FROM trigram_segments WHERE id = ?", {_id});
    if (!row) return;
    ByteReader reader(row->blob(0), "trigram shard", _id);
    if (reader.rest().size() > MAX_BLOB_BYTES) reader.damaged("it is too large");
    reader.take_hash(_blocks == Blocks::TILED ? static_cast<std::uint64_t>(_id) : 0);
    std::int64_t file_id = 0, chunks_left = SHARD_CHUNKS;
    while (!reader.at_end()) {
        // Unsigned: numbers that others have made may be too large for their sum.
        file_id = static_cast<std::int64_t>(static_cast<std::uint64_t>(file_id) +
                                            static_cast<std::uint64_t>(unzigzag(reader.varint())));
        const std::uint64_t first_chunk = reader.varint(), chunks = reader.varint();
        if (file_id > MAX_FILE_ID || file_id < -MAX_FILE_ID || first_chunk >= CHUNK_STRIDE ||
            chunks == 0 || chunks > static_cast<std::uint64_t>(chunks_left) ||
            chunks > CHUNK_STRIDE - first_chunk) {
            reader.damaged("it names chunks that no file has");
        }
        chunks_left -= static_cast<std::int64_t>(chunks);
        visit(file_id, static_cast<std::int64_t>(first_chunk), static_cast<std::int64_t>(chunks));
    }
}

void ShardReader::append_rowids(std::span<const std::uint16_t> numbers,
                                std::vector<std::int64_t>& rowids) const {
    // Numbers and ranges ascend alike: one pass over both. `begin` is the number of the range's
    // first chunk.
    std::int64_t begin = 0;
    std::size_t next = 0;
    _each_range([&](std::int64_t file_id, std::int64_t first_chunk, std::int64_t chunks) {
        for (; next < numbers.size() && numbers[next] < begin + chunks; ++next) {
            rowids.push_back(file_rowids(file_id).first + first_chunk + numbers[next] - begin);
        }
        begin += chunks;
    });
}

std::vector<std::int64_t> ShardReader::file_ids() const {
    std::vector<std::int64_t> ids;
    _each_range([&](std::int64_t file_id, std::int64_t, std::int64_t) { ids.push_back(file_id); });
    return ids;
}

}  // namespace codetext::chunk_store
