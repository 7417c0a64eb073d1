#pragma once

// What `search code --fresh` does before it searches.

#include <filesystem>

#include "storage/index_directory.hpp"

namespace codetext::cli {

/// Brings the index of the repository at `root` up to date with all that was written before the
/// call: a watcher does it, or else this process. Prints nothing. While another run of the indexer
/// is going on it waits, for a minute at most. Throws std::runtime_error when it cannot be done, or
/// there is no index yet.
void make_fresh(const std::filesystem::path& root, schema::Owners owners);

}  // namespace codetext::cli
