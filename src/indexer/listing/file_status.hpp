#pragma once

// What the file system says about many paths of one tree. No symbolic link is followed anywhere
// below the root: a path that leads through one leads to no file.

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "indexer/listing/file_entry.hpp"

namespace codetext::indexer {

struct PathStatuses {
    std::vector<FileEntry> files;          ///< the regular files, in the order of the paths
    std::vector<std::string> directories;  ///< the directories, likewise
    std::vector<std::string> warnings;     ///< paths that could not be looked at, and why
};

/// Looks at each of `paths`, ascending and relative to `root`, with `threads` threads. A path that
/// leads to neither a regular file nor a directory is left out.
/// Throws std::system_error when `root` cannot be opened.
PathStatuses look_at_paths(const std::filesystem::path& root, std::span<const std::string> paths,
                           unsigned threads);

}  // namespace codetext::indexer
