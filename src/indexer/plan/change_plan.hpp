#pragma once

// What a run of the indexer has to do: the files that the repository has now, compared with those
// that the index knows, by size and modification time. No file is read.
//
//   const ChangePlan plan = plan_changes(db, chunk_store::COMPRESSED, list_files(root, 2).files);
//   for (const PlannedFile& file : plan.to_read) parse(file);

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "indexer/listing/file_entry.hpp"
#include "storage/chunk_store.hpp"
#include "storage/database.hpp"

namespace codetext::indexer {

/// The modification time, in the index, of a file that must be read again whatever its time is. No
/// file has this one.
inline constexpr std::int64_t UNSETTLED_MTIME_NS = std::numeric_limits<std::int64_t>::min();

/// How long a file must have been left alone, when it is read, for its time to tell a later change.
/// File systems stamp changes with clocks that stand still between their ticks: 2 s on FAT, 1 s on
/// several others, milliseconds elsewhere. A change within the tick in which the file was read
/// would leave size and time as they are.
inline constexpr std::int64_t SETTLING_NS = 2'000'000'000;

/// The time to remember for a file whose text was read at `read_at_ns`: its own, or
/// UNSETTLED_MTIME_NS when it changed so shortly before that it may change again unseen, or later.
constexpr std::int64_t remembered_mtime_ns(std::int64_t mtime_ns, std::int64_t read_at_ns) {
    return mtime_ns < read_at_ns - SETTLING_NS ? mtime_ns : UNSETTLED_MTIME_NS;
}

/// A row of `files`.
struct KnownFile {
    std::int64_t id = 0;
    std::int64_t size = 0;
    std::int64_t mtime_ns = UNSETTLED_MTIME_NS;
    std::int64_t content_hash = 0;
    bool text_on_disk = false;
    bool text_is_stored = false;       ///< in chunks, or left on disk by decision
    bool language_is_current = false;  ///< it names the language that the file has now
};

/// A row of `skipped_files`: a file that the index does not hold, and why.
struct SkippedFile {
    std::string reason;
    std::int64_t size = 0;
    std::int64_t mtime_ns = UNSETTLED_MTIME_NS;
    friend bool operator==(const SkippedFile&, const SkippedFile&) = default;
};
inline constexpr std::string_view SKIPPED_BINARY = "binary";
/// Tried again by every run; remembered so that a run in which it fails again changes nothing.
inline constexpr std::string_view SKIPPED_UNREADABLE = "unreadable";

/// A file to read. It has a row of one table or of none.
struct PlannedFile {
    FileEntry entry;
    std::string_view language;
    std::optional<KnownFile> known;
    std::optional<SkippedFile> skipped;
};

struct ChangePlan {
    std::vector<PlannedFile> to_read;       ///< those with an id first, ascending
    std::vector<std::int64_t> gone;         ///< ids of rows whose file is no more
    std::vector<std::string> gone_skipped;  ///< the same of `skipped_files`, by path
    std::int64_t unchanged = 0;             ///< files that need not be read
    std::int64_t unchanged_kept_on_disk =
        0;                              ///< of these, those whose text the index keeps on disk
    std::int64_t unchanged_binary = 0;  ///< binary files that need not be read
};

/// Compares `files`, ascending by path, with the index. Besides new and changed files those are to
/// be read whose chunks the index lacks (a run was interrupted) and whose language is now another.
ChangePlan plan_changes(const Database& db, chunk_store::Layout layout,
                        std::vector<FileEntry> files);

}  // namespace codetext::indexer
