#include "search/query/query.hpp"

#include <re2/re2.h>

#include <stdexcept>

#include "search/query/pattern_literals.hpp"
#include "search/query/pattern_text.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {

namespace {

void check_text(const QueryOptions& options) {
    for (const std::string& pattern : options.patterns) {
        if (unicode::decode(pattern) != pattern) {
            throw std::invalid_argument("the pattern is not valid UTF-8");
        }
        const bool is_in_text = pattern.find('\n') != std::string::npos;
        if (is_in_text || (!options.fixed_strings && names_line_break(pattern))) {
            throw std::invalid_argument(
                "a pattern cannot hold a line break: lines are searched one by one");
        }
    }
}

std::optional<std::string> plain_text(const QueryOptions& options) {
    if (options.patterns.size() != 1) return std::nullopt;
    return options.fixed_strings ? options.patterns.front() : literal_of(options.patterns.front());
}

std::vector<std::string> expressions(const QueryOptions& options) {
    std::vector<std::string> result = options.patterns;
    if (options.fixed_strings) {
        for (std::string& pattern : result) pattern = re2::RE2::QuoteMeta(pattern);
    }
    return result;
}

}  // namespace

// Smart case ignores case where a pattern names a letter and none names a capital. Without a letter
// there is nothing to ignore but the case of classes, and \p{Lu} means what it says.
bool ignores_case(const QueryOptions& options) {
    if (options.ignore_case || !options.smart_case) return options.ignore_case;
    std::string literals;
    for (const std::string& pattern : options.patterns) {
        literals += options.fixed_strings ? pattern : literals_of(pattern);
    }
    return re2::RE2::PartialMatch(literals, "\\pL") && unicode::lower(literals) == literals;
}

Query make_query(const QueryOptions& options) {
    check_text(options);
    Query query;
    query.inverted = options.inverted;
    query.case_sensitive = !ignores_case(options);
    // A plain text needs no expression, unless it must be a word or a line.
    query.needle = plain_text(options);
    if (query.needle && !query.case_sensitive) query.needle = unicode::lower(*query.needle);
    if (query.needle && !options.words && !options.whole_lines) return query;
    // An expression folds case character by character, a needle is compared in full lower case. So
    // in a search that ignores case a line may match the expression and not hold the needle.
    if (!query.case_sensitive) query.needle.reset();
    query.pattern.emplace(expressions(options),
                          PatternOptions{.case_sensitive = query.case_sensitive,
                                         .words = options.words,
                                         .whole_lines = options.whole_lines,
                                         .literal = query.needle});
    if (query.needle) return query;
    query.needle = query.pattern->text_of_every_match();
    // A matching line holds this text once its ASCII letters are lower-cased.
    if (query.needle) query.case_sensitive = false;
    return query;
}

void each_match_span(const Query& query, std::string_view line, const VisitSpan& visit) {
    if (query.inverted) return;
    if (query.pattern) return query.pattern->each_span(line, visit);
    each_needle_span(line, *query.needle, query.case_sensitive, visit);
}

std::vector<MatchSpan> match_spans(const Query& query, std::string_view line) {
    std::vector<MatchSpan> spans;
    each_match_span(query, line, [&](MatchSpan span) {
        spans.push_back(span);
        return true;
    });
    return spans;
}

std::optional<MatchSpan> first_match_span(const Query& query, std::string_view line) {
    std::optional<MatchSpan> first;
    each_match_span(query, line, [&](MatchSpan span) {
        first = span;
        return false;
    });
    return first;
}

}  // namespace codetext::search
