#pragma once

// The git repositories that decide which files of a tree are listed: the one that holds its root,
// and those inside of it. Each is asked for its own directories only.

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "indexer/listing/git_repository.hpp"

namespace codetext::indexer {

class Repositories {
  public:
    /// Finds the repository that holds `root`, which is canonical.
    explicit Repositories(std::filesystem::path root);

    /// Takes in the repository at `path` below the root, where a `.git` was seen. What is no
    /// repository is left out: its directories belong to the one around it.
    void add(const std::string& path);

    /// The directories outside of the tree's own ones in which something may change the listing:
    /// where git keeps the index and the excludes, and those above the root that may have a
    /// `.gitignore`.
    std::vector<std::filesystem::path> places() const;

    /// Those of `paths` (below the root, not empty) that no repository ignores, ascending. Where
    /// git cannot say, a path is not ignored. Throws std::system_error when git cannot be run.
    std::vector<std::string> without_ignored(std::vector<std::string> paths) const;

    /// Whether a git command is changing one of the repositories: it holds the lock of the index.
    /// A lock that is older than half a minute was left behind.
    bool is_git_at_work() const;

  private:
    const std::string& _owner_of(std::string_view path) const;

    std::filesystem::path _root;
    std::string _root_in_tree;  ///< the root in the work tree that holds it; empty, or "a/b/"
    /// By their paths below the root; "" is the one that holds the root.
    std::map<std::string, GitRepository, std::less<>> _repositories;
};

}  // namespace codetext::indexer
