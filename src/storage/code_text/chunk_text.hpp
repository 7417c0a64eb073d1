#pragma once

// The text source that a search uses when the index answers.
//
//   for (const Segment& segment : source.segments(file.file_id, file.path)) match(segment.lines);
//   const Lines all = source.lines(file.file_id, file.path);

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "storage/code_text/candidate_chunks.hpp"
#include "storage/code_text/disk_text.hpp"

namespace codetext::code_text {

/// File ids whose text the index keeps on disk.
using FileIds = std::unordered_set<std::int64_t>;

/// Hands out a file's candidate chunks as segments, and its lines from all of its chunks. The disk
/// source answers for files that the index keeps on disk. One source serves one thread; a copy
/// serves another. The database handle must outlive it.
class ChunkText {
  public:
    ChunkText(const Database& db, chunk_store::Layout store, CandidateChunks candidates,
              DiskText disk, std::shared_ptr<const FileIds> on_disk);

    /// From now on a file of which more than `bytes` would be read throws
    /// chunk_store::TextTooLarge.
    void limit_text(std::size_t bytes);

    /// The file's candidate chunks in line order. As long as a caller keeps the list, asking again
    /// gives that very list; afterwards it is read again. `path` matters only for a file kept on
    /// disk. Throws chunk_store::IndexChanged, chunk_store::DamagedChunk, DatabaseError.
    SegmentList segments(std::int64_t file_id, const std::string& path);
    /// Every line of the file, line 1 first. Holds the lines of the last file. Throws
    /// DatabaseError, chunk_store::DamagedChunk.
    Lines lines(std::int64_t file_id, const std::string& path);

    /// Ids, ascending, of the files that can have a segment: those with candidates, and those kept
    /// on disk. A search need not ask for any other.
    std::vector<std::int64_t> possible_files() const;
    /// Whether the index has no chunks of the file, on purpose.
    bool keeps_on_disk(std::int64_t file_id) const { return _on_disk->contains(file_id); }

  private:
    void _forget_dropped_lists();

    const Database* _db;
    chunk_store::Layout _store;
    CandidateChunks _candidates;
    DiskText _disk;
    std::shared_ptr<const FileIds> _on_disk;
    std::optional<std::pair<std::int64_t, Lines>> _read;
    std::unordered_map<std::int64_t, std::weak_ptr<const std::vector<Segment>>> _handed_out;
    std::size_t _most_bytes = chunk_store::ALL_TEXT;  ///< of one file's text
    std::size_t _forget_at = 64;  ///< lists at which those that no caller holds are forgotten
};

}  // namespace codetext::code_text
