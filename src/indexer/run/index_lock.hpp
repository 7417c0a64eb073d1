#pragma once

// Keeps two runs from writing the same index. Searches take no lock: they read a snapshot.

#include <filesystem>

#include "utils/descriptor.hpp"

namespace codetext::indexer {

class IndexLock {
  public:
    /// Makes the directory of the index when it is missing. Throws std::runtime_error when another
    /// run holds the lock, std::system_error when the directory or the lock file cannot be made.
    explicit IndexLock(const std::filesystem::path& root);

  private:
    Descriptor _file;
};

}  // namespace codetext::indexer
