#pragma once

// Keeps two runs from writing the same index. Searches take no lock: they read a snapshot.

#include <filesystem>

#include "storage/index_directory.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

class IndexLock {
  public:
    /// Makes the directory of the index when it is missing. Throws IndexBusy when another
    /// run holds the lock, std::system_error when the lock file cannot be made, and what
    /// schema::make_index_directory throws.
    explicit IndexLock(const std::filesystem::path& root,
                       schema::Owners owners = schema::Owners::TRUSTED);

  private:
    Descriptor _file;
};

}  // namespace codetext::indexer
