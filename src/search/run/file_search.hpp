#pragma once

// The search of one file: which of its lines match, with the lines around them.
//
//   const search::Stats stats = search::search_file(
//       source, file, query, {.before = 2, .after = 2},
//       [&](const search::ResultLine& line) { show(line.number, line.text); });
//   if (stats.matched_lines > 0) show(file.path);

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <string_view>

#include "search/query/query.hpp"
#include "storage/code_text.hpp"

namespace codetext::search {

inline constexpr std::int64_t NO_LIMIT = std::numeric_limits<std::int64_t>::max();

/// What a search wants to know about a file.
struct FileWants {
    std::int64_t before = 0;              ///< context lines in front of a match
    std::int64_t after = 0;               ///< and after it
    std::int64_t max_matches = NO_LIMIT;  ///< matching lines after which the rest is not searched
    bool lines = true;                    ///< false: the number of matching lines is enough
    bool all_lines = false;               ///< also every line without a match, as context
    bool matches = false;                 ///< count them in Stats::matches, several on a line too
    bool offsets = false;                 ///< ResultLine::offset is wanted
    std::int64_t from_line = 1;           ///< a match on an earlier line is none
    const std::atomic<bool>* stop = nullptr;  ///< once it is set, the search throws SearchStopped
};

/// Ends a search whose stop flag is set.
struct SearchStopped {};

/// A line to show.
struct ResultLine {
    std::int64_t number;  ///< its number in the file, from 1
    /// Code points before the first match, a byte-order mark included; 0 for a line that an
    /// inverted query finds; -1 for a context line.
    std::int64_t column;
    std::string_view text;  ///< without the byte-order mark that the file may begin with
    /// Bytes from the beginning of the file's text to the line's: the text as it is searched, its
    /// lines joined by LF. That is the place in the file where the file is UTF-8 without a mark and
    /// its lines end with LF. Only where FileWants::offsets asks for it.
    std::int64_t offset = 0;
    bool is_match() const { return column >= 0; }
};

struct Stats {
    std::int64_t files_searched = 0;   ///< read from disk, or with candidates in the index
    std::int64_t files_from_disk = 0;  ///< of these, those whose text was read from disk
    std::int64_t files_with_match = 0;
    std::int64_t segments = 0;  ///< runs of lines that were searched: chunks, or files
    std::int64_t segments_without_match = 0;
    std::int64_t bytes_searched = 0;
    std::int64_t matched_lines = 0;
    std::int64_t matches = 0;        ///< several on a line too; where they were asked for or shown
    std::int64_t files_checked = 0;  ///< compared with the disk before anything of them was shown
    std::int64_t files_stale = 0;    ///< of these, changed or gone since they were indexed
    std::int64_t files_gone = 0;     ///< of these, gone
    std::int64_t files_refused = 0;  ///< by a FileCondition; they have no result
    std::int64_t elapsed_ns = 0;

    Stats& operator+=(const Stats& other);
};

/// Takes the lines to show of a file: matches and context, ascending by number, each line once. The
/// line's text is valid until the call returns. What it throws ends the search of the file.
using ShowLine = std::function<void(const ResultLine& line)>;

/// Searches one file, as if it had no byte-order mark at its start. Lines are shown as they are
/// found. `source` may be of any file before. Passes every failure of the index on.
Stats search_file(code_text::TextSource& source, const code_text::FileRow& file, const Query& query,
                  const FileWants& wants, const ShowLine& show);

}  // namespace codetext::search
