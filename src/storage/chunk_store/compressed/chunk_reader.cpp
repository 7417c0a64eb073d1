#include <algorithm>
#include <mutex>
#include <span>

#include "storage/chunk_store.hpp"
#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/trigram_shard.hpp"
#include "utils/sorted_lookup.hpp"

namespace codetext::chunk_store {

namespace {

/// Row id of the first chunk of the frame that holds chunk row `rowid`.
std::int64_t frame_rowid(std::int64_t rowid) { return rowid - rowid % CHUNK_STRIDE % FRAME_CHUNKS; }

/// The rows from `first` to before `end` for which `wanted` holds. A frame without one is not
/// copied out of the database.
///
/// A frame that does not show all that is wanted of it is checked here, since nobody may come to
/// look at its texts: a head that is damaged must not hide a chunk. That is after the statement,
/// which keeps other threads waiting.
template <typename Wanted>
std::vector<ChunkRow> read_rows(const Database& db, std::int64_t first, std::int64_t end,
                                const Wanted& wanted) {
    std::vector<ChunkRow> rows;
    std::vector<std::shared_ptr<PackedFrame>> doubtful;
    db.each("SELECT id, body FROM chunk_frames WHERE id >= ? AND id < ? ORDER BY id",
            {frame_rowid(first), end}, [&](const RowView& row) {
                const std::int64_t rowid = row.integer(0);
                bool any = false;
                for (std::int64_t i = 0; i < FRAME_CHUNKS && !any; ++i) any = wanted(rowid + i);
                if (!any) return Visit::CONTINUE;
                const auto frame =
                    std::make_shared<PackedFrame>(db, rowid, std::string(row.blob(1)));
                append_rows(frame, rows, wanted);
                for (std::int64_t i = 0; i < FRAME_CHUNKS; ++i) {
                    if (!wanted(rowid + i) || frame->shows(rowid + i)) continue;
                    doubtful.push_back(frame);
                    break;
                }
                return Visit::CONTINUE;
            });
    for (const auto& frame : doubtful) frame->check();
    return rows;
}

std::vector<std::int64_t> ask_shards(const Database& db, const TrigramQuery& query) {
    std::vector<std::int64_t> rowids;
    // The largest segment tells which trigrams are rare.
    const std::optional<Row> largest =
        db.fetchone("SELECT id FROM trigram_segments ORDER BY chunks DESC LIMIT 1");
    if (!largest) return rowids;
    const auto asked = ShardReader(db, largest->integer(0)).rarest(query.trigrams);
    for (const Row& row : db.fetchall("SELECT id FROM trigram_segments ORDER BY id")) {
        const ShardReader segment(db, row.integer(0));
        const std::vector<std::uint16_t> numbers = segment.holding(asked);
        if (!numbers.empty()) segment.append_rowids(numbers, rowids);
    }
    // Segments of a first run follow each other; those of later runs may name any file.
    if (!std::is_sorted(rowids.begin(), rowids.end())) std::sort(rowids.begin(), rowids.end());
    rowids.erase(std::unique(rowids.begin(), rowids.end()), rowids.end());
    return rowids;
}

/// The last query of a handle and its answer.
struct LastAnswer {
    std::mutex mutex;
    TrigramQuery query;
    std::int64_t content_version = -1;
    std::shared_ptr<const std::vector<std::int64_t>> rowids;
};

}  // namespace

std::shared_ptr<const std::vector<std::int64_t>> candidate_rowids(const Database& db,
                                                                  const TrigramQuery& query) {
    const auto last = db.kept<LastAnswer>([] { return std::make_shared<LastAnswer>(); });
    const std::lock_guard lock(last->mutex);
    const std::int64_t version = db.content_version();
    if (last->content_version != version || last->query != query) {
        last->content_version = -1;  // no answer, should the asking fail
        last->rowids = std::make_shared<const std::vector<std::int64_t>>(ask_shards(db, query));
        last->query = query;
        last->content_version = version;
    }
    return last->rowids;
}

struct MatchingRows::State {
    const Database* db;
    std::shared_ptr<const std::vector<std::int64_t>> rowids;  ///< ascending; null: every row
    std::vector<std::int64_t> searched;                       ///< file ids, ascending, each once
};

MatchingRows matching_rows(const Database& db, const std::optional<TrigramQuery>& match,
                           std::vector<std::int64_t> searched) {
    if (!std::is_sorted(searched.begin(), searched.end())) {
        std::sort(searched.begin(), searched.end());
    }
    searched.erase(std::unique(searched.begin(), searched.end()), searched.end());
    auto state = std::make_shared<MatchingRows::State>();
    state->db = &db;
    if (match) state->rowids = candidate_rowids(db, *match);
    state->searched = std::move(searched);
    MatchingRows rows;
    rows._state = std::move(state);
    return rows;
}

std::vector<ChunkRow> MatchingRows::of_file(std::int64_t file_id) const {
    const std::int64_t first = file_id * CHUNK_STRIDE;
    const std::int64_t end = first + CHUNK_STRIDE;
    if (!_state->rowids) return file_rows(*_state->db, first, end);
    const std::vector<std::int64_t>& all = *_state->rowids;
    const std::span<const std::int64_t> own(std::lower_bound(all.begin(), all.end(), first),
                                            std::lower_bound(all.begin(), all.end(), end));
    if (own.empty()) return {};
    return read_rows(*_state->db, own.front(), own.back() + 1, [&](std::int64_t rowid) {
        return std::binary_search(own.begin(), own.end(), rowid);
    });
}

std::vector<std::int64_t> MatchingRows::file_ids() const {
    if (!_state->rowids) return _state->searched;
    std::vector<std::int64_t> ids;
    auto row = _state->rowids->begin();
    for (const std::int64_t file_id : _state->searched) {
        const std::int64_t first = file_id * CHUNK_STRIDE;
        row = galloping_lower_bound(row, _state->rowids->end(), first);
        if (row == _state->rowids->end()) break;
        if (*row < first + CHUNK_STRIDE) ids.push_back(file_id);
    }
    return ids;
}

MatchingRows::Iterator MatchingRows::begin() const {
    Iterator it;
    it._range = this;
    it._files = file_ids();
    it._next_file();
    return it;
}

void MatchingRows::Iterator::_next_file() {
    _row = 0;
    _rows.clear();
    while (_rows.empty() && _file < _files.size()) _rows = _range->of_file(_files[_file++]);
}

MatchingRows::Iterator& MatchingRows::Iterator::operator++() {
    if (++_row == _rows.size()) _next_file();
    return *this;
}

std::vector<ChunkRow> file_rows(const Database& db, std::int64_t first, std::int64_t end) {
    return read_rows(db, first, end,
                     [&](std::int64_t rowid) { return rowid >= first && rowid < end; });
}

}  // namespace codetext::chunk_store
