#pragma once

// What a search says about itself at its end: for people (--stats, --explain) and in JSON.

#include <cstdint>
#include <optional>
#include <string>

#include "search/files/coverage.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

struct SearchSummary {
    const search::SearchResult* result;
    std::int64_t elapsed_ns = 0;                              ///< of the whole search
    std::int64_t bytes_printed = 0;                           ///< before the summary
    bool is_cut = false;                                      ///< there is more than was printed
    std::optional<search::Coverage> coverage = std::nullopt;  ///< none where the index is damaged
    /// When the last run of the indexer came to its end, in nanoseconds since the epoch, if known.
    std::optional<std::int64_t> indexed_at_ns = std::nullopt;
};

/// Some lines for people.
std::string stats_text(const SearchSummary& summary);

/// The steps of the search with their times, after what the query means; some lines for people.
std::string explanation(const search::Query& query, const SearchSummary& summary);

}  // namespace codetext::cli
