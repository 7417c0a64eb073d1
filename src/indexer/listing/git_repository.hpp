#pragma once

// Where a git repository keeps its data, found without asking git. See
// https://git-scm.com/docs/gitrepository-layout.

#include <filesystem>
#include <optional>

namespace codetext::indexer {

struct GitRepository {
    std::filesystem::path work_tree;
    std::filesystem::path git_directory;     ///< its own HEAD and index
    std::filesystem::path common_directory;  ///< shared with its other work trees: objects, config
};

/// Whether `directory` is the root of a git repository: it has a `.git` directory with a HEAD, or a
/// `.git` file, which names a repository elsewhere (a linked work tree, a submodule).
bool is_git_root(const std::filesystem::path& directory);

/// The nearest directory that is a git root: `directory` itself or one above it.
std::optional<std::filesystem::path> git_root_above(const std::filesystem::path& directory);

/// The repository whose root is `work_tree`. Throws std::runtime_error when what its `.git` names
/// is no repository, std::system_error when it cannot be read.
GitRepository open_git_repository(const std::filesystem::path& work_tree);

/// Whether this user owns the work tree, its `.git` and the repository, as git understands it: with
/// sudo, the user who called it counts too.
bool is_owned_by_user(const GitRepository& repository);

}  // namespace codetext::indexer
