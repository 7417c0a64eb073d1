#include "search/query/query.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cctype>

#include "search/query/pattern_literals.hpp"
#include "utils/reference.hpp"

namespace codetext::search {
namespace {

/// Options by their letters: i and S for the case, F for plain text, w and x. Patterns stand
/// between semicolons.
QueryOptions options(const std::string& patterns, const std::string& letters = "") {
    const auto has = [&](char letter) { return letters.find(letter) != std::string::npos; };
    return {.patterns =
                patterns.empty() ? std::vector<std::string>{""} : reference::words(patterns, ';'),
            .fixed_strings = has('F'),
            .ignore_case = has('i'),
            .smart_case = has('S'),
            .words = has('w'),
            .whole_lines = has('x')};
}

TEST(query, takes_plain_text_for_a_needle_and_the_rest_for_a_pattern) {
    // The pattern, its options, and the query: the needle, "+" with a regular expression, and "~"
    // where the needle's case is ignored.
    for (const std::string& one : reference::words(
             "spin_lock - 'spin_lock', - '',a]}b - 'a]}b',f\\(x\\)\\.y - 'f(x).y',f\\w - none+,"
             "a.b - none+,a.b -F 'a.b',a\\ -F 'a\\',a;b - none+,\u0130X -i 'i\u0307x'~,"
             "abc -S 'abc'~,aBc -S 'aBc',\u00c9t -S '\u00c9t',a\\S\\p{Lu} -S none+~,"
             "a;\\x6A -S none+~,\\W;a -S none+~,\\p{Lu}a -S none+~,\\p{Lu}. -S none+,a;B -S none+,"
             "1\\pL -S none+,[A-Z]a -S none+,a\\x41. -S none+,(?i)A. -S none+,\u00e9. -S none+~,"
             "\\S -FS '\\S',ab -w 'ab'+,ab -x 'ab'+,a\\(Spin_lock.*y - 'a(spin_lock'+~,"
             "GLASSY.* -i 'gla'+~,foo|barbaz - none+,(foo|bar)baz - 'baz'+~,ks -iw none+~",
             ',')) {
        const std::vector<std::string> parts = reference::words(one);
        const Query query = make_query(options(parts[0], parts[1]));
        EXPECT_EQ((query.needle ? "'" + *query.needle + "'" : "none") + (query.pattern ? "+" : "") +
                      (query.case_sensitive ? "" : "~"),
                  parts[2])
            << one;
    }
}

TEST(literals_of, are_the_letters_that_a_pattern_names) {
    // A pattern, and its letters.
    for (const std::string& one : reference::words(
             "aB+c?|D aBcD,a\\SB\\W\\d\\D\\bc\\B\\A\\z\\C aBc,\\n\\t\\a\\f\\r\\v ,"
             "\\.a\\\\B\\[C aBC,\\x41\\x6Ag Ajg,"
             "\\x{41}\\x{e9}\\x{00017F}\\x{20AC}\\x{10400}g A\u00e9\u017f\u20ac\U00010400g,"
             "\\101\\1411\\0101\\07a Aa\b\aa,\\pLa\\PNB\\p{Lu}c\\P{^Greek}D\\p{L} aBcD,"
             "(?P<Name>x)(?<Name>Y)(z) xYz,(?i)a(?U:B)(?:c)(?-s:D)(?m-i:e) aBcDe,"
             "\\Qa\\SB\\Ec\\S\\QA(?i aSBcAi,[A-Z][^a-c][]B][^]C]x AZacBCx,"
             "[[:alpha:]a[:^Upper:]B]c aBc,[\\WA\\pL\\x42\\103\\]\\p{Lu}d]e ABCde,"
             "[(?P<A>x)]b PAxb,[[]A]b Ab,\u00e9\u00c9 \u00e9\u00c9,a{2}\\ a,\\x{ ,\\p ,[a a",
             ',')) {
        const std::string pattern = one.substr(0, one.find(' '));
        std::string letters = literals_of(pattern);
        std::erase_if(letters, [](char c) { return c >= ' ' && c <= '~' && !std::isalpha(c); });
        EXPECT_EQ(pattern + ' ' + letters, one);
    }
}

TEST(query, refuses_what_cannot_be_searched_for) {
    const std::pair<const char*, const char*> CASES[] = {{"(", ""},     {"a)(b", "w"},
                                                         {"[a;b]", ""}, {"a\nb", "F"},
                                                         {"\xff", ""},  {"(?:a{1000}){1000}", ""}};
    for (const auto& [patterns, letters] : CASES) {
        EXPECT_THROW(make_query(options(patterns, letters)), std::invalid_argument) << patterns;
    }
}

TEST(query, finds_every_match_on_a_line) {
    // The pattern, its options, a line, and where it matches. U+0130 lowers to two code points,
    // U+212A to one of fewer bytes.
    for (const std::string& one : reference::words(
             "aa//aaaaa/0-2 2-4,//\u00e9b/0-0 2-2 3-3,B/i/abB/1-2 2-3,"
             "x/i/\u0130X\u212ax/2-3 6-7,i/i/\u0130/0-2,k/i/\u212aK/0-3 3-4,"
             "a*//baac/0-0 1-3 4-4,^a//aaa/0-1,a$|^b//bab a/0-1 4-5,\\Aa//aa/0-1,"
             "(?-m)^a//aa/0-1,[^x]//\u00e9x/0-2,"
             "a/w/a ab a-a \u00e9a a\u0301 a/0-1 5-6 7-8 17-18,-/w/--/0-1 1-2,a|ab/w/ab/0-2,"
             "\\Ca//\u00e9a/0-3,a b;b/w/xa b/3-4,a|b/x/a/0-1,\\Qa.b/x/a.b/0-3,\\Qa.b;x//xa.b/0-1 "
             "1-4",
             ',')) {
        const std::vector<std::string> parts = reference::words(one, '/');
        std::vector<std::string> spans;
        for (const MatchSpan span :
             match_spans(make_query(options(parts[0], parts[1])), parts[2])) {
            spans.push_back(fmt::format("{}-{}", span.start, span.end));
        }
        EXPECT_EQ(spans, reference::words(parts[3])) << one;
    }
}

}  // namespace
}  // namespace codetext::search
