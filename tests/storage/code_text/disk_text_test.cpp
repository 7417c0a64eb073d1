#include "storage/code_text/disk_text.hpp"

#include <gtest/gtest.h>

#include <new>
#include <system_error>

#include "storage/code_text/file_text.hpp"
#include "storage/temp_index.hpp"

namespace codetext::code_text {
namespace {

using Strings = std::vector<std::string>;

TEST(disk_text, hands_a_file_out_whole_or_not_at_all) {
    const test_support::TempFolder folder;
    const struct {
        std::string bytes;
        std::optional<std::string> needle;
        bool case_sensitive;
        std::optional<std::string> lines;  ///< each with a "|" behind it; none: no segment
    } CASES[] = {{"\xEF\xBB\xBF"
                  "a\r\nb\rc\xFF\n",
                  std::nullopt, true,
                  "\uFEFF"
                  "a|b|c\uFFFD|"},
                 {"\n", std::nullopt, true, "|"},
                 {"", "", true, ""},
                 {"", "a", true, std::nullopt},
                 {"Needle", "needle", true, std::nullopt},
                 {"NEEDLE", "needle", false, "NEEDLE|"},
                 {"NEEDLE", "NEEDLE", false, std::nullopt},
                 {"a\nb", "a\nb", true, "a|b|"},
                 {"\u212a\u00c9", "k\u00e9", false, "\u212a\u00c9|"}};
    for (const auto& [bytes, needle, case_sensitive, expected] : CASES) {
        folder.write("f", bytes);
        DiskText disk(folder.path(), needle, case_sensitive);
        const SegmentList segments = disk.segments(1, "f");
        ASSERT_EQ(segments.size(), expected ? 1u : 0u) << bytes;
        const Lines lines = disk.lines(1, "f");
        std::string found;
        for (const std::string_view line : lines) found.append(line).push_back('|');
        EXPECT_EQ(found, expected.value_or(""));
        if (!expected) continue;
        EXPECT_EQ(segments[0], (Segment{1, lines, true}));
        EXPECT_EQ(segments[0].lines.same_list(lines), !lines.empty());
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
        return DiskText("/", std::nullopt, true, [error](const std::filesystem::path& path) {
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

}  // namespace
}  // namespace codetext::code_text
