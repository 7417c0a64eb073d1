#pragma once

// What a search looks for: a plain needle or a regular expression, and how it treats case.
//
//   search::Query query = search::make_query({.patterns = {"spin_lock("}, .fixed_strings = true});

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "search/query/match_span.hpp"
#include "search/query/pattern.hpp"

namespace codetext::search {

/// A query as its user gives it.
struct QueryOptions {
    std::vector<std::string> patterns;  ///< at least one; a line matches that any of them matches
    bool fixed_strings = false;         ///< the patterns are plain text
    bool ignore_case = false;
    /// Ignore case if a pattern names a letter and none names a capital, as a literal or by its
    /// number.
    bool smart_case = false;
    bool words = false;  ///< no character beside a match is part of a word
    bool whole_lines = false;
    bool inverted = false;  ///< lines match that none of the patterns matches
};

/// A query as a search uses it. Copies share the compiled pattern; safe for use by several threads
/// at once.
struct Query {
    /// Text that every matching line holds. The query itself when there is no pattern; with one, it
    /// only narrows what is searched.
    std::optional<std::string> needle;
    std::optional<Pattern> pattern;
    /// Of the needle alone: false for a lower-cased needle that is looked for in lower-cased text.
    bool case_sensitive = true;
    /// The lines looked for are those without a match. Neither needle nor pattern narrows then what
    /// is searched.
    bool inverted = false;
};

/// A single pattern without metacharacters, or one given as plain text, becomes a needle;
/// everything else a regular expression. Throws std::invalid_argument for a pattern that does not
/// compile, is not UTF-8, or holds a line break.
Query make_query(const QueryOptions& options);

/// Whether the search ignores case, as the options say or smart case finds.
bool ignores_case(const QueryOptions& options);

/// Where on a matching line the query matches: at least one span, or none for an inverted query.
/// Only the first is what the search found; a later one counts if it does not overlap the one
/// before it.
void each_match_span(const Query& query, std::string_view line, const VisitSpan& visit);
std::vector<MatchSpan> match_spans(const Query& query, std::string_view line);
/// The first of them.
std::optional<MatchSpan> first_match_span(const Query& query, std::string_view line);

}  // namespace codetext::search
