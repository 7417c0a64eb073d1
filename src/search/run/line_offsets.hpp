#pragma once

// Where lines begin in the text of their file. Private to search.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "storage/code_text/segment.hpp"

namespace codetext::search {

/// Answers for lines in order, so that each text is walked once.
class LineOffsets {
  public:
    /// `segments` are runs of the file's lines.
    explicit LineOffsets(code_text::SegmentList segments) : _segments(std::move(segments)) {}

    /// Bytes in front of the line with this number (from 1, not less than that of the call before),
    /// in the file's lines joined by LF. `whole_file` gives all lines; it is called where the
    /// segments do not follow one another from line 1 to that line.
    std::int64_t of(std::int64_t number, const std::function<code_text::Lines()>& whole_file);

  private:
    bool _is_in_segment(std::int64_t number) const;
    std::int64_t _line_after_segment() const;
    bool _go_to_next_segment();
    void _go_to_whole_file(const std::function<code_text::Lines()>& whole_file);

    code_text::SegmentList _segments;
    std::size_t _segment = 0;  ///< the one that is walked
    code_text::Lines _file;    ///< or, once that is not enough, the whole file
    bool _walks_file = false;
    std::int64_t _line = 1;               ///< begins at _bytes of what is walked
    std::size_t _bytes = 0, _before = 0;  ///< and so many bytes are in front of that
};

}  // namespace codetext::search
