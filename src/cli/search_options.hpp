#pragma once

// What the options of `search code` mean to the search, and to those who write its output.

#include "cli/search_arguments.hpp"
#include "cli/search_paths.hpp"
#include "cli/text_output.hpp"
#include "search/query/query.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

/// What lines must match. REQUIRES: the patterns are settled.
search::QueryOptions query_options(const SearchArguments& arguments);

/// The search, without files that the index lacks. Throws UsageError and std::invalid_argument for
/// patterns, globs and types that mean nothing.
search::SearchOptions search_options(const SearchArguments& arguments, const SearchPaths& paths);

/// The form of text output, without what it must be told later: query, paths, replacement, links.
/// Throws std::invalid_argument for a setting of colors that means nothing.
TextFormat text_format(const SearchArguments& arguments, bool is_terminal);

}  // namespace codetext::cli
