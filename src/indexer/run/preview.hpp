#pragma once

// What a run would do, without doing it: nothing is written and no lock is taken.
//
//   const PendingChanges changes = pending_changes(db, root);
//   print(changes.new_files.size(), changes.changed.size(), changes.gone.size());

#include <filesystem>
#include <string>
#include <vector>

#include "storage/database.hpp"

namespace codetext::indexer {

/// Paths ascend.
struct PendingChanges {
    std::vector<std::string> new_files;  ///< searched after a run, and not in the index now
    std::vector<std::string> changed;    ///< of the index, with another text
    std::vector<std::string> gone;       ///< of the index; gone, binary now, or not to be read
    std::vector<std::string> warnings;   ///< as IndexReport has them
    bool is_older = false;  ///< an index to be upgraded first; the files were not compared then

    bool none() const { return !is_older && new_files.empty() && changed.empty() && gone.empty(); }
};

/// Compares the files of the repository at `root` with its index `db`. Files whose stamps differ
/// are read: one with its old text is not changed, and what is binary is not new. Throws as
/// index_repository does.
PendingChanges pending_changes(Database& db, const std::filesystem::path& root);

}  // namespace codetext::indexer
