#include "storage/code_text/line_matches.hpp"

#include <algorithm>

#include "utils/unicode.hpp"

namespace codetext::code_text {

NeedleSearch::NeedleSearch(std::string needle, bool case_sensitive)
    : _needle(std::move(needle)), _case_sensitive(case_sensitive) {
    const bool is_lower_case =
        case_sensitive || !unicode::is_ascii(_needle) ||
        std::none_of(_needle.begin(), _needle.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    // No line holds an LF, and no lower-case form an ASCII capital.
    _can_match = is_lower_case && _needle.find('\n') == std::string::npos;
}

// Folding ASCII letters alone is enough when the needle is ASCII and nothing in the text but ASCII
// letters lower-cases to ASCII; columns are the same then too.
bool NeedleSearch::_folds_ascii_only(std::string_view text) {
    if (!_ascii_only) {
        _ascii_only = unicode::is_ascii(_needle) && !text_find::lowers_into_ascii(text);
    }
    return *_ascii_only;
}

std::optional<LineHit> NeedleSearch::next(std::string_view text, std::size_t from) {
    if (!_can_match) return std::nullopt;
    if (_case_sensitive || _folds_ascii_only(text)) {
        const std::size_t offset = _case_sensitive
                                       ? text_find::find(text, _needle, from)
                                       : text_find::find_ignoring_ascii_case(text, _needle, from);
        if (offset == text_find::NOT_FOUND) return std::nullopt;
        return line_about(text, offset);
    }
    while (true) {
        const std::size_t end = std::min(text.find('\n', from), text.size());
        const std::string lowered = unicode::lower(text.substr(from, end - from));
        const std::size_t offset = text_find::find(lowered, _needle);
        if (offset != text_find::NOT_FOUND) {
            const std::string_view before = std::string_view(lowered).substr(0, offset);
            return LineHit{from, end, unicode::code_points(before)};
        }
        if (end == text.size()) return std::nullopt;
        from = end + 1;
    }
}

LineHit line_about(std::string_view text, std::size_t offset) {
    const std::size_t feed = text.substr(0, offset).rfind('\n');
    const std::size_t begin = feed == text.npos ? 0 : feed + 1;
    const std::size_t end = std::min(text.find('\n', offset), text.size());
    return {begin, end, unicode::code_points(text.substr(begin, offset - begin))};
}

}  // namespace codetext::code_text
