#pragma once

// Which files git names in a work tree: those that it tracks, and those that it neither tracks nor
// ignores. git itself is asked, so that its ignore rules hold to the letter. Nothing here looks at
// the files.
//
//   if (in_git_work_tree(root)) {
//       for (const std::string& path : git_paths(root).paths) look_at(path);
//   }

#include <filesystem>
#include <string>
#include <vector>

namespace codetext::indexer {

/// Whether `directory` holds a git repository of its own: a `.git` directory with a HEAD, or a
/// `.git` file, which stands for a repository that lies elsewhere (a linked work tree, a
/// submodule).
bool is_git_root(const std::filesystem::path& directory);

/// Whether `directory` or one above it is a git root.
bool in_git_work_tree(const std::filesystem::path& directory);

struct GitPaths {
    /// Relative to the directory asked about, with "/", ascending. A repository inside (a
    /// submodule, or one that git does not track) stands for its files, without a final "/". A path
    /// in the middle of a merge conflict is there once for each of its versions.
    std::vector<std::string> paths;
    std::vector<std::string> warnings;  ///< what git complained about, one line each
};

/// The paths that git names below `directory`. git's hooks and file-system monitor are switched
/// off, and of the environment's GIT_ variables only those that say where its configuration lies
/// reach it, so that none points it at another repository. Throws std::runtime_error with git's own
/// message when git fails, std::system_error when it cannot be run.
GitPaths git_paths(const std::filesystem::path& directory);

}  // namespace codetext::indexer
