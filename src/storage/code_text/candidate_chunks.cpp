// The two layouts answer differently. The compressed one promises row ids, and a file's texts are
// read when somebody asks for that file. `code_chunks` is asked by one statement, whose rows are
// kept with their texts.
//
// `LIKE` gives a superset: it folds the case of ASCII letters, and a "%" or "_" of the needle,
// which are not escaped, matches itself and more. Every candidate is searched anyway.

#include "storage/code_text/candidate_chunks.hpp"

#include <algorithm>
#include <functional>
#include <map>

#include "storage/chunk_store/limits.hpp"
#include "storage/code_text/chunking.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {

namespace {

constexpr std::string_view EVERY_CHUNK =
    "SELECT c.rowid, c.start_line, c.end_line, coalesce(c.exact, c.text), NOT EXISTS (SELECT 1 "
    "FROM code_chunks n WHERE n.rowid = c.rowid + 1) FROM code_chunks c";
constexpr std::string_view CHUNKS_OF_FILE =
    "SELECT c.rowid, c.start_line, c.end_line, coalesce(c.exact, c.text), NOT EXISTS (SELECT 1 "
    "FROM code_chunks n WHERE n.rowid = c.rowid + 1) FROM code_chunks c WHERE c.rowid >= ? AND "
    "c.rowid < ? ORDER BY c.rowid";
constexpr std::string_view CHUNKS_LIKE =
    "SELECT c.rowid, c.start_line, c.end_line, coalesce(c.exact, c.text), NOT EXISTS (SELECT 1 "
    "FROM code_chunks n WHERE n.rowid = c.rowid + 1) FROM code_chunks c WHERE c.text LIKE ?";

Segment segment_of(const chunk_store::ChunkRow& row) {
    return {row.start_line, _chunk_lines(row.start_line, row.end_line, row.text), row.last};
}

/// Whether SQLite answers `LIKE` for this needle on the table. Before LIKE_MENDED it asks its
/// trigram index for each piece between the wildcards "%" and "_" that has three bytes, though a
/// piece of one or two characters has no trigram, and finds nothing. (Seen with 3.40.1; 3.53.2 is
/// right.)
bool like_answers(std::string_view needle) {
    constexpr int LIKE_MENDED = 3'053'002;
    constexpr std::size_t TRIGRAM_CHARACTERS = 3;
    if (sqlite_version() >= LIKE_MENDED) return true;
    while (!needle.empty()) {
        const std::string_view piece = needle.substr(0, needle.find_first_of("%_"));
        const auto characters = static_cast<std::size_t>(unicode::code_points(piece));
        if (characters < TRIGRAM_CHARACTERS && piece.size() >= TRIGRAM_CHARACTERS) return false;
        needle.remove_prefix(std::min(piece.size() + 1, needle.size()));
    }
    return true;
}

void each_code_chunk(const Database& db, const std::optional<std::string>& needle,
                     const std::function<Visit(const RowView&)>& visit) {
    if (!needle || !like_answers(*needle)) return db.each(EVERY_CHUNK, {}, visit);
    db.each(CHUNKS_LIKE, {"%" + *needle + "%"}, visit);
}

/// The searched files' chunks as they come, with their texts as long as there is room for them.
class FoundChunks {
  public:
    FoundChunks(const Database& db, std::size_t held_bytes)
        : _db(&db), _limit(db), _held_bytes(held_bytes) {}

    void add(const RowView& row) {
        const std::int64_t rowid = row.integer(0);
        chunk_store::check_lines(rowid, row.integer(1), row.integer(2));
        _limit.take(row.text(3).size());
        _text_bytes += row.text(3).size();
        _rowids.push_back(rowid);
        if (_text_bytes > _held_bytes) {
            _stamp = _db->content_stamp();
            _files.clear();
        } else {
            _files[chunk_store::file_of_row(rowid)].emplace(rowid, segment_of(row));
        }
    }

    static Segment segment_of(const RowView& row) {
        return code_text::segment_of({row.integer(0), row.integer(1), row.integer(2),
                                      chunk_store::StoredText(std::string(row.text(3))),
                                      row.integer(4) != 0});
    }

    CandidateChunks take() {
        if (_text_bytes > _held_bytes) {
            std::sort(_rowids.begin(), _rowids.end());
            return {*_db, chunk_store::Candidates(std::move(_rowids), _stamp)};
        }
        CandidateChunks::Entries entries;
        for (auto& [file_id, chunks] : _files) {
            std::vector<Segment> segments;
            for (auto& [rowid, segment] : chunks) segments.push_back(std::move(segment));
            entries.emplace(file_id, SegmentList(std::move(segments)));
        }
        return CandidateChunks(std::move(entries));
    }

