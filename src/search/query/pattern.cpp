// RE2 matches in time linear in the text. It never matches an LF here (never_nl), so it can be
// given the text of many lines at once. Where that would change what a line matches
// (needs_single_lines), each line is tried by itself.
//
// Before the expression is tried, the text is searched for what every match needs and what is
// cheaper to find: the literal, the text of every match, or else the required bytes. They name a
// line that may match; the expression decides on it.

#include "search/query/pattern.hpp"

#include <re2/re2.h>

#include <algorithm>
#include <stdexcept>

#include "search/query/pattern_impl.hpp"
#include "search/query/pattern_text.hpp"
#include "search/query/plain_alternatives.hpp"
#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {

namespace {

constexpr int MIN_ATOM_BYTES = 3;
/// The filter takes time that grows with the square of the alternatives (40 ms for so many), and
/// with the square of a pattern whose repetitions are written out, as RE2's program has them (10 ms
/// for so many instructions). A pattern with more is matched without it.
constexpr std::int64_t MAX_FILTERED_ALTERNATIVES = 1 << 10;
constexpr int MAX_FILTERED_INSTRUCTIONS = 1 << 14;
constexpr std::int64_t MAX_MEMORY_BYTES = 64 << 20;
/// RE2 takes up to 0.3 ms to read a class such as \PL, even where it refuses the pattern in the end
/// for having too many.
constexpr std::size_t MAX_UNICODE_CLASSES = 1 << 11;
/// An error of RE2 may show the whole pattern; its message gets no longer than this.
constexpr std::size_t MAX_ERROR_BYTES = 400;

RE2::Options re2_options(bool case_sensitive) {
    RE2::Options options;
    options.set_case_sensitive(case_sensitive);
    options.set_never_nl(true);
    options.set_log_errors(false);
    options.set_max_mem(MAX_MEMORY_BYTES);
    return options;
}

[[noreturn]] void refuse(std::string error) {
    if (error.size() > MAX_ERROR_BYTES) {
        error = unicode::decode(error.substr(0, MAX_ERROR_BYTES)) + "...";
    }
    throw std::invalid_argument("the pattern does not compile: " + error);
}

// Each pattern is compiled by itself: it must be well-formed without what is put around it, and an
// error shows the pattern as it was given.
void check(const std::string& pattern, const RE2::Options& options) {
    const RE2 alone(pattern, options);
    if (!alone.ok()) refuse(alone.error());
}

std::string composed(const std::vector<std::string>& patterns, const PatternOptions& options) {
    const std::string any = alternatives(patterns);
    if (options.whole_lines) return whole_line(any);
    return options.words ? bounded_by_words(any) : any;
}

bool any_of(const std::vector<std::string>& patterns, bool (*holds)(std::string_view)) {
    return std::any_of(patterns.begin(), patterns.end(), holds);
}

std::size_t code_point_before(std::string_view text, std::size_t offset_bytes) {
    do {
        --offset_bytes;
    } while (offset_bytes > 0 && next_code_point(text, offset_bytes - 1) > offset_bytes);
    return offset_bytes;
}

// What the given group of the leftmost match from `from` on took in; group 0 is the whole match.
std::optional<MatchSpan> leftmost(const RE2& re, std::string_view line, std::size_t from,
                                  int group) {
    re2::StringPiece groups[2];
    if (!re.Match(line, from, line.size(), RE2::UNANCHORED, groups, group + 1)) return std::nullopt;
    const auto start = static_cast<std::size_t>(groups[group].data() - line.data());
    return MatchSpan{start, start + groups[group].size()};
}

std::string_view line_from(std::string_view text, std::size_t start) {
    return text.substr(start, text.find('\n', start) - start);
}

}  // namespace

