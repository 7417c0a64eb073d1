#include "storage/code_text/text_source.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

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

TEST_P(TextSourceTest, counts_only_files_that_are_neither_chunked_nor_on_disk) {
    put(1, "a", "needle\n");
    index.add_row(2, "neither kept nor on disk", 2);
    const ChunkState state = _chunk_state(index.db, index.layout);
    EXPECT_EQ(state.unchunked, 0);
    EXPECT_TRUE(state.on_disk->empty());
}

TEST_P(TextSourceTest, a_file_that_is_not_searched_has_no_segment) {
    put(1, "searched", "needle\n");
    index.put(2, "other", "needle\n");
    for (const std::optional<std::string>& needle :
         {std::optional<std::string>("needle"), std::optional<std::string>()}) {
        SourceChoice choice = choose(needle);
        EXPECT_EQ(segments(choice.source, 1, "?").size(), 1u);
        EXPECT_TRUE(segments(choice.source, 2, "?").empty());
    }
}

TEST_P(TextSourceTest, the_disk_answers_for_a_file_that_has_chunks_too) {
    put(1, "both", "needle in a chunk\n");
    index.db.execute("UPDATE files SET text_on_disk = 1");
    index.folder.write("both", "needle on disk\n");
    SourceChoice choice = choose("needle");
    EXPECT_EQ(test_support::strings(segments(choice.source, 1, "both")[0].lines),
              Strings{"needle on disk"});
    EXPECT_EQ(test_support::strings(lines(choice.source, 1, "both")), Strings{"needle on disk"});
}

// What is read must be what was promised, or the caller must hear of it.
TEST_P(TextSourceTest, a_change_since_the_search_began_is_never_a_silent_miss) {
    struct Case {
        const char* before;  ///< what runs before the search, a change that is not committed
        const char* change;  ///< what runs between the search's beginning and its reading
        const char* after;
    };
    const char* uncommitted = "BEGIN; SAVEPOINT s; UPDATE files SET size = size + 1";
    put(1, "a", "needle\n");
    for (const Case& c : std::vector<Case>{
             {"", "UPDATE files SET size = size + 1", ""},
             {uncommitted, "ROLLBACK", ""},
             {uncommitted, "/* a comment first */ ROLLBACK TO s", "ROLLBACK"},
             {uncommitted, "DELETE FROM files WHERE id = 7; ROLLBACK TO s", "ROLLBACK"},
             {"", "by another connection", ""},
         }) {
        index.db.execute_script(c.before);
        SourceChoice narrow = choose("needle"), every = choose(std::nullopt);
        if (std::string_view(c.change).starts_with("by")) {
            Database(index.db.db_path(), Access::READ_WRITE).execute("DELETE FROM meta");
        } else if (std::string_view(c.change).find(';') == std::string_view::npos) {
            index.db.execute(c.change);
        } else {
            index.db.execute_script(c.change);
        }
        for (TextSource* source : {&narrow.source, &every.source}) {
            if (index.layout == chunk_store::COMPRESSED) {
                EXPECT_THROW(segments(*source, 1, "a"), chunk_store::IndexChanged) << c.change;
            } else {
                EXPECT_EQ(segments(*source, 1, "a").size(), 1u) << c.change;
            }
        }
        index.db.execute_script(c.after);
    }
}

TEST_P(TextSourceTest, a_reader_in_a_transaction_keeps_what_it_saw) {
    put(1, "a", "needle\n");
    Database reader(index.db.db_path(), Access::READ_ONLY);
    std::optional<SourceChoice> choice;
    {
        const Transaction snapshot(reader, Transaction::Kind::READ);
        choice = text_source(reader, files, "needle", true, index.layout);
        index.store(1, "other text\n");
        EXPECT_EQ(segments(choice->source, 1, "a").size(), 1u);
    }
    index.store(1, "needle\n");
    {
        const Transaction snapshot(reader, Transaction::Kind::READ);
        choice = text_source(reader, files, "needle", true, index.layout);
    }
    EXPECT_EQ(segments(choice->source, 1, "a").size(), 1u) << "the end of it undid nothing";
}

TEST_P(TextSourceTest, a_search_after_a_rollback_finds_what_was_there_before) {
    for (std::int64_t id = 1; id <= 8; ++id) put(id, "f" + std::to_string(id), "needle\n");
    {
        Transaction transaction(index.db, Transaction::Kind::WRITE);
        chunk_store::Packer packer(index.layout, nullptr);
        chunk_store::Writer writer(index.db, index.layout);
        for (std::int64_t id = 1; id <= 7; ++id) writer.put(id, packer.pack(code_chunks("other")));
        writer.flush();
        SourceChoice inside = choose("needle");
        EXPECT_EQ(segments(inside.source, 8, "?").size(), 1u);
    }
    SourceChoice after = choose("needle");
    for (std::int64_t id = 1; id <= 8; ++id) {
        EXPECT_EQ(segments(after.source, id, "?").size(), 1u) << id;
    }
}

TEST_P(TextSourceTest, a_read_that_fails_leaves_the_lines_that_are_held) {
    put(1, "a", "one\n");
    put(2, "b", "two\n");
    SourceChoice choice = choose(std::nullopt);
    const Lines a = lines(choice.source, 1, "a");
    const bool compressed = index.layout == chunk_store::COMPRESSED;
    const std::string table = compressed ? "chunk_frames" : "code_chunks";
    index.db.execute_script("ALTER TABLE " + table + " RENAME TO away");
    EXPECT_THROW(lines(choice.source, 2, "b"), DatabaseError);
    EXPECT_TRUE(lines(choice.source, 1, "a").same_list(a));
    EXPECT_THROW(lines(choice.source, 2, "b"), DatabaseError) << "no empty list is held";
    index.db.execute_script("ALTER TABLE away RENAME TO " + table);
    EXPECT_EQ(test_support::strings(lines(choice.source, 2, "b")), Strings{"two"});
}

// For ThreadSanitizer: what two sources hand out may be one list, and its text and its line starts
// are made by whoever looks first.
TEST_P(TextSourceTest, threads_may_share_what_copies_of_a_source_hand_out) {
    put(1, "a", test_support::numbered_lines(2000));
    index.folder.write("disk", test_support::numbered_lines(2000));
    SourceChoice choice = choose(std::nullopt);
    SourceChoice disk = text_source(index.db, files, std::nullopt, true, std::nullopt);
    const std::vector<Lines> shared = {segments(choice.source, 1, "?")[0].lines,
                                       lines(choice.source, 1, "?"), lines(disk.source, 2, "disk")};
    std::vector<std::size_t> sizes(4);
    {
        std::vector<std::jthread> threads;
        for (std::size_t& size : sizes) {
            threads.emplace_back([&size, shared, source = choice.source]() mutable {
                for (const Lines& list : shared) size += list.size() + list[0].size();
                size += segments(source, 1, "?")[3].lines.size();
            });
        }
    }
    EXPECT_EQ(sizes, std::vector<std::size_t>(4, 64 + 2000 + 2000 + 3 * 6 + 64));
}

INSTANTIATE_TEST_SUITE_P(layouts, TextSourceTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace codetext::code_text
