#pragma once

// The files that a search would look at.

#include <vector>

#include "search/run/search_run.hpp"

namespace codetext::search {

/// Those files of the index that the filter selects and that are there, and the unindexed ones, in
/// the order that the options name. The query is not looked at. Failures are those of run_search.
std::vector<code_text::FileRow> listed_files(Database& db, const SearchOptions& options);

}  // namespace codetext::search