Pattern::Impl::Impl(const std::vector<std::string>& patterns, PatternOptions options)
    : _options(std::move(options)),
      _line_by_line(any_of(patterns, needs_single_lines)),
      _folds_beyond_ascii(!_options.case_sensitive || any_of(patterns, search::folds_beyond_ascii)),
      _words(_options.words && !_options.whole_lines),
      _filter(MIN_ATOM_BYTES) {
    const RE2::Options re2 = re2_options(_options.case_sensitive);
    // Many plain texts get an order of their own. One that is plain is well-formed, so the patterns
    // need no check then.
    const auto plain = plain_alternatives(patterns, _options.case_sensitive);
    const std::string text = composed(plain.value_or(patterns), _options);
    if (unicode_classes(text) > MAX_UNICODE_CLASSES) refuse("it names too many Unicode classes");
    int id = 0;
    const RE2::ErrorCode error = _filter.Add("(?m)" + text, re2, &id);
    if (error == RE2::ErrorPatternTooLarge) refuse("it is too large");
    const bool compiles = error == RE2::NoError;
    // The first pattern that does not compile by itself gives its error, before one for the whole
    // does.
    if (!plain && text != patterns.front()) {
        for (const std::string& pattern : patterns) check(pattern, re2);
    }
    if (!compiles) check(text, re2);
    _is_filtered = std::ranges::count(text, '|') <= MAX_FILTERED_ALTERNATIVES &&
                   _re().ProgramSize() <= MAX_FILTERED_INSTRUCTIONS;
    if (_is_filtered) _filter.Compile(&_filter_atoms);
    if (patterns.size() == 1 && !_options.literal) {
        _required_bytes = required_bytes(patterns.front(), _options.case_sensitive);
    }
    if (_words)
        _inside_text = "(?m)" + bounded_by_words_inside(alternatives(plain.value_or(patterns)));
}

const RE2& Pattern::Impl::_inside() const {
    _inside_compiled.run([this] {
        _inside_re =
            std::make_unique<const RE2>(_inside_text, re2_options(_options.case_sensitive));
    });
    return *_inside_re;
}

std::optional<MatchSpan> Pattern::Impl::first_span(std::string_view line) const {
    return leftmost(_re(), line, 0, _words ? 1 : 0);
}

std::optional<MatchSpan> Pattern::Impl::next_span(std::string_view line, std::size_t from) const {
    if (!_words) return leftmost(_re(), line, from, 0);
    // A match includes the character in front of it, which may be the last of the match before.
    return leftmost(_inside(), line, code_point_before(line, from), 1);
}

std::optional<std::size_t> Pattern::Impl::next_candidate(std::string_view text,
                                                         std::size_t from) const {
    if (_options.literal || _required) {
        const std::size_t at = _options.literal
                                   ? text_find::find(text, *_options.literal, from)
                                   : text_find::find_ignoring_ascii_case(text, *_required, from);
        return at == text_find::NOT_FOUND ? std::nullopt : std::optional(at);
    }
    if (_required_bytes) {
        const std::size_t at = find_required_bytes(text, *_required_bytes, from);
        return at == std::string_view::npos ? std::nullopt : std::optional(at);
    }
    if (_line_by_line) return from;
    const std::optional<MatchSpan> match = leftmost(_re(), text, from, 0);
    return match ? std::optional(match->start) : std::nullopt;
}

Pattern::Pattern(const std::vector<std::string>& patterns, PatternOptions options) {
    const bool has_literal = options.literal.has_value();
    const auto impl = std::make_shared<Impl>(patterns, std::move(options));
    _impl = impl;
    if (!has_literal) impl->require(RequiredAtoms(*this).text_of_every_match());
}

const std::optional<std::string>& Pattern::text_of_every_match() const { return _impl->required(); }

std::optional<std::int64_t> Pattern::search(std::string_view line) const {
    const std::optional<MatchSpan> span = _impl->first_span(line);
    if (!span) return std::nullopt;
    return unicode::code_points(line.substr(0, span->start));
}

std::optional<std::size_t> Pattern::search_text(std::string_view text, std::size_t from) const {
    while (from <= text.size()) {
        const std::optional<std::size_t> candidate = _impl->next_candidate(text, from);
        if (!candidate || _impl->candidates_match()) return candidate;
        const std::size_t start = text_find::line_begin(text, from, *candidate);
        const std::string_view line = line_from(text, start);
        if (auto span = _impl->first_span(line)) return start + span->start;
        // Each line is tried once: linear in the text, however often a candidate deceives.
        from = start + line.size() + 1;
    }
    return std::nullopt;
}

void Pattern::each_span(std::string_view line, const VisitSpan& visit) const {
    std::optional<std::size_t> end_before;
    std::optional<MatchSpan> span = _impl->first_span(line);
    while (span) {
        // An empty match right behind the match before it is no match of its own.
        const bool touches = span->start == span->end && end_before == span->start;
        const MatchSpan whole = whole_code_points(line, *span);
        if (!touches && !visit(whole)) break;
        if (!touches) end_before = whole.end;
        const std::size_t from =
            span->start == span->end ? next_code_point(line, span->end) : span->end;
        if (from > line.size()) break;
        span = _impl->next_span(line, from);
    }
}

}  // namespace codetext::search
