#pragma once

// A watcher holds a lock on a file in the directory of the index as long as it lives, so that an
// index has one watcher at most, and a search can tell whether there is one. The file's first byte
// says whether the watcher is busy with a run, and so answers late; the rest says who it is.
//
//   if (WatcherSight(root, schema::Owners::TRUSTED).lives()) show("somebody watches");

#include <filesystem>
#include <optional>

#include "indexer/run/lock_holder.hpp"
#include "storage/index_directory.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

class WatcherLock {
  public:
    /// Makes the directory of the index when it is missing. Throws std::runtime_error when another
    /// watcher holds the lock, schema::UnusableIndex when the file is not a regular file of its
    /// own, std::system_error when it cannot be made, and what schema::make_index_directory throws.
    WatcherLock(const std::filesystem::path& root, schema::Owners owners);

    void set_busy(bool is_busy) const;
    /// Whether the lock is still that of the index: nobody has moved or removed its directory.
    bool is_in_place() const;

  private:
    std::filesystem::path _root;
    schema::Owners _owners;
    Descriptor _file;
};

/// What another process sees of the watcher of an index.
class WatcherSight {
  public:
    /// Sees no watcher where there is no such file. Throws what schema::open_index_directory
    /// throws.
    WatcherSight(const std::filesystem::path& root, schema::Owners owners);

    bool lives() const;
    bool is_busy() const;
    /// Who it is, as read_holder reads it. REQUIRES: lives().
    std::optional<LockHolder> holder() const;

  private:
    Descriptor _file;
};

}  // namespace codetext::indexer
