#include "storage/code_text/line_matches.hpp"

#include <gtest/gtest.h>

#include <random>

#include "storage/code_text/context.hpp"
#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Match = std::pair<std::int64_t, std::int64_t>;
using Matches = std::vector<Match>;

/// A pattern that finds one code point, and counts the lines that it was shown.
struct FirstOf {
    char wanted;
    mutable int lines_seen = 0;
    std::optional<std::int64_t> search(std::string_view line) const {
        ++lines_seen;
        if (wanted == '\0') return 0;  // matches the empty string
        const std::size_t at = line.find(wanted);
        if (at == line.npos) return std::nullopt;
        return unicode::code_points(line.substr(0, at));
    }
};

Matches matches_of(const Lines& lines, const std::string& needle, bool case_sensitive,
                   const FirstOf* pattern = nullptr) {
    Matches found;
    for (const LineMatch& match : line_matches(lines, needle, pattern, case_sensitive)) {
        EXPECT_EQ(match.line, lines[static_cast<std::size_t>(match.number - 1)]);
        found.emplace_back(match.number, match.column);
    }
    return found;
}

/// The plain way: every line on its own.
Matches plain_matches(const Lines& lines, const std::string& needle, bool case_sensitive) {
    Matches found;
    std::int64_t number = 0;
    for (const std::string_view line : lines) {
        ++number;
        const std::string text = case_sensitive ? std::string(line) : unicode::lower(line);
        const std::size_t at = text.find(needle);
        if (at != text.npos) found.emplace_back(number, unicode::code_points(text.substr(0, at)));
    }
    return found;
}

TEST(line_matches, finds_the_first_match_of_each_line) {
    struct Case {
        std::string lines;  // joined by LF
        std::string needle;
        bool case_sensitive;
        Matches found;
    };
    for (const Case& c : std::vector<Case>{
             {"abc\nxbz\nb", "b", true, {{1, 1}, {2, 1}, {3, 0}}},
             {"aXaX", "X", true, {{1, 1}}},
             {"ABC", "b", false, {{1, 1}}},
             {"ABC", "b", true, {}},
             {"abc", "B", false, {}},
             {"a\n\nb", "", true, {{1, 0}, {2, 0}, {3, 0}}},
             {"a\n\nb", "", false, {{1, 0}, {2, 0}, {3, 0}}},
             {"\u0130x", "x", false, {{1, 2}}},
             {"\u00e9=", "=", true, {{1, 1}}},
             {"20 \u212a\nk", "k", false, {{1, 3}, {2, 0}}},
             {"a\nb", "a\nb", true, {}},
             {"x\n\u03a3\u039f\u03a3", "\u03c3\u03bf\u03c2", false, {{2, 0}}},
         }) {
        EXPECT_EQ(matches_of(Lines(c.lines), c.needle, c.case_sensitive), c.found) << c.lines;
    }
    EXPECT_EQ(matches_of(Lines(), "", true), Matches{});
}

TEST(line_matches, agrees_with_matching_line_by_line) {
    std::mt19937 random(9);
    const std::vector<std::string> needles = {"a",  "",   "foo", "k",      "ab",     "i",  "\u00e9",
                                              " x", "bc", "int", "\u0307", "\u03c3", "x_y"};
    for (int round = 0; round < 3000; ++round) {
        const Lines lines = Lines::from(unicode::joined_lines(
            test_support::nasty_text(random, static_cast<int>(random() % 30))));
        const std::string& needle = needles[random() % needles.size()];
        for (const bool sensitive : {true, false}) {
            ASSERT_EQ(matches_of(lines, needle, sensitive), plain_matches(lines, needle, sensitive))
                << lines.text() << " | " << needle;
        }
    }
}

TEST(line_matches, a_pattern_takes_the_needles_place) {
    const Lines lines(std::string("bab\n\u00e9a\nb"));
    const FirstOf a{'a'}, empty{'\0'};
    EXPECT_EQ(matches_of(lines, "b", true, &a), (Matches{{1, 1}, {2, 1}}));
    EXPECT_EQ(matches_of(lines, "b", false, &empty), (Matches{{1, 0}, {2, 0}, {3, 0}}));
}

TEST(line_matches, examines_no_line_before_it_is_asked) {
    const Lines lines(test_support::numbered_lines(1000, "a"));
    const FirstOf a{'a'};
    auto range = line_matches(lines, "", &a, true);
    EXPECT_EQ(a.lines_seen, 0);
    EXPECT_EQ(range.begin()->number, 1);
    EXPECT_EQ(a.lines_seen, 1);
}

TEST(line_matches, a_failure_ends_the_range) {
    struct FailsOnSecond {
        mutable int calls = 0;
        std::optional<std::int64_t> search(std::string_view) const {
            if (++calls == 2) throw std::runtime_error("second line");
            return 0;
        }
    } pattern;
    auto range = line_matches(Lines(std::string("a\nb\nc")), "", &pattern, true);
    auto it = range.begin();
    EXPECT_EQ(it->number, 1);
    EXPECT_THROW(++it, std::runtime_error);
    EXPECT_TRUE(it == range.end());
}

TEST(context, clips_to_the_lines_there_are) {
    struct Case {
        std::int64_t first, last, start;
        std::vector<std::int64_t> numbers;
    };
    const Lines five(std::string("l1\nl2\nl3\nl4\nl5"));
    constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
    for (const Case& c : std::vector<Case>{{2, 4, 1, {2, 3, 4}},
                                           {0, 9, 1, {1, 2, 3, 4, 5}},
                                           {-3, 1, 1, {1}},
                                           {3, 3, 1, {3}},
                                           {4, 3, 1, {}},
                                           {6, 9, 1, {}},
                                           {60, 66, 65, {65, 66}},
                                           {1, 64, 65, {}},
                                           {MIN, MAX, 65, {65, 66, 67, 68, 69}},
                                           {MAX, MAX, 1, {}}}) {
        std::vector<std::int64_t> numbers;
        for (const ContextLine& line : context(five, c.first, c.last, c.start)) {
            numbers.push_back(line.line);
            EXPECT_EQ(line.content, "l" + std::to_string(line.line - c.start + 1));
        }
        EXPECT_EQ(numbers, c.numbers) << c.first << " to " << c.last;
    }
    EXPECT_TRUE(context(Lines(), -5, 5).empty());
}

}  // namespace
}  // namespace codetext::code_text