  private:
    const Database* _db;
    chunk_store::DatabaseLimit _limit;
    std::size_t _held_bytes;
    std::size_t _text_bytes = 0;
    std::vector<std::int64_t> _rowids;
    ContentStamp _stamp;
    std::unordered_map<std::int64_t, std::map<std::int64_t, Segment>> _files;
};

CandidateChunks code_chunks_candidates(const Database& db, const std::optional<std::string>& needle,
                                       std::vector<std::int64_t> searched, std::size_t held_bytes) {
    std::sort(searched.begin(), searched.end());
    FoundChunks found(db, held_bytes);
    each_code_chunk(db, needle, [&](const RowView& row) {
        const std::int64_t file_id = chunk_store::file_of_row(row.integer(0));
        if (std::binary_search(searched.begin(), searched.end(), file_id)) found.add(row);
        return Visit::CONTINUE;
    });
    return found.take();
}

}  // namespace

std::optional<SegmentList> CandidateChunks::find(std::int64_t file_id,
                                                 std::size_t most_bytes) const {
    if (_late) return _read_late(file_id, most_bytes);
    std::vector<Segment> segments;
    if (_entries) {
        const auto found = _entries->find(file_id);
        if (found == _entries->end()) return std::nullopt;
        std::size_t bytes = 0;
        for (const Segment& segment : found->second) bytes += segment.lines.size_bytes();
        if (bytes > most_bytes) throw chunk_store::TextTooLarge();
        return found->second;
    }
    for (const chunk_store::ChunkRow& row : _rows->of_file(file_id, most_bytes)) {
        segments.push_back(segment_of(row));
    }
    if (segments.empty()) return std::nullopt;
    return SegmentList(std::move(segments));
}

std::optional<SegmentList> CandidateChunks::_read_late(std::int64_t file_id,
                                                       std::size_t most_bytes) const {
    const auto [first, end] = file_rowids(file_id);
    const std::span<const std::int64_t> all = _late->rowids();
    const auto own = std::lower_bound(all.begin(), all.end(), first);
    if (own == all.end() || *own >= end) return std::nullopt;
    chunk_store::SizeLimit texts(file_id, chunk_store::MAX_FILE_TEXT_BYTES);
    std::size_t bytes = 0;
    std::vector<Segment> segments;
    _db->each(CHUNKS_OF_FILE, {first, end}, [&](const RowView& row) {
        if (_db->content_stamp() != _late->stamp()) throw chunk_store::IndexChanged();
        if (!std::binary_search(own, all.end(), row.integer(0))) return Visit::CONTINUE;
        texts.take(row.text(3).size());
        bytes += row.text(3).size();
        if (bytes > most_bytes) throw chunk_store::TextTooLarge();
        segments.push_back(FoundChunks::segment_of(row));
        return Visit::CONTINUE;
    });
    // What the mapping promised is gone.
    if (segments.empty()) throw chunk_store::IndexChanged();
    return SegmentList(std::move(segments));
}

std::vector<std::int64_t> CandidateChunks::file_ids() const {
    if (_rows) return _rows->file_ids();
    if (_late) return {_late->file_ids().begin(), _late->file_ids().end()};
    std::vector<std::int64_t> ids;
    for (const auto& [file_id, segments] : *_entries) ids.push_back(file_id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

const chunk_store::DictionariesHandle& CandidateChunks::dictionaries() const {
    static const chunk_store::DictionariesHandle NONE;
    return _rows ? _rows->dictionaries() : NONE;
}

CandidateChunks _candidate_chunks(const Database& db, chunk_store::Layout store,
                                  std::span<const FileRow> files,
                                  const std::optional<std::string>& needle, bool case_sensitive,
                                  const std::optional<chunk_store::Candidates>& asked,
                                  std::size_t held_bytes) {
    std::vector<std::int64_t> searched;
    searched.reserve(files.size());
    for (const FileRow& file : files) searched.push_back(file.file_id);
    if (asked) return CandidateChunks(chunk_store::matching_rows(db, asked, std::move(searched)));
    const bool may_narrow = needle && chunk_store::narrows(*needle, case_sensitive);
    if (store == chunk_store::COMPRESSED) {
        const auto match = may_narrow ? chunk_store::trigram_query(*needle) : std::nullopt;
        return CandidateChunks(chunk_store::matching_rows(db, match, std::move(searched)));
    }
    return code_chunks_candidates(db, may_narrow ? needle : std::optional<std::string>(),
                                  std::move(searched), held_bytes);
}

}  // namespace codetext::code_text
