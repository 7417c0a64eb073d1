#pragma once

// Search results as JSON, one object on each line, in the shape of ripgrep's --json: `begin`,
// `match`, `context` and `end` for each file with a match, and a `summary` at the end.
//
// Bytes of a file that are not valid UTF-8 are written as U+FFFD (3 bytes). `start` and `end` of a
// submatch are byte offsets, from 0, into the line as it is written here. --column and --vimgrep
// count the same bytes, from 1.
//
// Differences to ripgrep: a match also has `column`, the number of code points before the first
// submatch in the text of the index (in the line's lower-case form when the search ignores case and
// looks for plain text). That text has the byte-order mark of a file, which is not written here.
// The summary also has `source` and `reason`, `unreadable`, and `checked` and `stale`: files that
// were compared with the disk before they were shown, and how many of them had changed or gone.
// There is no `absolute_offset`, because the index does not know how many bytes ended each line.

#include <memory>
#include <string>

#include "cli/search_paths.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

/// Writes the objects for each file with a match. The query and the paths must outlive it.
std::unique_ptr<search::Renderer> make_json_renderer(const search::Query& query,
                                                     const SearchPaths& paths);

/// The summary line. `elapsed_ns` is the time of the whole search.
std::string json_summary(const search::SearchResult& result, std::int64_t elapsed_ns,
                         std::int64_t bytes_printed);

}  // namespace codetext::cli
