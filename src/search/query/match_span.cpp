#include "search/query/match_span.hpp"

#include <string>

#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {

namespace {

bool continues_code_point(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

template <typename Find>
void each_occurrence(std::string_view text, std::size_t needle_bytes, const VisitSpan& visit,
                     Find find) {
    std::size_t from = 0;
    while (from <= text.size()) {
        const std::size_t start = find(from);
        if (start == text_find::NOT_FOUND || !visit({start, start + needle_bytes})) break;
        from = needle_bytes > 0 ? start + needle_bytes : next_code_point(text, start);
    }
}

// A code point of `line`: the offsets at which it begins in the line and in the line's lower-case
// form. A code point lower-cases to the same number of bytes wherever it stands: only the form of a
// capital sigma depends on its neighbours, and both of its forms take two bytes.
class LoweredPosition {
  public:
    explicit LoweredPosition(std::string_view line) : _line(line) { _measure(); }

    std::size_t offset() const { return _at; }
    /// Goes to the code point whose lower-case form holds byte `lowered_offset`, or to the end.
    void go_to_holder_of(std::size_t lowered_offset) {
        while (_at < _line.size() && _lowered_end <= lowered_offset) _step();
    }
    /// Goes to the first code point whose lower-case form begins at `lowered_offset` or after it.
    void go_to_first_from(std::size_t lowered_offset) {
        while (_at < _line.size() && _lowered_at < lowered_offset) _step();
    }

  private:
    void _step() {
        _at = _next;
        _lowered_at = _lowered_end;
        _measure();
    }
    void _measure() {
        if (_at >= _line.size()) return;
        _next = next_code_point(_line, _at);
        _lowered_end = _lowered_at + unicode::lower(_line.substr(_at, _next - _at)).size();
    }

    std::string_view _line;
    std::size_t _at = 0, _next = 0;
    std::size_t _lowered_at = 0, _lowered_end = 0;
};

// Occurrences come in order, so that one walk through the line maps them all.
void each_lowered_span(std::string_view line, std::string_view needle, const VisitSpan& visit) {
    const std::string lowered = unicode::lower(line);
    LoweredPosition start(line);
    each_needle_span(lowered, needle, true, [&](MatchSpan span) {
        start.go_to_holder_of(span.start);
        LoweredPosition end = start;
        end.go_to_first_from(span.end);
        return visit({start.offset(), end.offset()});
    });
}

}  // namespace

std::size_t next_code_point(std::string_view text, std::size_t offset_bytes) {
    std::size_t next = offset_bytes + 1;
    while (next < text.size() && continues_code_point(text[next])) ++next;
    return next;
}

MatchSpan whole_code_points(std::string_view text, MatchSpan span) {
    while (span.start > 0 && span.start < text.size() && continues_code_point(text[span.start])) {
        --span.start;
    }
    while (span.end < text.size() && continues_code_point(text[span.end])) ++span.end;
    return span;
}

void each_needle_span(std::string_view line, std::string_view needle, bool case_sensitive,
                      const VisitSpan& visit) {
    if (!case_sensitive && !unicode::is_ascii(line)) return each_lowered_span(line, needle, visit);
    each_occurrence(line, needle.size(), visit, [&](std::size_t from) {
        return case_sensitive ? text_find::find(line, needle, from)
                              : text_find::find_ignoring_ascii_case(line, needle, from);
    });
}

}  // namespace codetext::search
