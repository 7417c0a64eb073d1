#include "storage/code_text/text_source.hpp"

#include <gtest/gtest.h>

#include "storage/temp_index.hpp"

namespace codetext::code_text {
namespace {

using test_support::TempIndex;
using Strings = std::vector<std::string>;

class TextSourceTest : public ::testing::TestWithParam<chunk_store::Layout> {
  protected:
    TextSourceTest() : index(GetParam()) {}

    SourceChoice choose(const std::optional<std::string>& needle, bool case_sensitive = true) {
        return text_source(index.db, files, needle, case_sensitive, index.layout);
    }
    void put(std::int64_t file_id, const std::string& path, const std::string& text) {
        files.push_back(index.put(file_id, path, text));
    }
    /// First lines of the file's candidate chunks.
    std::vector<std::int64_t> firsts(TextSource& source, std::int64_t file_id) {
        std::vector<std::int64_t> numbers;
        for (const Segment& segment : segments(source, file_id, "?")) {
            numbers.push_back(segment.first);
        }
        return numbers;
    }

    TempIndex index;
    std::vector<FileRow> files;
};

std::string reason(int count) {
    return "read from the files on disk: " + std::to_string(count) +
           " indexed file(s) have no chunks yet (the next index pass parses them)";
}

TEST_P(TextSourceTest, chooses_the_disk_and_says_why) {
    put(1, "a", "needle\n");
    SourceChoice none = text_source(index.db, {}, "needle", true, std::nullopt);
    EXPECT_EQ(none.reason,
              "read from the files on disk: this index has no table of the files' text");
    EXPECT_EQ(test_support::strings(lines(none.source, 1, "a")), Strings{"needle"});

    index.add_row(2, "b", 0);  // not among the searched files
    SourceChoice one = choose("needle");
    EXPECT_EQ(one.reason, reason(1));
    EXPECT_TRUE(std::holds_alternative<DiskText>(one.source));
    index.add_row(3, "c", 0);
    EXPECT_EQ(choose(std::nullopt).reason, reason(2));

    index.add_row(2, "b", 1);
    index.add_row(3, "c", 1);
    EXPECT_EQ(choose("needle").reason, std::nullopt);
    const ChunkState state = _chunk_state(index.db, index.layout);
    EXPECT_EQ(state.unchunked, 0);
    EXPECT_EQ(*state.on_disk, (FileIds{2, 3}));
}

TEST_P(TextSourceTest, only_the_first_chunk_tells_whether_a_file_has_its_chunks) {
    put(1, "a", test_support::numbered_lines(150));
    const std::string remove = index.layout == chunk_store::COMPRESSED
                                   ? "DELETE FROM chunks WHERE id "
                                   : "DELETE FROM code_chunks WHERE rowid ";
    index.db.execute(remove + "> ?", {CODE_CHUNK_STRIDE});
    EXPECT_EQ(_chunk_state(index.db, index.layout).unchunked, 0);
    index.store(1, test_support::numbered_lines(150));
    index.db.execute(remove + "= ?", {CODE_CHUNK_STRIDE});
    EXPECT_EQ(_chunk_state(index.db, index.layout).unchunked, 1);
}

TEST_P(TextSourceTest, candidates_are_the_chunks_that_may_match) {
    std::string text = test_support::numbered_lines(150);
    text.replace(text.find("line 70\n"), 7, "Needle!");
    put(1, "a", text);
    put(2, "empty", "");
    put(3, "other", "nothing here\n");
    index.put(4, "not searched", "Needle\n");

    SourceChoice narrow = choose("Needle");
    EXPECT_EQ(firsts(narrow.source, 1), std::vector<std::int64_t>{65});
    EXPECT_TRUE(firsts(narrow.source, 3).empty());
    EXPECT_EQ(std::get<ChunkText>(narrow.source).possible_files(), std::vector<std::int64_t>{1});
    SourceChoice folded = choose("needle", false);
    EXPECT_EQ(firsts(folded.source, 1), std::vector<std::int64_t>{65});
    // What the trigram index cannot answer reads every chunk.
    for (const auto& [needle, case_sensitive] :
         std::vector<std::pair<std::optional<std::string>, bool>>{
             {std::nullopt, true}, {std::string("a\0b", 3), true}, {"\u00e9\u00e9\u00e9", false}}) {
        SourceChoice wide = choose(needle, case_sensitive);
        EXPECT_EQ(firsts(wide.source, 1), (std::vector<std::int64_t>{1, 65, 129}));
        EXPECT_EQ(firsts(wide.source, 2), std::vector<std::int64_t>{1});
    }
    SourceChoice sensitive = choose("\u00e9\u00e9\u00e9");
    EXPECT_TRUE(firsts(sensitive.source, 1).empty());

    SourceChoice every = choose(std::nullopt);
    const SegmentList chunks = segments(every.source, 1, "?");
    EXPECT_EQ((std::vector<bool>{chunks[0].last, chunks[1].last, chunks[2].last}),
              (std::vector<bool>{false, false, true}));
    const SegmentList empty = segments(every.source, 2, "?");
    EXPECT_TRUE(empty[0].last && empty[0].lines.empty());
    EXPECT_TRUE(segments(every.source, 1, "?").same_list(chunks));
}

TEST_P(TextSourceTest, reads_lines_from_every_chunk_and_holds_the_last_file) {
    put(1, "a", test_support::numbered_lines(150));
    put(2, "empty", "");
    put(3, "kept", "on disk");
    index.drop(3);
    index.add_row(3, "kept", 1);
    SourceChoice choice = choose("line 99");
    const Lines a = lines(choice.source, 1, "any path");
    ASSERT_EQ(a.size(), 150u);
    EXPECT_EQ(a[149], "line 150");
    EXPECT_THROW(a[150], std::out_of_range);
    EXPECT_TRUE(lines(choice.source, 2, "?").empty());
    EXPECT_TRUE(lines(choice.source, 9, "?").empty());
    const Lines again = lines(choice.source, 1, "?");
    EXPECT_FALSE(again.same_list(a));
    EXPECT_TRUE(lines(choice.source, 3, "kept").empty()) << "it does not hold the needle";
    EXPECT_TRUE(lines(choice.source, 1, "?").same_list(again)) << "the disk leaves it alone";
    SourceChoice kept = choose("disk");
    EXPECT_EQ(test_support::strings(segments(kept.source, 3, "kept")[0].lines), Strings{"on disk"});
}

INSTANTIATE_TEST_SUITE_P(layouts, TextSourceTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace codetext::code_text
