#pragma once

// What the file system says about many paths of one tree. No symbolic link is followed anywhere
// below the root: a path that leads through one leads to no file.

#include <span>
#include <string>
#include <vector>

#include "indexer/listing/file_entry.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

struct PathStatuses {
    std::vector<FileEntry> files;          ///< the regular files, in the order of the paths
    std::vector<std::string> directories;  ///< the directories, likewise
    std::vector<std::string> warnings;     ///< paths that could not be looked at, and why
};

/// Looks at each of `paths`, ascending and relative to the directory `root`, with `threads`
/// threads. A path that leads to neither a regular file nor a directory is left out, and so, with a
/// warning, is one that is_path_below refuses. Throws std::system_error when the machine fails
/// (is_machine_failure).
PathStatuses look_at_paths(const Descriptor& root, std::span<const std::string> paths,
                           unsigned threads);

}  // namespace codetext::indexer
