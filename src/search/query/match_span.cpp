#include "search/query/match_span.hpp"

#include <algorithm>
#include <string>

#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {

namespace {

bool continues_code_point(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

template <typename Find>
std::vector<MatchSpan> occurrences(std::string_view text, std::size_t needle_bytes, Find find) {
    std::vector<MatchSpan> spans;
    std::size_t from = 0;
    while (from <= text.size()) {
        const std::size_t start = find(from);
        if (start == text_find::NOT_FOUND) break;
        spans.push_back({start, start + needle_bytes});
        from = needle_bytes > 0 ? start + needle_bytes : next_code_point(text, start);
    }
    return spans;
}

// For each code point of `line`, and for its end, the offset at which it begins in the line and in
// the line's lower-case form. A code point lower-cases to the same number of bytes wherever it
// stands: only the form of a capital sigma depends on its neighbours, and both of its forms take
// two bytes.
struct CaseMap {
    std::vector<std::size_t> starts, lowered_starts;

    explicit CaseMap(std::string_view line) {
        std::size_t lowered = 0;
        for (std::size_t at = 0; at < line.size();) {
            const std::size_t next = next_code_point(line, at);
            starts.push_back(at);
            lowered_starts.push_back(lowered);
            lowered += unicode::lower(line.substr(at, next - at)).size();
            at = next;
        }
        starts.push_back(line.size());
        lowered_starts.push_back(lowered);
    }

    MatchSpan original(MatchSpan span) const {
        const auto begin = lowered_starts.begin();
        const auto start = std::upper_bound(begin, lowered_starts.end(), span.start) - 1;
        const auto end = std::lower_bound(begin, lowered_starts.end(), span.end);
        return {starts[static_cast<std::size_t>(start - begin)],
                starts[static_cast<std::size_t>(end - begin)]};
    }
};

// A span that begins or ends inside of the form of one code point takes in the whole of it.
std::vector<MatchSpan> lowered_spans(std::string_view line, std::string_view needle) {
    const std::string lowered = unicode::lower(line);
    std::vector<MatchSpan> spans = needle_spans(lowered, needle, true);
    const CaseMap map(line);
    for (MatchSpan& span : spans) span = map.original(span);
    return spans;
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

std::vector<MatchSpan> needle_spans(std::string_view line, std::string_view needle,
                                    bool case_sensitive) {
    if (!case_sensitive && !unicode::is_ascii(line)) return lowered_spans(line, needle);
    return occurrences(line, needle.size(), [&](std::size_t from) {
        return case_sensitive ? text_find::find(line, needle, from)
                              : text_find::find_ignoring_ascii_case(line, needle, from);
    });
}

}  // namespace codetext::search
