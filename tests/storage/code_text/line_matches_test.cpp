#include "storage/code_text/line_matches.hpp"

#include <gtest/gtest.h>

#include "storage/code_text/context.hpp"
#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Matches = std::vector<std::pair<std::int64_t, std::int64_t>>;
using Strings = std::vector<std::string>;

/// A pattern that finds a text.
struct FirstOf {
    std::optional<std::int64_t> search(std::string_view line) const {
        ++looks;
        const std::size_t at = line.find(wanted);
        if (at == line.npos) return std::nullopt;
        return looks == fails_at ? throw std::runtime_error("this line")
                                 : unicode::code_points(line.substr(0, at));
    }
    std::string wanted;
    int fails_at = 0;
    mutable int looks = 0;
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
        if (const auto column = FirstOf{needle}.search(text)) found.emplace_back(number, *column);
    }
    return found;
}

TEST(line_matches, agrees_with_matching_line_by_line) {
    const Lines kelvin(std::string("20 \u212a\n\u0130k\nkk"));
    EXPECT_EQ(plain_matches(kelvin, "k", false), (Matches{{1, 3}, {2, 2}, {3, 0}}));
    EXPECT_EQ(matches_of(Lines(), "", true), Matches{});
    std::mt19937 random(9);
    const Strings needles = reference::words(
        "a,b,A,,foo,k,ab,i,\u00e9, x,bc,int,\u0307,\u03c3,\u03c2,a\u03c2,x_y,a\nb", ',');
    for (int round = 0; round < 4000; ++round) {
        std::string text = test_support::nasty_text(random, static_cast<int>(random() % 30));
        // More than is searched at once, most of it without the letters that lower-case into ASCII.
        for (int part = 0; round % 50 == 0 && part < 3; ++part) {
            for (auto i = random() % 900; i > 0; --i) text += i % 50 == 0 ? "ab\n" : "z-\n";
            text += test_support::nasty_text(random, 10);
        }
        const Lines lines = Lines::from(unicode::joined_lines(std::move(text)));
        const std::string& needle = needles[random() % needles.size()];
        for (const bool sensitive : {true, false}) {
            ASSERT_EQ(matches_of(lines, needle, sensitive), plain_matches(lines, needle, sensitive))
                << lines.text() << " | " << needle;
        }
    }
    // A pattern takes the needle's place.
    const FirstOf b{"b"}, empty{""};
    const Lines two(std::string("ab\n\u00e9b"));
    EXPECT_EQ(matches_of(two, "a", true, &b), (Matches{{1, 1}, {2, 1}}));
    EXPECT_EQ(matches_of(two, "a", false, &empty), (Matches{{1, 0}, {2, 0}}));
}

TEST(line_matches, looks_at_no_line_too_early_and_at_none_after_a_failure) {
    const FirstOf pattern{"", 2};
    auto range = line_matches(Lines(std::string("a\nb\nc")), "", &pattern, true);
    EXPECT_EQ(pattern.looks, 0);
    auto it = range.begin();
    EXPECT_EQ(it->number, 1);
    EXPECT_EQ(pattern.looks, 1);
    EXPECT_THROW(++it, std::runtime_error);
    EXPECT_TRUE(it == range.end());
}

// The plain way: every line that there is, asked whether it is in the range.
TEST(context, clips_to_the_lines_there_are) {
    using Limits = std::numeric_limits<std::int64_t>;
    const std::string all = test_support::numbered_lines(200);
    const Lines none, five(std::string("line 1\nline 2\n\nline 4\n")), many(all);
    const std::int64_t ENDS[] = {
        Limits::min(), -6, -5, -1, 0, 1, 2, 4, 5, 6, 60, 64, 65, 200, 201, 202, 265, Limits::max()};
    const auto expect = [&](const Lines& lines, auto first, auto last, auto start) {
        std::vector<ContextLine> expected;
        std::int64_t number = start;
        for (const std::string_view line : lines) {
            if (first <= number && number <= last) expected.push_back({number, line});
            ++number;
        }
        ASSERT_EQ(context(lines, first, last, start), expected)
            << first << " to " << last << " of lines from " << start;
    };
    for (const Lines& lines : {none, five, many}) {
        for (const std::int64_t first : ENDS) {
            for (const std::int64_t last : ENDS) {
                for (const std::int64_t start : {1, 65, -5}) expect(lines, first, last, start);
            }
        }
    }
}

}  // namespace
}  // namespace codetext::code_text
