#pragma once

// Making and refreshing the index of a repository. A run reads only what has changed, and one with
// nothing to do writes nothing.
//
//   const IndexReport report = index_repository(root);
//   print(report.files, report.new_files, report.changed_files);

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "storage/chunk_store.hpp"
#include "storage/schema.hpp"

namespace codetext::indexer {

struct IndexOptions {
    /// For a new index; an index that has another one is refused.
    std::optional<chunk_store::Layout> layout;
    unsigned threads = 0;  ///< threads that read and pack files; 0 for one a processor
    /// Called after each file, with how many are done and how many are to be read in this run.
    std::function<void(std::int64_t done, std::int64_t total)> progress;
};

struct UnreadableFile {
    std::string path, reason;
};

struct IndexReport {
    std::int64_t files = 0;                  ///< files of the index after the run
    std::int64_t new_files = 0;              ///< of these, those that it did not hold before
    std::int64_t changed_files = 0;          ///< and those whose text was stored anew
    std::int64_t gone_files = 0;             ///< files that it held before and holds no more
    std::int64_t kept_on_disk = 0;           ///< files of the index whose text stays on disk
    std::int64_t binary_files = 0;           ///< binary files of the repository; not in the index
    std::vector<UnreadableFile> unreadable;  ///< not in the index, tried again by the next run
    std::vector<std::string> warnings;       ///< what else was left out or put off, a line each
    std::vector<schema::UpgradeStep> upgrade_steps;
};

/// Brings the index of the repository at `root` up to date, or makes one. An older index is
/// upgraded first. Searches go on meanwhile; each sees the state after one of the run's commits.
///
/// Throws std::runtime_error when another run is going on or git fails, std::invalid_argument for
/// another layout than the index has, schema::UnusableIndex, and DatabaseError or std::system_error
/// when the run cannot go on; what was committed until then stays, and the next run does the rest.
IndexReport index_repository(const std::filesystem::path& root, const IndexOptions& options = {});

/// Upgrades the index of the repository at `root`, which must have one, and nothing else. Returns
/// the steps taken; none for an index that is up to date. Throws as index_repository does.
std::vector<schema::UpgradeStep> upgrade_index(const std::filesystem::path& root);

}  // namespace codetext::indexer
