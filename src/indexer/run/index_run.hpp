#pragma once

// Making and refreshing the index of a repository. A run reads only files that may have changed,
// and writes nothing when nothing has.
//
//   const IndexReport report = index_repository(root);
//   print(report.files, report.new_files, report.changed_files);

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "indexer/listing/file_entry.hpp"
#include "indexer/plan/change_plan.hpp"
#include "indexer/run/index_lock.hpp"
#include "storage/chunk_store.hpp"
#include "storage/schema.hpp"

namespace codetext::indexer {

struct IndexOptions {
    /// The layout of a new index. An index with another layout is refused.
    std::optional<chunk_store::Layout> layout;
    LockOptions lock = {};
    unsigned threads = 0;         ///< threads that read and pack files; 0: one for each processor
    Trust trust = Trust::STAMPS;  ///< NOTHING: every file is read, whatever its times say
    /// Called after each file, with the number of files done and of those to be read in this run.
    std::function<void(std::int64_t done, std::int64_t total)> progress;
    /// Called with the files of the repository, ascending by path, before any is read.
    std::function<void(const std::vector<FileEntry>& files)> listed = {};
};

struct UnreadableFile {
    std::string path, reason;
};

struct IndexReport {
    std::int64_t files = 0;                  ///< in the index after the run
    std::int64_t new_files = 0;              ///< of these, those it did not hold before
    std::int64_t changed_files = 0;          ///< of these, those whose text was stored again
    std::int64_t gone_files = 0;             ///< in the index before the run, and no longer
    std::int64_t kept_on_disk = 0;           ///< in the index, while their text stays on disk
    std::int64_t binary_files = 0;           ///< of the repository, not in the index
    std::vector<UnreadableFile> unreadable;  ///< not in the index; the next run tries again
    std::vector<std::string> warnings;       ///< what else was left out or put off, one line each
    std::vector<schema::UpgradeStep> upgrade_steps;
};

/// Brings the index of the repository at `root` up to date, or makes one. An older index is
/// upgraded first. Searches go on meanwhile: each sees the state after some commit of the run.
///
/// Throws IndexBusy (unless `lock` waits), std::runtime_error when git fails, std::invalid_argument
/// for a layout that the index does not have, schema::UnusableIndex, and DatabaseError or
/// std::system_error when the run cannot go on. What was committed until then stays, and the next
/// run does the rest.
IndexReport index_repository(const std::filesystem::path& root, const IndexOptions& options = {});

/// Only upgrades the index of the repository at `root`, which must exist. Returns the steps taken;
/// none for an index that is up to date. Throws as index_repository does.
std::vector<schema::UpgradeStep> upgrade_index(const std::filesystem::path& root,
                                               const LockOptions& lock = {});

/// Removes the index of the repository at `root`; nothing where there is none. Throws
/// IndexBusy while a run is going on, and what schema::remove_index throws.
void clean_index(const std::filesystem::path& root, const LockOptions& lock = {});

}  // namespace codetext::indexer
