#include "storage/code_text/line_matches.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>

#include "storage/code_text/context.hpp"
#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Match = std::pair<std::int64_t, std::int64_t>;
using Matches = std::vector<Match>;
using Strings = std::vector<std::string>;

/// A pattern that finds a text.
struct FirstOf {
    std::string wanted;
    std::optional<std::int64_t> search(std::string_view line) const {
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
    struct FailsOnSecond {
        mutable int calls = 0;
        std::optional<std::int64_t> search(std::string_view) const {
            if (++calls == 2) throw std::runtime_error("second line");
            return 0;
        }
    } pattern;
    auto range = line_matches(Lines(std::string("a\nb\nc")), "", &pattern, true);
    EXPECT_EQ(pattern.calls, 0);
    auto it = range.begin();
    EXPECT_EQ(it->number, 1);
    EXPECT_EQ(pattern.calls, 1);
    EXPECT_THROW(++it, std::runtime_error);
    EXPECT_TRUE(it == range.end());
}

// Most of the text is memory that no access is granted to.
TEST(line_matches, looks_no_further_ahead_than_a_piece) {
    constexpr std::size_t OPEN_BYTES = 1 << 16, BYTES = 1 << 20;
    for (const std::string lines : {"ab\nxK\n", "\u0130\n\u212a\n", "\u00e9\nk\n"}) {
        void* pages =
            mmap(nullptr, BYTES, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(pages, MAP_FAILED);
        char* text = static_cast<char*>(pages);
        std::fill(std::copy(lines.begin(), lines.end(), text), text + OPEN_BYTES, '\n');
        mprotect(text + OPEN_BYTES, BYTES - OPEN_BYTES, PROT_NONE);
        for (const char* needle : {"k", ""}) {
            const auto hit = NeedleSearch(needle, false).next({text, BYTES}, 0);
            EXPECT_TRUE(hit && (hit->line_begin > 0) == (*needle == 'k')) << lines;
        }
        munmap(pages, BYTES);
    }
}

// The plain way: every line that there is, asked whether it is in the range.
TEST(context, clips_to_the_lines_there_are) {
    constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
    const std::string all = test_support::numbered_lines(200);
    const Lines none, five(std::string("line 1\nline 2\n\nline 4\n")), many(all);
    const std::int64_t ENDS[] = {MIN, -6, -5, -3, -1, 0,  1,   2,   3,   4,   5,
                                 6,   9,  60, 64, 65, 66, 200, 201, 202, 265, MAX};
    for (const Lines& lines : {none, five, many}) {
        for (const std::int64_t first : ENDS) {
            for (const std::int64_t last : ENDS) {
                for (const std::int64_t start : {1, 65, -5}) {
                    std::vector<ContextLine> expected;
                    std::int64_t number = start;
                    for (const std::string_view line : lines) {
                        if (first <= number && number <= last) expected.push_back({number, line});
                        ++number;
                    }
                    ASSERT_EQ(context(lines, first, last, start), expected)
                        << first << " to " << last << " of lines from " << start;
                }
            }
        }
    }
}

}  // namespace
}  // namespace codetext::code_text
