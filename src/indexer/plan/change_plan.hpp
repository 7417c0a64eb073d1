#pragma once

// What a run has to do: the files of the repository are compared with those of the index by their
// stamps (size, times, inode). No file is read.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "indexer/listing/file_entry.hpp"
#include "storage/chunk_store.hpp"
#include "storage/database.hpp"

namespace codetext::indexer {

/// A file that changed this shortly before it was read may change again and keep its time: file
/// systems take the time from clocks that tick every 2 s (FAT), every second (several others) or
/// every few milliseconds.
inline constexpr std::int64_t SETTLING_NS = 2'000'000'000;

/// The stamp to remember for a file that was read at `read_at_ns`: its own, with UNSETTLED_MTIME_NS
/// when one of its times is within SETTLING_NS of the read, or after it.
constexpr FileStamp remembered(FileStamp stamp, std::int64_t read_at_ns) {
    if (std::max(stamp.mtime_ns, stamp.ctime_ns) >= read_at_ns - SETTLING_NS) {
        stamp.mtime_ns = UNSETTLED_MTIME_NS;
    }
    return stamp;
}

/// The stamp of a file that was never read.
inline constexpr FileStamp UNSETTLED = {.mtime_ns = UNSETTLED_MTIME_NS};

/// A row of `files`.
struct KnownFile {
    std::int64_t id = 0;
    FileStamp stamp = UNSETTLED;
    std::int64_t content_hash = 0;
    bool text_on_disk = false;
    bool text_is_stored = false;       ///< in chunks, or kept on disk on purpose
    bool language_is_current = false;  ///< it is what the file's name gives now
};

/// A row of `skipped_files`: a file that the index does not hold, and why.
struct SkippedFile {
    std::string reason;
    FileStamp stamp = UNSETTLED;
    friend bool operator==(const SkippedFile&, const SkippedFile&) = default;
};
inline constexpr std::string_view SKIPPED_BINARY = "binary";
/// Each run tries such a file again. It is remembered so that a run in which it fails again writes
/// nothing.
inline constexpr std::string_view SKIPPED_UNREADABLE = "unreadable";

/// A file to read. It has a row in at most one of the two tables.
struct PlannedFile {
    FileEntry entry;
    std::string_view language;
    std::optional<KnownFile> known;
    std::optional<SkippedFile> skipped;
};

struct ChangePlan {
    std::vector<PlannedFile> to_read;       ///< those with an id first, ascending
    std::vector<std::int64_t> gone;         ///< ids of rows whose file is gone
    std::vector<std::string> gone_skipped;  ///< the same for `skipped_files`, by path
    std::int64_t unchanged = 0;             ///< files that need not be read
    std::int64_t unchanged_kept_on_disk =
        0;                              ///< of these, those whose text the index keeps on disk
    std::int64_t unchanged_binary = 0;  ///< binary files that need not be read
};

/// Which files a plan lets be.
enum class Trust {
    STAMPS,   ///< those with the stamp that the index remembers
    NOTHING,  ///< none: every file is read
};

/// Compares `files`, ascending by path, with the index. To be read are new and changed files, those
/// whose chunks are missing (a run was interrupted), and those whose language has changed.
ChangePlan plan_changes(const Database& db, chunk_store::Layout layout,
                        std::vector<FileEntry> files, Trust trust = Trust::STAMPS);

}  // namespace codetext::indexer
