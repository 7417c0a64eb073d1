#pragma once

// The files that a search reads from disk although the index lacks them: those that the command
// line names, and binary ones where they are to be searched too.

#include <string>
#include <vector>

#include "cli/search_paths.hpp"
#include "search/files/file_selection.hpp"
#include "storage/database.hpp"

namespace codetext::cli {

struct UnindexedFiles {
    std::vector<code_text::FileRow> files;  ///< as search::SearchOptions::unindexed wants them
    std::vector<std::string> problems;      ///< why something named is not searched, a line each
};

/// `reads_disk` is false where the index alone is to answer. Throws DatabaseError.
UnindexedFiles unindexed_files(const Database& db, const SearchPaths& paths,
                               const search::FileFilter& filter, bool reads_disk,
                               bool binary_as_text);

}  // namespace codetext::cli
