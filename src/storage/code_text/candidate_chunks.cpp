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

CandidateChunks::Entries code_chunks_entries(const Database& db,
                                             const std::optional<std::string>& needle,
                                             std::vector<std::int64_t> searched) {
    std::sort(searched.begin(), searched.end());
    // By file, and within a file by row id, which is the order of its lines.
    std::unordered_map<std::int64_t, std::map<std::int64_t, Segment>> found;
    chunk_store::DatabaseLimit texts(db);
    each_code_chunk(db, needle, [&](const RowView& row) {
        const std::int64_t rowid = row.integer(0);
        const std::int64_t file_id = chunk_store::file_of_row(rowid);
        if (!std::binary_search(searched.begin(), searched.end(), file_id)) return Visit::CONTINUE;
        chunk_store::check_lines(rowid, row.integer(1), row.integer(2));
        texts.take(row.text(3).size());
        found[file_id].emplace(rowid, segment_of({rowid, row.integer(1), row.integer(2),
                                                  chunk_store::StoredText(std::string(row.text(3))),
                                                  row.integer(4) != 0}));
        return Visit::CONTINUE;
    });
    CandidateChunks::Entries entries;
    for (auto& [file_id, chunks] : found) {
        std::vector<Segment> segments;
        for (auto& [rowid, segment] : chunks) segments.push_back(std::move(segment));
        entries.emplace(file_id, SegmentList(std::move(segments)));
    }
    return entries;
}

}  // namespace

std::optional<SegmentList> CandidateChunks::find(std::int64_t file_id) const {
    if (_entries) {
        const auto found = _entries->find(file_id);
        return found == _entries->end() ? std::nullopt : std::optional(found->second);
    }
    std::vector<Segment> segments;
    for (const chunk_store::ChunkRow& row : _rows->of_file(file_id)) {
        segments.push_back(segment_of(row));
    }
    if (segments.empty()) return std::nullopt;
    return SegmentList(std::move(segments));
}

std::vector<std::int64_t> CandidateChunks::file_ids() const {
    if (_rows) return _rows->file_ids();
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
                                  const std::optional<chunk_store::Candidates>& asked) {
    std::vector<std::int64_t> searched;
    searched.reserve(files.size());
    for (const FileRow& file : files) searched.push_back(file.file_id);
    if (asked) return CandidateChunks(chunk_store::matching_rows(db, asked, std::move(searched)));
    const bool may_narrow = needle && chunk_store::narrows(*needle, case_sensitive);
    if (store == chunk_store::COMPRESSED) {
        const auto match = may_narrow ? chunk_store::trigram_query(*needle) : std::nullopt;
        return CandidateChunks(chunk_store::matching_rows(db, match, std::move(searched)));
    }
    return CandidateChunks(code_chunks_entries(
        db, may_narrow ? needle : std::optional<std::string>(), std::move(searched)));
}

}  // namespace codetext::code_text
