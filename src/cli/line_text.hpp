#pragma once

// The text of a line as the output shows it: with colors, with replaced matches, without its
// indentation, or as a window about a match. It is made piece by piece, so that no line, however
// long, stands in memory a second time.

#include <cstdint>
#include <optional>
#include <string_view>

#include "cli/color.hpp"
#include "search/query/query.hpp"
#include "search/query/replacement.hpp"
#include "search/run/output_buffer.hpp"

namespace codetext::cli {

struct LineFormat {
    const search::Query* query = nullptr;
    const search::Replacement* replacement = nullptr;  ///< none: matches are shown as they are
    Colors colors = {};
    bool to_terminal = false;     ///< texts are escaped
    bool trim = false;            ///< without the white space that the line begins with
    std::int64_t most_bytes = 0;  ///< of a line; a longer one is cut; 0: none is
};

/// Appends the line, which has a match or not. Where it is cut, what is left is about `focus`, or
/// about its first match; CUT_MARK stands for each end that is missing.
void append_line(search::OutputBuffer& out, const LineFormat& format, std::string_view line,
                 bool is_match, std::optional<search::MatchSpan> focus);

/// Appends one match of the line, or what replaces it.
void append_match(search::OutputBuffer& out, const LineFormat& format, std::string_view line,
                  search::MatchSpan span);

inline constexpr std::string_view CUT_MARK = "[...]";

}  // namespace codetext::cli
