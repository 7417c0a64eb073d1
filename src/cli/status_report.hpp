#pragma once

// What `codetext status` knows of an index, apart from lists; and its form for programs.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "indexer/run/lock_holder.hpp"
#include "indexer/run/preview.hpp"
#include "indexer/status.hpp"
#include "storage/index_directory.hpp"

namespace codetext::cli {

struct StatusReport {
    std::filesystem::path index;
    std::vector<std::filesystem::path> above;  ///< indexes of directories above, nearest first
    indexer::IndexStatus status;
    std::optional<std::int64_t> indexed_at_ns;
    bool is_watched = false;
    std::optional<indexer::LockHolder> watcher;
    std::optional<indexer::PendingChanges> pending;  ///< where --check asked for it
};

/// Asks everything but `pending`. Throws what its sources throw.
StatusReport status_report(const Database& db, const std::filesystem::path& root,
                           schema::Owners owners);

/// The report, the languages and the files that are not searched as one JSON object on one line.
/// Text that is not UTF-8 has U+FFFD in its place. Times are in UTC; null stands for what is not
/// known, or was not asked for.
std::string status_json(const StatusReport& report, const Database& db);

}  // namespace codetext::cli
