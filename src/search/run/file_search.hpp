#pragma once

// The search of one file: which of its lines match, with the lines around them.
//
//   search::FileResult result;
//   search::search_file(source, file, query, {.before = 2, .after = 2}, result);
//   for (const search::ResultLine& line : result.lines) show(line.number, line.text);

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "search/query/query.hpp"
#include "storage/code_text.hpp"

namespace codetext::search {

inline constexpr std::int64_t NO_LIMIT = std::numeric_limits<std::int64_t>::max();

/// What a search wants to know about a file.
struct FileWants {
    std::int64_t before = 0;              ///< context lines in front of a match
    std::int64_t after = 0;               ///< and after it
    std::int64_t max_matches = NO_LIMIT;  ///< matching lines after which the rest is not searched
    bool lines = true;                    ///< false: the number of matches is enough
};

/// A line to show. Its text lives as long as the FileResult is not used for another file.
struct ResultLine {
    std::int64_t number;  ///< its number in the file, from 1
    /// Code points before the first match, a byte-order mark included; -1 for a context line.
    std::int64_t column;
    std::string_view text;  ///< without the byte-order mark that the file may begin with
    bool is_match() const { return column >= 0; }
};

struct Stats {
    std::int64_t files_searched = 0;  ///< read from disk, or with candidates in the index
    std::int64_t files_with_match = 0;
    std::int64_t segments = 0;  ///< runs of lines that were searched: chunks, or files
    std::int64_t segments_without_match = 0;
    std::int64_t bytes_searched = 0;
    std::int64_t matched_lines = 0;
    std::int64_t matches = 0;  ///< several on a line too; counted by an output that shows each
    std::int64_t elapsed_ns = 0;

    Stats& operator+=(const Stats& other);
};

/// What the search of one file found. It can be used for one file after the other.
struct FileResult {
    const code_text::FileRow* file = nullptr;
    std::vector<ResultLine> lines;  ///< matches and context, ascending by number, each line once
    Stats stats;                    ///< of this file alone

    /// What keeps the text of `lines`.
    code_text::SegmentList segments;
    code_text::Lines all_lines;
};

/// Searches one file, as if it had no byte-order mark at its start. `source` may be of any file
/// before; `file` must outlive the result's use. `begin` is called before any text is unpacked,
/// with the bytes that all would take. Passes every failure of the index on.
void search_file(code_text::TextSource& source, const code_text::FileRow& file, const Query& query,
                 const FileWants& wants, FileResult& result,
                 const std::function<void(std::size_t text_bytes)>& begin = nullptr);

}  // namespace codetext::search
