// A common needle is in all chunks of a file, and its segments follow one another: the offset of a
// line is counted in them. A rare one is in some chunk in the middle, and nothing tells how many
// bytes are in front of it: the whole file is read.

#include "search/run/line_offsets.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace codetext::search {

std::int64_t LineOffsets::of(std::int64_t number,
                             const std::function<code_text::Lines()>& whole_file) {
    while (!_walks_file && !_is_in_segment(number)) {
        if (!_go_to_next_segment()) _go_to_whole_file(whole_file);
    }
    const std::string_view text = _walks_file ? _file.text() : _segments[_segment].lines.text();
    while (_line < number && _bytes < text.size()) {
        _bytes = std::min(text.find('\n', _bytes), text.size() - 1) + 1;
        ++_line;
    }
    return static_cast<std::int64_t>(_before + _bytes);
}

bool LineOffsets::_is_in_segment(std::int64_t number) const {
    return _segment < _segments.size() && _segments[_segment].first <= _line &&
           number < _line_after_segment();
}

std::int64_t LineOffsets::_line_after_segment() const {
    const code_text::Segment& segment = _segments[_segment];
    return segment.first + static_cast<std::int64_t>(segment.lines.size());
}

// Only one that follows the segment at hand is of use, which itself must not begin in the dark.
bool LineOffsets::_go_to_next_segment() {
    const std::size_t next = _segment + 1;
    if (next >= _segments.size() || _segments[_segment].first > _line ||
        _segments[next].first != _line_after_segment()) {
        return false;
    }
    _before += _segments[_segment].lines.text().size() + 1;
    _segment = next;
    _line = _segments[next].first;
    _bytes = 0;
    return true;
}

void LineOffsets::_go_to_whole_file(const std::function<code_text::Lines()>& whole_file) {
    _file = whole_file();
    _walks_file = true;
    _line = 1;
    _bytes = _before = 0;
}

}  // namespace codetext::search
