#include "search/query/query.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <stdexcept>

#include "search/query/pattern_literals.hpp"

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

TEST(literals_of, are_the_letters_that_a_pattern_names) {
    const std::pair<const char*, const char*> CASES[] = {
        {"aB+c?|D", "aBcD"},
        {"a\\SB\\W\\d\\D\\bc\\B\\A\\z\\C", "aBc"},
        {"\\n\\t\\a\\f\\r\\v", ""},
        {"\\.a\\\\B\\[C", "aBC"},
        {"\\x41\\x6Ag", "Ajg"},
        {"\\x{41}\\x{e9}\\x{00017F}\\x{20AC}\\x{10400}g", "A\u00e9\u017f\u20ac\U00010400g"},
        {"\\101\\1411\\0101\\07a", "Aa\b\aa"},
        {"\\pLa\\PNB\\p{Lu}c\\P{^Greek}D\\p{L}", "aBcD"},
        {"(?P<Name>x)(?<Name>Y)(z)", "xYz"},
        {"(?i)a(?U:B)(?:c)(?-s:D)(?m-i:e)", "aBcDe"},
        {"\\Qa\\SB\\Ec\\S\\QA(?i", "aSBcAi"},
        {"[A-Z][^a-c][]B][^]C]x", "AZacBCx"},
        {"[[:alpha:]a[:^Upper:]B]c", "aBc"},
        {"[\\WA\\pL\\x42\\103\\]\\p{Lu}d]e", "ABCde"},
        {"[(?P<A>x)]b", "PAxb"},
        {"[[]A]b", "Ab"},
        {"\u00e9\u00c9", "\u00e9\u00c9"},
        {"a{2,3}\\", "a"},
        {"\\x{", ""},
        {"\\p", ""},
        {"[a", "a"},
    };
    for (const auto& [pattern, expected] : CASES) {
        std::string letters = literals_of(pattern);
        std::erase_if(letters, [](char c) { return c >= ' ' && c <= '~' && !std::isalpha(c); });
        EXPECT_EQ(letters, expected) << pattern;
    }
}

TEST(query, smart_case_ignores_case_for_letters_without_a_capital) {
    const std::pair<std::vector<std::string>, bool> CASES[] = {
        {{"a\\S"}, true},    {{"\\x6A"}, true},    {{"\\p{Lu}a"}, true}, {{"\\W", "a"}, true},
        {{"\u00e9."}, true}, {{"\\p{Lu}"}, false}, {{"1\\pL"}, false},   {{"\\S"}, false},
        {{"a", "B"}, false}, {{"a\\x41"}, false},  {{"[A-Z]a"}, false},  {{"\u00c9."}, false},
        {{"(?i)A."}, false},
    };
    for (const auto& [patterns, ignores] : CASES) {
        const Query query = make_query({.patterns = patterns, .smart_case = true, .words = true});
        const Query expected =
            make_query({.patterns = patterns, .ignore_case = ignores, .words = true});
        for (const std::string line : {"a A", "J j", "\u00c9.", "\u00e9.", "a1", "1a", "1A", "B"}) {
            EXPECT_EQ(query.pattern->spans(line), expected.pattern->spans(line))
                << patterns.front() << " on " << line;
        }
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
