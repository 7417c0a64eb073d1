#pragma once

// The search of one batch of files, on a thread a core. Private to search.

#include <optional>
#include <vector>

#include "search/run/search_batches.hpp"
#include "search/run/search_run.hpp"
#include "search/run/tree_reader.hpp"

namespace codetext::search {

/// Searches the files of the batch and adds to `result` what they give, after what earlier batches
/// gave. False when the search is at its end. Failures are those of run_search.
bool search_batch(const SearchOptions& options, const MakeRenderer& make_renderer,
                  const TreeReader& reader, SearchBatch batch, const Emit& emit,
                  SearchResult& result);

}  // namespace codetext::search
