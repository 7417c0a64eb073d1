#include "storage/code_text/line_matches.hpp"

#include <algorithm>

#include "utils/unicode.hpp"

// A needle is looked for in many lines at once, and only the line about a hit is cut out. Where
// case is ignored, folding ASCII letters is enough as long as the needle is ASCII and no other
// letter of the text lower-cases into ASCII. Two letters do. The text is tested for them little
// further than to the hit's line, and it is searched in windows of whole lines, which grow with the
// text passed over, so that a search without a hit does not run far ahead either. From the part of
// a window on that holds one of the two letters, its remaining lines are lower-cased and searched
// one by one.
//
// So the cost is linear in the text up to the match, and what is looked at beyond the match's line
// is at most MIN_WINDOW_BYTES, or as much text as was passed over, to the end of a line.

namespace codetext::code_text {

namespace {

constexpr std::size_t MIN_WINDOW_BYTES = 1 << 12;
/// Where each line matches, a test for each line would cost more than the search.
constexpr std::size_t MIN_TESTED_BYTES = 512;
/// What a processor's cache holds while a window is searched and tested.
constexpr std::size_t MAX_WINDOW_BYTES = 1 << 16;

std::size_t line_end(std::string_view text, std::size_t offset) {
    return std::min(text.find('\n', offset), text.size());
}

// Where the last line of a window ends that begins at `from`.
std::size_t window_end(std::string_view text, std::size_t from) {
    const std::size_t size = std::clamp(from, MIN_WINDOW_BYTES, MAX_WINDOW_BYTES);
    return size >= text.size() - from ? text.size() : line_end(text, from + size);
}

}  // namespace

NeedleSearch::NeedleSearch(std::string needle, bool case_sensitive)
    : _needle(std::move(needle)),
      _case_sensitive(case_sensitive),
      _is_ascii(unicode::is_ascii(_needle)) {
    const bool is_lower_case =
        case_sensitive || !_is_ascii ||
        std::none_of(_needle.begin(), _needle.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    // No line holds an LF, and no lower-case form an ASCII capital.
    _can_match = is_lower_case && _needle.find('\n') == std::string::npos;
}

std::optional<LineHit> NeedleSearch::next(std::string_view text, std::size_t from) {
    if (!_can_match) return std::nullopt;
    if (_case_sensitive) {
        const std::size_t offset = text_find::find(text, _needle, from);
        if (offset == text_find::NOT_FOUND) return std::nullopt;
        return line_about(text, offset);
    }
    if (!_is_ascii) return _next_lowered(text, from);
    while (true) {
        if (!_window_end || from > *_window_end) _begin_window(text, from);
        std::optional<LineHit> hit = _next_in_window(text.substr(0, *_window_end), from);
        if (hit || *_window_end == text.size()) return hit;
        from = *_window_end + 1;
    }
}

void NeedleSearch::_begin_window(std::string_view text, std::size_t from) {
    _window_end = window_end(text, from);
    _tested_end = from;
    _holds_such_letters = false;
}

std::optional<LineHit> NeedleSearch::_next_in_window(std::string_view window, std::size_t from) {
    if (_holds_such_letters) return _next_lowered(window, from);
    const std::size_t offset = text_find::find_ignoring_ascii_case(window, _needle, from);
    if (offset == text_find::NOT_FOUND) {
        if (_folds_ascii_only(window, window.size())) return std::nullopt;
    } else {
        const LineHit hit = line_about(window, offset);
        if (hit.line_end <= _tested_end || _folds_ascii_only(window, hit.line_end)) return hit;
    }
    _holds_such_letters = true;
    return _next_lowered(window, from);
}

bool NeedleSearch::_folds_ascii_only(std::string_view window, std::size_t end) {
    end = std::min(std::max(end, _tested_end + MIN_TESTED_BYTES), window.size());
    const std::size_t begin = std::exchange(_tested_end, end);
    return !text_find::lowers_into_ascii(window.substr(begin, end - begin));
}

std::optional<LineHit> NeedleSearch::_next_lowered(std::string_view text, std::size_t from) const {
    while (from <= text.size()) {
        const std::size_t end = line_end(text, from);
        const std::string lowered = unicode::lower(text.substr(from, end - from));
        const std::size_t offset = text_find::find(lowered, _needle);
        if (offset != text_find::NOT_FOUND) {
            const std::string_view before = std::string_view(lowered).substr(0, offset);
            return LineHit{from, end, unicode::code_points(before)};
        }
        from = end + 1;
    }
    return std::nullopt;
}

LineHit line_about(std::string_view text, std::size_t offset) {
    const std::size_t begin = text_find::line_begin(text, 0, offset);
    return {begin, line_end(text, offset),
            unicode::code_points(text.substr(begin, offset - begin))};
}

}  // namespace codetext::code_text
