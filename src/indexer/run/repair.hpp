#pragma once

// Mending a damaged index from the files on disk.
//
//   const RepairReport report = repair_index(root);
//   for (const std::string& problem : report.problems) print(problem);

#include <filesystem>
#include <string>
#include <vector>

#include "indexer/run/index_run.hpp"

namespace codetext::indexer {

enum class Mended {
    NOTHING,  ///< the index was whole
    FILES,    ///< the files whose rows were wrong were read again
    INDEX,    ///< the index was made anew
};

struct RepairReport {
    std::vector<std::string> problems;  ///< what was wrong, a line each
    Mended mended = Mended::NOTHING;
    IndexReport index;  ///< of the run that read the files; empty for a whole index
};

/// Finds out what is wrong with the index of the repository at `root`, and rebuilds that from the
/// files on disk. Where more than rows of files is wrong (pages that do not match their checksums,
/// a trigram index that is not whole), no row can be relied on, and the index is made anew, in the
/// layout of `options`. Throws as index_repository does, and schema::UnusableIndex when there is
/// something else than an index.
RepairReport repair_index(const std::filesystem::path& root, const IndexOptions& options = {});

}  // namespace codetext::indexer
