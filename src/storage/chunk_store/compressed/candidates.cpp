// The trigram index is asked for the few rarest trigrams of a query, shard after shard. A shard
// knows its chunks by number, so the answer of each is turned into row ids, and the rows of all are
// put in order: O(postings read + answer), plus a sort where shards of later runs name files of
// earlier ones.

#include "storage/chunk_store/candidates.hpp"

#include <algorithm>
#include <utility>

#include "storage/chunk_store/compressed/shard_list.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "storage/chunk_store/layout.hpp"
#include "storage/chunk_store/limits.hpp"

namespace codetext::chunk_store {

namespace {

/// Row ids that one answer holds at most, 128 MB: a thousand million lines.
constexpr std::size_t MAX_CANDIDATES = std::size_t{1} << 24;

/// The files of ascending rows, each once.
std::vector<std::int64_t> files_of(std::span<const std::int64_t> rowids) {
    std::vector<std::int64_t> files;
    for (const std::int64_t rowid : rowids) {
        const std::int64_t file_id = file_of_row(rowid);
        if (files.empty() || files.back() != file_id) files.push_back(file_id);
    }
    return files;
}

/// The rows that the shards name, in any order, a row perhaps more than once.
std::vector<std::int64_t> ask_shards(const Database& db, const ShardList& list,
                                     std::span<const std::uint32_t> trigrams) {
    std::vector<std::int64_t> rowids;
    for (const auto& [id, chunks] : list.shards) {
        const ShardReader shard(db, id, list.blocks);
        const std::vector<std::uint16_t> numbers = shard.holding(trigrams);
        if (!numbers.empty()) shard.append_rowids(numbers, rowids);
        if (rowids.size() > MAX_CANDIDATES) {
            throw_damage("trigram shard", id, "the index names more chunks than can be read");
        }
    }
    return rowids;
}

}  // namespace

IndexChanged::IndexChanged()
    : std::runtime_error("the index has changed since this search began; search again") {}

Candidates::Candidates(std::vector<std::int64_t> rowids, ContentStamp stamp) {
    std::vector<std::int64_t> files = files_of(rowids);
    _answer = std::make_shared<const Answer>(Answer{std::move(rowids), std::move(files), stamp});
}

Candidates candidates(const Database& db, const TrigramQuery& query) {
    const ShardList list = listed_shards(db);
    const ContentStamp stamp = db.content_stamp();
    if (list.shards.empty()) return {{}, stamp};
    // The largest shard tells which trigrams are rare.
    const auto largest =
        std::ranges::max_element(list.shards, {}, [](const auto& shard) { return shard.chunks; });
    const auto asked = ShardReader(db, largest->id, list.blocks).rarest(query.trigrams);
    std::vector<std::int64_t> rowids = ask_shards(db, list, asked);
    // Outside a transaction the statements above may have seen different states.
    if (db.content_stamp() != stamp) throw IndexChanged();
    if (!std::is_sorted(rowids.begin(), rowids.end())) std::sort(rowids.begin(), rowids.end());
    rowids.erase(std::unique(rowids.begin(), rowids.end()), rowids.end());
    return {std::move(rowids), stamp};
}

}  // namespace codetext::chunk_store
