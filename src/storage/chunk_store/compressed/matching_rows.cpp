// Rows are promised first and read later, file by file. What is promised are row ids, from the
// trigram index, and a stamp of the content that gave them. Whoever reads a file's rows compares
// the stamp again: content that has changed since is IndexChanged, not a match that is missed
// without a word.
//
// A row that the trigram index names may be gone together with its frame: the index is not told of
// what is dropped. A chunk row without its frame is damage.

#include "storage/chunk_store/matching_rows.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "storage/chunk_store/compressed/dictionary.hpp"
#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/layout.hpp"
#include "storage/chunk_store/limits.hpp"

namespace codetext::chunk_store {

namespace {

/// Row id of the first chunk of the frame that holds chunk row `rowid`.
std::int64_t frame_rowid(std::int64_t rowid) { return rowid - rowid % CHUNK_STRIDE % FRAME_CHUNKS; }

/// Whether any chunk of the frame at `rowid` satisfies `condition`.
template <typename Condition>
bool any_chunk(std::int64_t rowid, const Condition& condition) {
    for (std::int64_t i = 0; i < FRAME_CHUNKS; ++i) {
        if (condition(rowid + i)) return true;
    }
    return false;
}

/// The rows from `first` to before `end` for which `wanted` holds. A frame without such a row stays
/// in the database's memory.
///
/// A reader finds most damage when it unpacks a text. Where a damaged head hides a wanted chunk,
/// nobody would unpack it, so such a frame is checked here. It is checked after the statement ends:
/// other threads wait while a statement runs.
///
/// Throws IndexChanged when the content is not that of `promised`, if given. The check runs inside
/// the statement where it can, since only a read lets the handle see what others have committed,
/// and since it takes no lock of its own there.
template <typename Wanted>
std::vector<ChunkRow> read_rows(const Database& db, std::int64_t first, std::int64_t end,
                                Dictionaries& dictionaries, const ContentStamp* promised,
                                std::size_t most_bytes, const Wanted& wanted) {
    std::vector<ChunkRow> rows;
    std::vector<std::shared_ptr<PackedFrame>> doubtful;
    SizeLimit bodies(file_of_row(first), MAX_FILE_FRAME_BYTES);
    SizeLimit texts(file_of_row(first), MAX_FILE_TEXT_BYTES);
    std::size_t packed_bytes = 0, text_bytes = 0;
    Ascending order("chunk frame");
    bool checked = promised == nullptr;
    const auto check_stamp = [&] {
        if (!checked && db.content_stamp() != *promised) throw IndexChanged();
        checked = true;
    };
    db.each("SELECT id, body FROM chunk_frames WHERE id >= ? AND id < ? ORDER BY id",
            {frame_rowid(first), end}, [&](const RowView& row) {
                check_stamp();
                const std::int64_t rowid = row.integer(0);
                order.take(rowid);
                if (rowid != frame_rowid(rowid)) {
                    throw_damage("chunk frame", rowid, "no frame begins there");
                }
                if (!any_chunk(rowid, wanted)) return Visit::CONTINUE;
                bodies.take(row.blob(1).size());
                // May read a dictionary, inside of this statement: the connection's lock is always
                // taken before that of the dictionaries.
                const auto frame = std::make_shared<PackedFrame>(db, dictionaries, rowid,
                                                                 std::string(row.blob(1)));
                texts.take(frame->texts_bytes());
                packed_bytes += row.blob(1).size();
                text_bytes += frame->texts_bytes();
                if (std::max(packed_bytes, text_bytes) > most_bytes) throw TextTooLarge();
                append_rows(frame, rows, wanted);
                const bool hides_one = any_chunk(
                    rowid, [&](std::int64_t one) { return wanted(one) && !frame->shows(one); });
                if (hides_one) doubtful.push_back(frame);
                return Visit::CONTINUE;
            });
    check_stamp();
    for (const auto& frame : doubtful) frame->check();
    return rows;
}

/// Throws for a chunk that `chunks` has from `first` to before `end`, and no
/// frame.
void check_no_chunk(const Database& db, std::int64_t first, std::int64_t end) {
    const auto row =
        db.fetchone("SELECT id FROM chunks WHERE id >= ? AND id < ? LIMIT 1", {first, end});
    if (!row) return;
    throw DamagedChunk(
        fmt::format("damaged index: chunk row {} has no frame; run `codetext verify --repair`",
                    row->integer(0)));
}

/// The rows of a whole file must follow each other to the one that ends it.
void check_whole_file(const Database& db, std::int64_t first, std::int64_t end,
                      const std::vector<ChunkRow>& rows) {
    for (const ChunkRow& row : rows) {
        if (row.rowid != first) check_no_chunk(db, first, row.rowid);
        first = row.rowid + 1;
    }
    if (rows.empty() || !rows.back().last) check_no_chunk(db, first, end);
}

/// A row that the trigram index names may be gone with its frame, but not
/// without it.
void check_missing(const Database& db, std::span<const std::int64_t> wanted,
                   const std::vector<ChunkRow>& rows) {
    auto row = rows.begin();
    for (const std::int64_t rowid : wanted) {
        if (row != rows.end() && row->rowid == rowid) {
            ++row;
        } else {
            check_no_chunk(db, rowid, rowid + 1);
        }
    }
}

auto in_range(std::int64_t first, std::int64_t end) {
    return [first, end](std::int64_t rowid) { return rowid >= first && rowid < end; };
}

void make_sorted_set(std::vector<std::int64_t>& numbers) {
    if (!std::is_sorted(numbers.begin(), numbers.end())) std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

/// The stamp of the content as a statement that runs now sees it.
ContentStamp fresh_stamp(const Database& db) {
    db.fetchone("PRAGMA data_version");  // lets the handle notice what others have committed
    return db.content_stamp();
}

}  // namespace

struct MatchingRows::State {
    const Database* db;
    std::optional<Candidates> candidates;  ///< none: every row
    std::vector<std::int64_t> searched;    ///< file ids, ascending, each once
    ContentStamp stamp;
    DictionariesHandle dictionaries = make_dictionaries();
};

MatchingRows matching_rows(const Database& db, const std::optional<Candidates>& candidates,
                           std::vector<std::int64_t> searched) {
    make_sorted_set(searched);
    MatchingRows rows;
    rows._state = std::make_shared<const MatchingRows::State>(
        MatchingRows::State{.db = &db,
                            .candidates = candidates,
                            .searched = std::move(searched),
                            .stamp = candidates ? candidates->stamp() : fresh_stamp(db)});
    return rows;
}

MatchingRows matching_rows(const Database& db, const std::optional<TrigramQuery>& match,
                           std::vector<std::int64_t> searched) {
    std::optional<Candidates> found;
    if (match) found = candidates(db, *match);
    return matching_rows(db, found, std::move(searched));
}

std::vector<ChunkRow> MatchingRows::of_file(std::int64_t file_id, std::size_t most_bytes) const {
    const State& state = *_state;
    if (!std::binary_search(state.searched.begin(), state.searched.end(), file_id)) return {};
    const auto [first, end] = file_rowids(file_id);
    if (!state.candidates) {
        std::vector<ChunkRow> rows = read_rows(*state.db, first, end, *state.dictionaries,
                                               &state.stamp, most_bytes, in_range(first, end));
        check_whole_file(*state.db, first, end, rows);
        return rows;
    }
    const std::span<const std::int64_t> all = state.candidates->rowids();
    const std::span<const std::int64_t> own(std::lower_bound(all.begin(), all.end(), first),
                                            std::lower_bound(all.begin(), all.end(), end));
    if (own.empty()) return {};
    std::vector<ChunkRow> rows = read_rows(
        *state.db, own.front(), own.back() + 1, *state.dictionaries, &state.stamp, most_bytes,
        [own](std::int64_t rowid) { return std::binary_search(own.begin(), own.end(), rowid); });
    if (rows.size() < own.size()) check_missing(*state.db, own, rows);
    return rows;
}

std::vector<std::int64_t> MatchingRows::file_ids() const {
    if (!_state->candidates) return _state->searched;
    const std::span<const std::int64_t> found = _state->candidates->file_ids();
    std::vector<std::int64_t> ids;
    std::set_intersection(_state->searched.begin(), _state->searched.end(), found.begin(),
                          found.end(), std::back_inserter(ids));
    return ids;
}

const DictionariesHandle& MatchingRows::dictionaries() const { return _state->dictionaries; }

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

std::vector<ChunkRow> file_rows(const Database& db, std::int64_t first, std::int64_t end,
                                DictionariesHandle dictionaries, std::size_t most_bytes) {
    if (!dictionaries) dictionaries = make_dictionaries();
    std::vector<ChunkRow> rows =
        read_rows(db, first, end, *dictionaries, nullptr, most_bytes, in_range(first, end));
    check_whole_file(db, first, end, rows);
    return rows;
}

}  // namespace codetext::chunk_store
