#pragma once

// Search results as JSON, one object a line, in the shape that ripgrep's --json made common:
// `begin`, `match`, `context` and `end` for each file with a match, a `summary` at the end.
//
// A match carries two things that ripgrep's does not: `column`, code points from 0 to the first
// match (in the line's lower-case form where the search ignores the case of a needle); and the
// summary `source` and `reason`. It does not carry `absolute_offset`: the index knows the lines of
// a file, not how many bytes ended each.

#include <optional>
#include <string>

#include "cli/search_paths.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

/// Appends the objects for one file with a match; returns the number of matches that it wrote.
std::int64_t render_json(const search::FileResult& result, const search::Query& query,
                         const SearchPaths& paths, std::string& out);

/// The summary line. `elapsed_ns` is the time that the whole search took.
std::string json_summary(const search::SearchResult& result, std::int64_t elapsed_ns,
                         std::int64_t bytes_printed);

}  // namespace codetext::cli
