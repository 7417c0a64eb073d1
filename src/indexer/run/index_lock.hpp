#pragma once

// Keeps two runs from writing the same index. Searches take no lock: they read a snapshot.

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>

#include "indexer/run/lock_holder.hpp"
#include "storage/index_directory.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

/// Another run is going on.
class IndexBusy : public std::runtime_error {
  public:
    IndexBusy(const std::filesystem::path& root, std::optional<LockHolder> holder);
    /// Who works on the index, as far as that can be told.
    const std::optional<LockHolder>& holder() const { return _holder; }

  private:
    std::optional<LockHolder> _holder;
};

/// How a run takes the lock.
struct LockOptions {
    schema::Owners owners = schema::Owners::TRUSTED;  ///< of an index that is there
    Work work = Work::INDEX;                          ///< what others are told that it does
    /// Called again and again while another run holds the lock: waits for a moment, and returns
    /// whether to go on waiting. Without it nobody waits.
    std::function<bool(const IndexBusy&)> wait = {};
};

class IndexLock {
  public:
    /// Makes the directory of the index when it is missing. Throws IndexBusy when another run holds
    /// the lock and is not waited for, std::system_error when the lock file cannot be made, and
    /// what schema::make_index_directory and `wait` throw.
    explicit IndexLock(const std::filesystem::path& root, const LockOptions& options = {});

  private:
    Descriptor _file;
};

}  // namespace codetext::indexer
