#pragma once

// Which chunks of the searched files may hold a match. Private to the module.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "storage/chunk_store.hpp"
#include "storage/code_text/chunk_rows.hpp"
#include "storage/code_text/segment.hpp"

namespace codetext::code_text {

/// The candidate mapping: file id to the file's candidate chunks as segments in line order. Only
/// searched files with at least one candidate have an entry. Copies share one mapping and may be
/// read by several threads at once.
///
/// In the compressed layout the mapping holds row ids, and reads an entry's text when somebody
/// looks it up: a search that stops early reads no more than it looked at, and a common needle's
/// texts need not fit the memory. In the other layout it holds the texts, and goes over to row ids
/// when they grow larger than MAX_HELD_BYTES. An index that has changed in between is noticed, see
/// find.
class CandidateChunks {
  public:
    /// The file's candidates; none when it has no entry. Each call may make a new list. Throws
    /// chunk_store::IndexChanged when the index is no longer the one that was asked, and
    /// chunk_store::TextTooLarge when they hold more than `most_bytes`.
    std::optional<SegmentList> find(std::int64_t file_id,
                                    std::size_t most_bytes = chunk_store::ALL_TEXT) const;
    /// Ids of the files that may have an entry, ascending: all that have one, and in the compressed
    /// layout those whose entry is not read yet.
    std::vector<std::int64_t> file_ids() const;
    /// What further chunks of the same search are best unpacked with; may be null.
    const chunk_store::DictionariesHandle& dictionaries() const;

    using Entries = std::unordered_map<std::int64_t, SegmentList>;
    explicit CandidateChunks(Entries entries)
        : _entries(std::make_shared<const Entries>(std::move(entries))) {}
    explicit CandidateChunks(chunk_store::MatchingRows rows) : _rows(std::move(rows)) {}
    /// Chunks of the layout `code_chunks`, which are read through `db` when they are looked up.
    CandidateChunks(const Database& db, chunk_store::Candidates chunks)
        : _db(&db), _late(std::move(chunks)) {}

  private:
    std::optional<SegmentList> _read_late(std::int64_t file_id, std::size_t most_bytes) const;

    // One of the three is set.
    std::shared_ptr<const Entries> _entries;
    std::optional<chunk_store::MatchingRows> _rows;
    const Database* _db = nullptr;  ///< of `_late`
    std::optional<chunk_store::Candidates> _late;
};

/// Bytes of text that a mapping of the layout `code_chunks` holds.
inline constexpr std::size_t MAX_HELD_BYTES = 128 << 20;

/// Asks the index once which chunks of `files` may hold a match: through the trigram index where it
/// narrows soundly, every chunk otherwise (no needle; a needle with a NUL; a non-ASCII needle in a
/// search that ignores case). Passes every failure of the index on.
///
/// `asked` is the answer of a caller that has asked the index already. The index is not asked again
/// then, and the needle does not matter.
CandidateChunks _candidate_chunks(
    const Database& db, chunk_store::Layout store, std::span<const FileRow> files,
    const std::optional<std::string>& needle, bool case_sensitive,
    const std::optional<chunk_store::Candidates>& asked = std::nullopt,
    std::size_t held_bytes = MAX_HELD_BYTES);

}  // namespace codetext::code_text
