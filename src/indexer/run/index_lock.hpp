#pragma once

// Keeps two runs that write one index apart. Searches take no lock: they read a snapshot.
//
//   const IndexLock lock(root);   // held until it goes out of scope, or the process ends

#include <filesystem>

#include "utils/descriptor.hpp"

namespace codetext::indexer {

class IndexLock {
  public:
    /// Makes the index's directory where there is none. Throws std::runtime_error when another run
    /// holds the lock, std::system_error when the directory or the lock file cannot be made.
    explicit IndexLock(const std::filesystem::path& root);

  private:
    Descriptor _file;
};

}  // namespace codetext::indexer
