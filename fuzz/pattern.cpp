// Queries, line by line, against RE2 and against finding their text; and what a query says that
// every matching line holds.

#include <re2/re2.h>

#include "fuzz.hpp"
#include "search/query/query.hpp"
#include "search/query/reference_pattern.hpp"
#include "utils/unicode.hpp"

namespace codetext::fuzz {

using search::Query;
using search::QueryOptions;

/// Where RE2 finds the first match on the line, in code points.
std::optional<std::int64_t> re2_column(const QueryOptions& options, const std::string& line) {
    std::optional<std::size_t> first;
    for (const std::string& pattern : options.patterns) {
        RE2::Options re2;
        re2.set_case_sensitive(!options.ignore_case);
        re2.set_never_nl(true);
        re2.set_literal(options.fixed_strings);
        const RE2 re(pattern, re2);
        re2::StringPiece match;
        const auto anchor = options.whole_lines ? RE2::ANCHOR_BOTH : RE2::UNANCHORED;
        if (!re.Match(line, 0, line.size(), anchor, &match, 1)) continue;
        const auto start = static_cast<std::size_t>(match.data() - line.data());
        first = std::min(start, first.value_or(start));
    }
    if (!first) return std::nullopt;
    return unicode::code_points(std::string_view(line).substr(0, *first));
}

std::string ascii_lower(std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return text;
}

bool holds_atom(const std::string& lowered, const std::vector<std::string>& pieces) {
    return std::ranges::all_of(
        pieces, [&](const std::string& piece) { return lowered.find(piece) != lowered.npos; });
}

bool holds_needle(const Query& query, const std::string& line) {
    const std::string text = query.case_sensitive ? line
                             : query.pattern      ? ascii_lower(line)
                                                  : unicode::lower(line);
    return text.find(*query.needle) != text.npos;
}

void check_line(const Query& query, const QueryOptions& options, const std::string& line) {
    const auto spans = search::match_spans(query, line);
    for (std::size_t i = 0; i < spans.size(); ++i) {
        require(spans[i].start <= spans[i].end && spans[i].end <= line.size() &&
                    (i == 0 || spans[i - 1].end <= spans[i].start || !query.pattern),
                "spans follow one another");
    }
    const auto column = query.pattern ? query.pattern->search(line) : std::nullopt;
    const bool matches = query.pattern ? column.has_value() : holds_needle(query, line);
    require(matches == !spans.empty(), "a line that matches has a span");
    if (!query.pattern) return;
    if (!options.words || options.whole_lines) {
        require(column == re2_column(options, line), "a pattern finds what RE2 finds");
    }
    if (!matches) return;
    require(!query.needle || holds_needle(query, line), "a matching line holds the needle");
    const search::RequiredAtoms atoms(*query.pattern);
    std::vector<int> present;
    for (std::size_t i = 0; i < atoms.atoms().size(); ++i) {
        if (holds_atom(ascii_lower(line), atoms.atoms()[i])) present.push_back(static_cast<int>(i));
    }
    require(atoms.may_match(present), "a matching line holds its atoms");
}

void target(Input input) {
    const std::uint32_t flags = input.number(1);
    const QueryOptions options{.patterns = reference::words(input.line(), '\t'),
                               .fixed_strings = (flags & 1) != 0,
                               .ignore_case = (flags & 2) != 0,
                               .words = (flags & 4) != 0,
                               .whole_lines = (flags & 8) != 0};
    const std::string text = unicode::joined_lines(unicode::decode(input.rest())).value_or("");
    if (options.patterns.empty() || text.size() > 1024) return;
    try {
        const Query query = search::make_query(options);
        for (const std::string& line : reference::words(text, '\n')) {
            check_line(query, options, line);
        }
        if (!query.pattern) return;
        require(reference::through_the_text(*query.pattern, text) ==
                    reference::line_by_line(*query.pattern, text),
                "a pattern finds in many lines what it finds in each");
    } catch (const std::invalid_argument&) {
    }
}

}  // namespace codetext::fuzz
