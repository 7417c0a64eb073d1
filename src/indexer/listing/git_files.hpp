#pragma once

// Which files git names in a work tree: those that it tracks, and those that it neither tracks nor
// ignores. git itself is asked, so its ignore rules hold exactly. Nothing here looks at the files.

#include <filesystem>
#include <string>
#include <vector>

namespace codetext::indexer {

/// Whether `directory` is the root of a git repository: it has a `.git` directory with a HEAD, or a
/// `.git` file, which names a repository elsewhere (a linked work tree, a submodule).
bool is_git_root(const std::filesystem::path& directory);

/// Whether `directory` or one above it is a git root.
bool in_git_work_tree(const std::filesystem::path& directory);

struct GitPaths {
    /// Relative to the directory, with "/", ascending. A repository inside (a submodule, or one
    /// that git does not track) is one path, without a final "/". A path in a merge conflict is
    /// there once for each of its versions.
    std::vector<std::string> paths;
    std::vector<std::string> warnings;  ///< what git complained about, one line each
};

/// The paths that git names below `directory`. git's hooks and file-system monitor are switched
/// off. Of the environment's GIT_ variables only those that say where git's configuration lies are
/// passed on, so that none leads to another repository. Throws std::runtime_error with git's own
/// message when git fails, std::system_error when git cannot be run.
GitPaths git_paths(const std::filesystem::path& directory);

}  // namespace codetext::indexer
