// Chunks, files on disk, and the matches and the context in their lines.

#include <gtest/gtest.h>

#include <new>
#include <system_error>

#include "storage/code_text/chunking.hpp"
#include "storage/code_text/context.hpp"
#include "storage/code_text/disk_text.hpp"
#include "storage/code_text/file_text.hpp"
#include "storage/code_text/line_matches.hpp"
#include "storage/temp_index.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {
namespace {

using Strings = std::vector<std::string>;

Strings chunk_lines(const Chunk& chunk) {
    return test_support::strings(
        _chunk_lines(chunk.start_line, chunk.end_line, chunk_store::StoredText(chunk.text)));
}

TEST(chunking, measures_and_reads_what_no_run_writes) {
    EXPECT_EQ(stored_text_bytes("\xED\xA0\x80"), 1) << "a lone surrogate";
    EXPECT_EQ(stored_text_bytes("\xED\x9F\xBF"), 3) << "U+D7FF is none";
    EXPECT_EQ(chunk_lines({1, 64, "a\rb\n"}), (Strings{"a\rb", ""}));
    EXPECT_EQ(chunk_lines({3, 2, "x"}), Strings{});
}

TEST(chunking, reads_back_the_lines_of_any_text) {
    std::mt19937 random(5);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = unicode::decode(test_support::nasty_text(
            random, static_cast<int>(random() % (round % 10 == 0 ? 700 : 12))));
        Strings read;
        std::int64_t next = 1, bytes = -1;
        for (const Chunk& chunk : code_chunks(text)) {
            EXPECT_EQ(chunk.start_line, next);
            const Strings lines = chunk_lines(chunk);
            EXPECT_EQ(std::ssize(lines), chunk.end_line - chunk.start_line + 1);
            EXPECT_LE(lines.size(), 64u);
            read.insert(read.end(), lines.begin(), lines.end());
            bytes += std::ssize(chunk.text) + 1;
            next = chunk.end_line + 1;
        }
        ASSERT_EQ(read, reference::reference_lines(text)) << ::testing::PrintToString(text);
        EXPECT_EQ(stored_text_bytes(text), bytes);
    }
}

TEST(disk_text, holds_the_last_answer_alone) {
    const test_support::TempFolder folder;
    folder.write("a", "old");
    folder.write("b", "b");
    DiskText disk(folder.path(), std::nullopt, true);
    const Lines a = disk.lines(1, "a");
    folder.write("a", "new");
    EXPECT_TRUE(disk.lines(1, "another path is not looked at").same_list(a));
    disk.lines(2, "b");
    EXPECT_EQ(test_support::strings(disk.lines(1, "a")), Strings{"new"});
    // A file that was not there stays so, until another one is read.
    EXPECT_TRUE(disk.segments(3, "later").empty());
    folder.write("later", "x");
    EXPECT_TRUE(disk.lines(3, "later").empty());
    EXPECT_EQ(disk.segments(1, "a").size(), 1u);
    EXPECT_EQ(disk.segments(3, "later").size(), 1u);
}

TEST(disk_text, absorbs_what_is_wrong_with_a_file_and_nothing_else) {
    const auto failing = [](auto error) {
        return DiskText("/", std::nullopt, true,
                        [error](const std::filesystem::path& path, std::size_t) {
                            return path.filename() == "good" ? std::string("text") : throw error;
                        });
    };
    EXPECT_TRUE(failing(std::system_error(EIO, std::generic_category())).segments(1, "f").empty());
    EXPECT_TRUE(failing(std::invalid_argument("no such path")).lines(1, "f").empty());
    DiskText broken = failing(std::bad_alloc());
    const Lines good = broken.lines(1, "good");
    EXPECT_THROW(broken.segments(2, "f"), std::bad_alloc);
    EXPECT_TRUE(broken.lines(1, "?").same_list(good)) << "a failed read replaces nothing";
    EXPECT_THROW(broken.lines(2, "f"), std::bad_alloc);
    // Neither a link, nor a folder, nor a path that no file can have; but any absolute path.
    const test_support::TempFolder folder;
    folder.write("real", "x");
    std::filesystem::create_symlink("real", folder.path() / "link");
    DiskText disk(folder.path(), "x", true), elsewhere("/nowhere", "x", true);
    for (const std::string& path :
         {std::string("link"), std::string("."), std::string("re\0al", 5)})
        EXPECT_TRUE(disk.segments(std::ssize(path), path).empty()) << path;
    EXPECT_EQ(elsewhere.segments(4, folder.path() / "real").size(), 1u);
}

using Matches = std::vector<std::pair<std::int64_t, std::int64_t>>;

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
