#pragma once

// What runs of the indexer have in common. Private to this room.

#include <filesystem>

#include "indexer/run/index_run.hpp"

namespace codetext::indexer {

/// As index_repository. REQUIRES: an IndexLock on the index of `root`.
IndexReport index_under_lock(const std::filesystem::path& root, const IndexOptions& options);

/// The threads that read files: `wanted`, or one for each processor where that is 0.
unsigned thread_count(unsigned wanted);

/// Throws std::runtime_error for an index without a layout.
chunk_store::Layout layout_of(const Database& db);

}  // namespace codetext::indexer
