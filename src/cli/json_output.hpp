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
// The summary also has `source` and `reason`, `unreadable`, `truncated`, and `checked` and `stale`:
// files that were compared with the disk before they were shown, and how many of them had changed
// or gone.
//
// `absolute_offset` is the place of the line in the file, in bytes from 0, where the file is UTF-8
// without a mark and its lines end with LF alone; elsewhere in the text as it is searched: decoded,
// without a mark, its lines joined by LF.

#include <memory>
#include <string>

#include "cli/search_paths.hpp"
#include "search/query/replacement.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

/// Writes the objects for each file with a match, with what replaces each match where there is a
/// replacement. The search must ask for FileWants::offsets. What it is given must outlive it.
std::unique_ptr<search::Renderer> make_json_renderer(const search::Query& query,
                                                     const SearchPaths& paths,
                                                     const search::Replacement* replacement);

/// The summary line. `elapsed_ns` is the time of the whole search; `is_cut` says that there is more
/// than was printed.
std::string json_summary(const search::SearchResult& result, std::int64_t elapsed_ns,
                         std::int64_t bytes_printed, bool is_cut);

}  // namespace codetext::cli
