#pragma once

// Where on a line a query matches, for columns and highlighting.
//
//   for (search::MatchSpan span : search::needle_spans(line, "x =", true))
//       mark(span.start, span.end);

#include <cstddef>
#include <string_view>
#include <vector>

namespace codetext::search {

/// A part of a line as byte offsets from 0, half-open. Both ends are where a code point begins or
/// the line ends.
struct MatchSpan {
    std::size_t start, end;
    friend bool operator==(const MatchSpan&, const MatchSpan&) = default;
};

/// Every occurrence of `needle` on `line` that does not overlap the one before it, leftmost first.
/// The empty needle occurs once before each code point and at the end.
///
/// Unless `case_sensitive`, `needle` must be lower-cased, and the line is compared in its
/// lower-case form. The spans are those of the line itself: one that begins or ends inside the
/// lower-case form of one code point takes in the whole code point.
std::vector<MatchSpan> needle_spans(std::string_view line, std::string_view needle,
                                    bool case_sensitive);

/// The span with the whole code point that it begins or ends in, for a pattern that takes bytes
/// apart (RE2's \C).
MatchSpan whole_code_points(std::string_view text, MatchSpan span);

/// The offset of the code point after the one that begins at `offset_bytes`, or one past the end of
/// `text` when none does.
std::size_t next_code_point(std::string_view text, std::size_t offset_bytes);

}  // namespace codetext::search
