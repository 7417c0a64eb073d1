#pragma once

// A git directory of our own making, through which git sees the index, the objects and the excluded
// files of somebody's repository, and nothing else of it: not its configuration, which can make git
// run any program, and not its hooks.

#include <filesystem>
#include <string>
#include <vector>

#include "indexer/listing/git_repository.hpp"

namespace codetext::indexer {

class GitView {
  public:
    /// Makes the directory, among the system's temporary ones. Throws std::system_error when it
    /// cannot, std::runtime_error when git cannot say how the repository's objects are named.
    explicit GitView(const GitRepository& repository);
    ~GitView();
    GitView(const GitView&) = delete;
    GitView& operator=(const GitView&) = delete;

    /// The whole environment for a git that uses the view: this process's, without its GIT_
    /// variables but those that say where the user's own configuration lies.
    std::vector<std::string> environment() const;

  private:
    void _remove() const;
    void _fill(const GitRepository& repository);
    /// What the repository's configuration says about its format, in the view's configuration.
    void _set_object_format(const GitRepository& repository) const;

    std::filesystem::path _directory;
    std::vector<std::string> _links;      ///< names in it of links to parts of a split index
    std::vector<std::string> _locations;  ///< GIT_ variables
};

/// This process's environment for a git of ours that uses no repository.
std::vector<std::string> git_environment();

}  // namespace codetext::indexer
