#include "storage/code_text/line_matches.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <random>

#include "storage/code_text/context.hpp"
#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Match = std::pair<std::int64_t, std::int64_t>;
using Matches = std::vector<Match>;
using Strings = std::vector<std::string>;

/// A pattern that finds one code point.
struct FirstOf {
    char wanted;
    std::optional<std::int64_t> search(std::string_view line) const {
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
}

TEST(line_matches, a_pattern_takes_the_needles_place) {
    const Lines lines(std::string("bab\n\u00e9a\nb"));
    const FirstOf a{'a'}, empty{'\0'};
    EXPECT_EQ(matches_of(lines, "b", true, &a), (Matches{{1, 1}, {2, 1}}));
    EXPECT_EQ(matches_of(lines, "b", false, &empty), (Matches{{1, 0}, {2, 0}, {3, 0}}));
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

// Memory that no access is granted to.
class ClosedPages {
  public:
    explicit ClosedPages(std::string_view text_before)
        : _at(static_cast<char*>(
              mmap(nullptr, BYTES, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        std::fill(_at, _at + OPEN_BYTES, '\n');
        std::copy(text_before.begin(), text_before.end(), _at);
        mprotect(_at + OPEN_BYTES, BYTES - OPEN_BYTES, PROT_NONE);
    }
    ClosedPages(const ClosedPages&) = delete;
    ClosedPages& operator=(const ClosedPages&) = delete;
    ~ClosedPages() { munmap(_at, BYTES); }
    std::string_view text() const { return {_at, BYTES}; }

  private:
    static constexpr std::size_t OPEN_BYTES = 1 << 16;
    static constexpr std::size_t BYTES = 1 << 20;
    char* _at;
};

TEST(line_matches, looks_no_further_ahead_than_a_piece) {
    for (const char* lines : {"ab\nxK\n", "\u0130\n\u212a\n", "\u00e9\nk\n"}) {
        const ClosedPages pages(lines);
        for (const char* needle : {"k", ""}) {
            NeedleSearch search(needle, false);
            const auto hit = search.next(pages.text(), 0);
            ASSERT_TRUE(hit) << lines;
            EXPECT_EQ(hit->line_begin > 0, *needle == 'k') << lines;
        }
    }
}

TEST(context, clips_to_the_lines_there_are) {
    struct Case {
        std::int64_t first, last, start;
        std::vector<std::int64_t> numbers;
    };
    const Lines five(std::string("l1\nl2\nl3\nl4\nl5"));
    std::string joined = "l1";
    for (int i = 2; i <= 200; ++i) joined += "\nl" + std::to_string(i);
    const Lines many(joined);
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
                                           {MIN, MAX, -5, {-5, -4, -3, -2, -1}},
                                           {MAX, MAX, 1, {}}}) {
        std::vector<std::int64_t> numbers;
        for (const ContextLine& line : context(five, c.first, c.last, c.start)) {
            numbers.push_back(line.line);
            EXPECT_EQ(line.content, "l" + std::to_string(line.line - c.start + 1));
        }
        EXPECT_EQ(numbers, c.numbers) << c.first << " to " << c.last;
    }
    for (std::int64_t first = -2; first < 204; ++first) {
        const std::vector<ContextLine> cut = context(many, first, first + 2, 1);
        const std::int64_t begin = std::max<std::int64_t>(first, 1);
        ASSERT_EQ(std::ssize(cut), std::clamp<std::int64_t>(201 - begin, 0, first + 3 - begin));
        for (std::int64_t line = begin; line < begin + std::ssize(cut); ++line) {
            const ContextLine expected{line, many[static_cast<std::size_t>(line - 1)]};
            EXPECT_EQ(cut[static_cast<std::size_t>(line - begin)], expected) << line;
        }
    }
    EXPECT_TRUE(context(Lines(), -5, 5).empty());
}

}  // namespace
}  // namespace codetext::code_text
