#pragma once

// Numbered context lines, cut out of a run of lines of one file.
//
//   auto around = code_text::context(lines, match_line - 2, match_line + 2);

#include <cstdint>
#include <string_view>
#include <vector>

#include "storage/code_text/segment.hpp"

namespace codetext::code_text {

struct ContextLine {
    std::int64_t line;         ///< its number in the file, from 1
    std::string_view content;  ///< without its boundary; valid as long as the lines it is cut from
    friend bool operator==(const ContextLine&, const ContextLine&) = default;
};

/// The lines numbered `first` to `last` (inclusive), clipped to the lines there are; `start` is the
/// number of the first of `lines`. A range that holds none of them gives none.
///
/// The cost is that of the lines returned, and of finding where the lines before them begin, which
/// the list remembers for the next call: 10 ns a line, once. Lines after `last` cost nothing.
std::vector<ContextLine> context(const Lines& lines, std::int64_t first, std::int64_t last,
                                 std::int64_t start = 1);

}  // namespace codetext::code_text
