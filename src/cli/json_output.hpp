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
// The summary also has `source` and `reason`; `from_disk`, files whose text was read from disk, and
// `unreadable`, those that could not be read; `truncated`: there is more than was printed;
// `checked` and `stale`: files that were compared with the disk before they were shown, and how
// many of them had changed or gone; `coverage`, numbers of files below the searched paths: `files`
// in the index, of these `left_out` by globs, types or depth, and `binary` and `unreadable` ones
// that are not in it; `indexed_at`: when the last run of the indexer came to its end, in UTC, or
// null.
//
// `absolute_offset` is the place of the line in the file, in bytes from 0, where the file is UTF-8
// without a mark and its lines end with LF alone; elsewhere in the text as it is searched: decoded,
// without a mark, its lines joined by LF.

#include <memory>
#include <string>

#include "cli/search_paths.hpp"
#include "cli/search_summary.hpp"
#include "search/query/replacement.hpp"
#include "search/run/search_run.hpp"

namespace codetext::cli {

/// Writes the objects for each file with a match, with what replaces each match where there is a
/// replacement. The search must ask for FileWants::offsets. What it is given must outlive it.
std::unique_ptr<search::Renderer> make_json_renderer(const search::Query& query,
                                                     const SearchPaths& paths,
                                                     const search::Replacement* replacement);

/// The summary line.
std::string json_summary(const SearchSummary& summary);

}  // namespace codetext::cli
