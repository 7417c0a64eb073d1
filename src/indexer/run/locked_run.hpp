#pragma once

// A run of the indexer inside of a lock that the caller holds. Private to this room.

#include <filesystem>

#include "indexer/run/index_run.hpp"

namespace codetext::indexer {

/// As index_repository. REQUIRES: an IndexLock on the index of `root`.
IndexReport index_under_lock(const std::filesystem::path& root, const IndexOptions& options);

}  // namespace codetext::indexer
