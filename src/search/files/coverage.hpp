#pragma once

// How much of a repository a search looks at.
//
//   const search::Coverage coverage = search::coverage_of(db, filter);
//   use(coverage.files - coverage.left_out);

#include <cstdint>

#include "search/files/file_selection.hpp"
#include "storage/database.hpp"

namespace codetext::search {

/// Numbers of files below the searched paths.
struct Coverage {
    std::int64_t files = 0;       ///< in the index
    std::int64_t left_out = 0;    ///< of these, by globs, types or depth
    std::int64_t binary = 0;      ///< not in the index: the last run found them binary
    std::int64_t unreadable = 0;  ///< not in the index: the last run could not read them
};

/// Reads a row for each file, unless the filter lets all files pass: then it takes a millisecond
/// for a hundred thousand files.
Coverage coverage_of(const Database& db, const FileFilter& filter);

}  // namespace codetext::search
