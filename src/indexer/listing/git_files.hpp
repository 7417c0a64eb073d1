#pragma once

// Which files git names in a work tree: those that it tracks, and those that it neither tracks nor
// ignores; and which of some paths it ignores. git itself is asked, so its ignore rules hold
// exactly. Nothing here looks at the files.

#include <filesystem>
#include <string>
#include <vector>

namespace codetext::indexer {

struct GitPaths {
    /// Relative to the directory, with "/", ascending. A repository inside (a submodule, or one
    /// that git does not track) is one path, without a final "/". A path in a merge conflict is
    /// there once for each of its versions.
    std::vector<std::string> paths;
    std::vector<std::string> warnings;  ///< what git complained about, one line each
};

/// The paths that git names below `directory`, in the work tree whose root is `root`. git sees the
/// repository's index, objects and ignore rules only (GitView), so nothing in the repository makes
/// it run a program or fetch anything. Throws std::runtime_error with git's own message when git
/// fails or refuses another user's repository, std::system_error when git cannot be run.
GitPaths git_paths(const std::filesystem::path& root, const std::filesystem::path& directory);

/// Those of `paths`, relative to the work tree whose root is `root`, that git ignores and does not
/// track. None where git cannot say. Throws std::system_error when git cannot be run.
std::vector<std::string> git_ignored(const std::filesystem::path& root,
                                     const std::vector<std::string>& paths);

}  // namespace codetext::indexer
