#include "search/query/query.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace codetext::search {
namespace {

struct Case {
    QueryOptions options;
    std::optional<std::string> needle;
    bool has_pattern, case_sensitive;
};

TEST(query, takes_plain_text_for_a_needle_and_the_rest_for_a_pattern) {
    const std::vector<Case> cases = {
        {{.patterns = {"spin_lock"}}, "spin_lock", false, true},
        {{.patterns = {""}}, "", false, true},
        {{.patterns = {"a]}b"}}, "a]}b", false, true},
        {{.patterns = {"f\\(x\\)\\.y"}}, "f(x).y", false, true},
        {{.patterns = {"f\\w"}}, std::nullopt, true, true},
        {{.patterns = {"a.b"}}, std::nullopt, true, true},
        {{.patterns = {"a.b"}, .fixed_strings = true}, "a.b", false, true},
        {{.patterns = {"a\\"}, .fixed_strings = true}, "a\\", false, true},
        {{.patterns = {"a", "b"}}, std::nullopt, true, true},
        {{.patterns = {"\u0130X"}, .ignore_case = true}, "i\u0307x", false, false},
        {{.patterns = {"abc"}, .smart_case = true}, "abc", false, false},
        {{.patterns = {"aBc"}, .smart_case = true}, "aBc", false, true},
        {{.patterns = {"\u00c9t"}, .smart_case = true}, "\u00c9t", false, true},
        {{.patterns = {"a\\S\\p{Lu}"}, .smart_case = true}, std::nullopt, true, false},
        {{.patterns = {"a\\SB"}, .smart_case = true}, std::nullopt, true, true},
        {{.patterns = {"\\S"}, .fixed_strings = true, .smart_case = true}, "\\S", false, true},
        {{.patterns = {"ab"}, .words = true}, "ab", true, true},
        {{.patterns = {"ab"}, .whole_lines = true}, "ab", true, true},
        {{.patterns = {"a\\(Spin_lock.*flags"}}, "a(spin_lock", true, false},
        {{.patterns = {"GLASSY.*"}, .ignore_case = true}, "gla", true, false},
        {{.patterns = {"foo|barbaz"}}, std::nullopt, true, true},
        {{.patterns = {"(foo|bar)baz"}}, "baz", true, false},
        {{.patterns = {"ks"}, .ignore_case = true, .words = true}, std::nullopt, true, false},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.options.patterns.front());
        const Query query = make_query(one.options);
        EXPECT_EQ(query.needle, one.needle);
        EXPECT_EQ(query.pattern.has_value(), one.has_pattern);
        EXPECT_EQ(query.case_sensitive, one.case_sensitive);
    }
}

TEST(query, refuses_what_cannot_be_searched_for) {
    const std::vector<QueryOptions> cases = {
        {.patterns = {"("}},        {.patterns = {"a)(b"}, .words = true},
        {.patterns = {"[a", "b]"}}, {.patterns = {"a\nb"}, .fixed_strings = true},
        {.patterns = {"\xff"}},     {.patterns = {"(?:a{1000}){1000}"}},
    };
    for (const QueryOptions& options : cases) {
        EXPECT_THROW(make_query(options), std::invalid_argument) << options.patterns.front();
    }
}

struct SpanCase {
    QueryOptions options;
    std::string line;
    std::vector<MatchSpan> spans;
};

TEST(query, finds_every_match_on_a_line) {
    const std::vector<SpanCase> cases = {
        {{.patterns = {"aa"}}, "aaaaa", {{0, 2}, {2, 4}}},
        {{.patterns = {""}}, "\u00e9b", {{0, 0}, {2, 2}, {3, 3}}},
        {{.patterns = {"B"}, .ignore_case = true}, "abB", {{1, 2}, {2, 3}}},
        // U+0130 lowers to two code points, U+212A to one of fewer bytes.
        {{.patterns = {"x"}, .ignore_case = true}, "\u0130X\u212ax", {{2, 3}, {6, 7}}},
        {{.patterns = {"i"}, .ignore_case = true}, "\u0130", {{0, 2}}},
        {{.patterns = {"k"}, .ignore_case = true}, "\u212aK", {{0, 3}, {3, 4}}},
        {{.patterns = {"a*"}}, "baac", {{0, 0}, {1, 3}, {4, 4}}},
        {{.patterns = {"^a"}}, "aaa", {{0, 1}}},
        {{.patterns = {"a$|^b"}}, "bab a", {{0, 1}, {4, 5}}},
        {{.patterns = {"\\Aa"}}, "aa", {{0, 1}}},
        {{.patterns = {"(?-m)^a"}}, "aa", {{0, 1}}},
        {{.patterns = {"[^x]"}}, "\u00e9x", {{0, 2}}},
        {{.patterns = {"a"}, .words = true},
         "a ab a-a \u00e9a a\u0301 a",
         {{0, 1}, {5, 6}, {7, 8}, {17, 18}}},
        {{.patterns = {"-"}, .words = true}, "--", {{0, 1}, {1, 2}}},
        {{.patterns = {"a|ab"}, .words = true}, "ab", {{0, 2}}},
        {{.patterns = {"a b", "b"}, .words = true}, "xa b", {{3, 4}}},
        {{.patterns = {"a|b"}, .whole_lines = true}, "a", {{0, 1}}},
        {{.patterns = {"\\Qa.b"}, .whole_lines = true}, "a.b", {{0, 3}}},
        {{.patterns = {"\\Qa.b", "x"}}, "xa.b", {{0, 1}, {1, 4}}},
    };
    for (const SpanCase& one : cases) {
        EXPECT_EQ(match_spans(make_query(one.options), one.line), one.spans)
            << one.options.patterns.front() << " on " << one.line;
    }
}

}  // namespace

void PrintTo(const MatchSpan& span, std::ostream* out) { *out << span.start << '-' << span.end; }

}  // namespace codetext::search
