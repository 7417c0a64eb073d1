#pragma once

// Which index a command uses, and which others are near it. A directory may lie in several
// repositories that have one: the nearest answers, unless the user says otherwise.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/repository_arguments.hpp"
#include "storage/index_directory.hpp"

namespace codetext::cli {

/// What every command takes. Files and the environment set none of it.
struct WhichIndex {
    std::vector<std::string> roots;  ///< of --root; the last one counts
    bool any_owner = false;          ///< an index that another user owns is used too
    bool no_config = false;          ///< neither files nor the environment set a default

    schema::Owners owners() const;
    /// The directory of --root, absolute and without symbolic links; nothing where none was given.
    /// Throws std::system_error when it does not exist or is no directory.
    std::optional<std::filesystem::path> root() const;
    /// That directory, else the root of the repository that holds the command's directory. Throws
    /// std::invalid_argument when the command's directory lies outside of it, and as find_root.
    std::filesystem::path root_for(const RepositoryArguments& arguments) const;
};

/// The directories above `root`, nearest first, that have an index.
std::vector<std::filesystem::path> roots_above(const std::filesystem::path& root);

/// Where a user may think that another index than that of `root` answers a search of the paths
/// `searched` below it: one line that says which does. That is so when a path has a nearer index,
/// and when `root` lies in a git work tree whose root has one too.
std::optional<std::string> who_answers(const std::filesystem::path& root,
                                       const std::vector<std::string>& searched);

}  // namespace codetext::cli
