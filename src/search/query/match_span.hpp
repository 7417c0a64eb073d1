#pragma once

// Where on a line a query matches, for columns and highlighting.
//
//   search::each_needle_span(line, "x =", true, [&](search::MatchSpan span) {
//       mark(span.start, span.end);
//       return true;
//   });

#include <cstddef>
#include <functional>
#include <string_view>

namespace codetext::search {

/// A part of a line as byte offsets from 0, half-open. Both ends are where a code point begins or
/// the line ends.
struct MatchSpan {
    std::size_t start, end;
    friend bool operator==(const MatchSpan&, const MatchSpan&) = default;
};

/// Takes one span after the other, leftmost first; false ends the walk.
using VisitSpan = std::function<bool(MatchSpan span)>;

/// Every occurrence of `needle` on `line` that does not overlap the one before it. The empty needle
/// occurs once before each code point and at the end.
///
/// Unless `case_sensitive`, `needle` must be lower-cased, and the line is compared in its
/// lower-case form. The spans are those of the line itself: one that begins or ends inside the
/// lower-case form of one code point takes in the whole code point.
void each_needle_span(std::string_view line, std::string_view needle, bool case_sensitive,
                      const VisitSpan& visit);

/// The span with the whole code point that it begins or ends in, for a pattern that takes bytes
/// apart (RE2's \C).
MatchSpan whole_code_points(std::string_view text, MatchSpan span);

/// The offset of the code point after the one that begins at `offset_bytes`, or one past the end of
/// `text` when none does.
std::size_t next_code_point(std::string_view text, std::size_t offset_bytes);

}  // namespace codetext::search
