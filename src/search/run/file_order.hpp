#pragma once

// Files in another order than that of their paths. Private to search.

#include <vector>

#include "search/run/search_run.hpp"
#include "search/run/tree_reader.hpp"

namespace codetext::search {

/// Sorts files, which come in the order of their paths: by their times on disk, where files whose
/// time nobody knows come first and files of one time in the order of their paths; or backwards.
void sort_files(std::vector<code_text::FileRow>& files, FileOrder order, TreeReader::Stamps stamps);

}  // namespace codetext::search
