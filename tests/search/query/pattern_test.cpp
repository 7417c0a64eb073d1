#include <gmock/gmock.h>
#include <re2/re2.h>

#include <numeric>

#include "search/query/query.hpp"
#include "search/query/reference_pattern.hpp"

namespace codetext::search {
namespace {

using namespace std::string_view_literals;
using reference::words;

void expect_alike(const Pattern& pattern, const Pattern& plain, const std::string& name) {
    static reference::RandomTexts random(words(
        "\n,\n,a,b,A, ,_,-,k,s,\u00e9,\u212a,\u017f,\u0130,\u03c3,\U0001f600,e\u0301,\0,ab,\t"sv,
        ','));
    for (int round = 0; round < 300; ++round) {
        const std::string text = random.text(23);
        ASSERT_EQ(reference::through_the_text(pattern, text), reference::line_by_line(plain, text))
            << name << " on " << testing::PrintToString(text) << ", seed " << random.SEED;
    }
}

std::vector<MatchSpan> spans(const Pattern& pattern, std::string_view line) {
    return match_spans({.needle = std::nullopt, .pattern = pattern}, line);
}

TEST(pattern, finds_in_many_lines_what_it_finds_line_by_line) {
    const std::vector<std::string> patterns = words(
        "a ^a a$ ^$ ^ $  a* (a|ab)(b|$) [^a] [^a]+ \\s \\s*$ . .* (?s). (?s)a.*b a\\nb [\\n] "
        "\\W\\W \\ba a\\b \\B \\Aa a\\z \\A \\z \\Ca \\C+ (?-m)^a (?-m:a$) (?m:^a) (?i)k "
        "(?i:S)b [[:^alpha:]] \\PL \\x{0a} \\x00 \u00e9|\u03c3 (^|b)a a{2,3} (?U)a.* "
        "[ab]{4} [a-b]{3,}[A-C]+$ ^-?[ab]{5,9} [_ab]*[a-b]{4}\\b -*[ab]{4}.?[A-B]{5} "
        // Those with a required text, without which no line is looked at.
        "aab aab[ab] a(aba|abb)k? [ab]aab? (AAB|b)aaa a{3} -aas (?i)aak.*b aa\\x{6b} ^aab$ "
        "(?s)aab.*- aab|aa- aab\\b");
    for (const std::string& pattern : patterns) {
        for (const PatternOptions& option : std::vector<PatternOptions>{
                 {}, {.case_sensitive = false}, {.words = true}, {.whole_lines = true}}) {
            SCOPED_TRACE(option.words ? "-w" : option.whole_lines ? "-x" : "");
            const Pattern compiled({pattern}, option);
            expect_alike(compiled, compiled, pattern);
        }
    }
    // The bytes of what lies in a range do not lie between those of its ends.
    const Pattern range({"[\u017f-\u03c4]{6}"}, {});
    std::string sigmas = "\u03c3\u03c3\u03c3";
    sigmas += sigmas;
    EXPECT_EQ(reference::through_the_text(range, sigmas), reference::line_by_line(range, sigmas));
    for (const char* literal : {"a", "-", "ab", "", "\u00e9"}) {
        const Pattern plain({literal}, {.words = true});
        expect_alike(Pattern({literal}, {.words = true, .literal = literal}), plain, literal);
    }
}

TEST(pattern, names_a_text_of_every_match) {
    // What is shared by two long alternatives, and alternatives that are too many for the filter.
    std::string a, b, many = "zz_shared_0";
    for (int i = 0; i < 8000; ++i) a += static_cast<char>('a' + i % 7);
    for (int i = 0; i < 8000; ++i) b += static_cast<char>('a' + i % 5);
    for (int i = 1; i < 5000; ++i) many += "|zz_shared_" + std::to_string(i);
    EXPECT_TRUE(Pattern({many}, {}).search("x zz_shared_4999"));
    EXPECT_FALSE(Pattern({many}, {}).search("zz_shared_"));
    const std::pair<std::string, std::optional<std::string>> CASES[] = {
        {"probe_" + a + "|probe_" + b, "probe_abcde"},
        {many, std::nullopt},
        {"[a-z]+_Probe_[0-9]+", "_probe_"},
        {"_Probe_[0-9]", "_probe_"},
        {"dev_(get|put)_x|dev_hold", "dev_"},
        {"foo|barbaz", std::nullopt},
        {"(abc|abd)xyz.*long_name", "long_name"},
        {"abc.*bcd|zbc", std::nullopt},
        {"x*", std::nullopt}};
    for (const auto& [pattern, text] : CASES) {
        EXPECT_EQ(Pattern({pattern}, {}).text_of_every_match(), text) << pattern.substr(0, 40);
    }
}

TEST(pattern, of_any_size_is_matched_or_refused) {
    // What is repeated, how often, what is put behind it, and a line that matches; none where the
    // pattern is refused, with the reason. Each of them took seconds, or hours.
    const struct {
        std::string part;
        int times;
        std::string end, line, reason;
    } CASES[] = {{"(?:abcdefgh){1000}", 40, "|zz_end", "a zz_end", ""},
                 {"a{1000}", 40, "|zz_end", "a zz_end", ""},
                 {"(?:abcdefgh){1000}", 1000, "", "", "it is too large"},
                 {"zz_[ab]x|", 5000, "zz_end", "a zz_end", ""},
                 {"(zz_|", 2000, "zz_end" + std::string(2000, ')'), "a zz_end", ""},
                 {"\\\\pL\\Q\\pL\\E|", 5000, "zz_end", "a zz_end", ""},
                 {"\\\\\\pL", 100000, "", "", "it names too many Unicode classes"},
                 {"\\PL", 100000, "", "", "it names too many Unicode classes"},
                 {"(", 100000, "", "", "missing ): " + std::string(389, '(') + "..."}};
    for (const auto& [part, times, end, line, reason] : CASES) {
        std::string text;
        for (int i = 0; i < times; ++i) text += part;
        for (const bool case_sensitive : {true, false}) {
            try {
                const Pattern pattern({text + end}, {.case_sensitive = case_sensitive});
                EXPECT_EQ(pattern.search(line), line.size() - 6) << part;
                EXPECT_TRUE(RequiredAtoms(pattern).may_match({})) << part;
            } catch (const std::invalid_argument& refused) {
                EXPECT_EQ("the pattern does not compile: " + reason, refused.what()) << part;
            }
        }
    }
}

TEST(pattern, of_many_texts_finds_what_it_finds_in_groups) {
    reference::RandomTexts random(words("a|b|b|ab|A|B|_| |-|.|\u00e9|\u212a|k", '|'));
    SCOPED_TRACE(random.SEED);
    for (int round = 0; round < 40; ++round) {
        std::vector<std::string> texts, groups;
        std::string joined;
        for (int i = 0; i < 40; ++i) {
            const std::string text = RE2::QuoteMeta(random.text(4));
            texts.push_back(text);
            groups.push_back("(?:" + text + ")");
            joined += (i == 0 ? "" : "|") + text;
        }
        for (const PatternOptions& option : std::vector<PatternOptions>{
                 {}, {.case_sensitive = false}, {.words = true}, {.whole_lines = true}}) {
            const Pattern plain(texts, option), one({joined}, option), grouped(groups, option);
            for (int i = 0; i < 20; ++i) {
                const std::string line = random.text(9);
                ASSERT_TRUE(spans(plain, line) == spans(grouped, line)) << joined << " on " << line;
                ASSERT_TRUE(spans(one, line) == spans(grouped, line)) << joined << " on " << line;
            }
        }
    }
    // Thousands, without what they share, take RE2 seconds for a line.
    std::vector<std::string> many;
    for (int i = 0; i < 40000; ++i) many.push_back(std::to_string(i * 7919 % 40000 + 100000));
    const Pattern pattern(many, {});
    for (int i = 0; i < 100; ++i) ASSERT_EQ(pattern.search(std::string(100, '-') + many[i]), 100);
}

TEST(pattern, requires_only_atoms_that_the_index_can_tell) {
    const struct {
        std::string pattern;
        bool case_sensitive;
        std::vector<std::vector<std::string>> atoms;  ///< a line without any of them cannot match
    } CASES[] = {{"Spin_lock\\(.*flags", true, {{"spin_lock("}, {"flags"}}},
                 {"foo|barbaz", true, {{"foo"}, {"barbaz"}}},
                 {"fo|barbaz", true, {}},
                 {"x*", true, {}},
                 // U+017F folds to s, and where case is ignored it may stand for one.
                 {"glassy_thing.", false, {{"gla", "y_thing"}}},
                 {"pre\u017ffix.*", true, {{"pre", "fix"}}},
                 {"pre\\x{17f}post.*", true, {{"pre"}}},
                 {"pre\\577post.*", true, {{"pre"}}},
                 {"abc\u00e9def.", true, {{"abc", "def"}}},
                 {"\u00e9\u00e9\u00e9.", true, {}}};
    for (const auto& one : CASES) {
        const RequiredAtoms atoms(Pattern({one.pattern}, {.case_sensitive = one.case_sensitive}));
        EXPECT_THAT(atoms.atoms(), testing::UnorderedElementsAreArray(one.atoms)) << one.pattern;
        EXPECT_EQ(atoms.may_match({}), one.atoms.empty()) << one.pattern;
        std::vector<int> all(atoms.atoms().size());
        std::iota(all.begin(), all.end(), 0);
        EXPECT_TRUE(atoms.may_match(all)) << one.pattern;
    }
}

}  // namespace
}  // namespace codetext::search
