#include "storage/code_text/text_source.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <thread>

#include "storage/temp_index.hpp"

namespace codetext::code_text {
namespace {

using test_support::numbered_lines;
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
    /// The segments of the first four files as "file:first line", with a "$" at a file's end.
    std::string found(const std::optional<std::string>& needle, bool case_sensitive = true) {
        SourceChoice choice = choose(needle, case_sensitive);
        std::string all;
        for (const std::int64_t id : {1, 2, 3, 4}) {
            for (const Segment& segment : segments(choice.source, id, "?")) {
                all += fmt::format("{}:{}{} ", id, segment.first, segment.last ? "$" : "");
            }
        }
        return all;
    }
    std::int64_t unchunked() const { return _chunk_state(index.db, index.layout).unchunked; }

    test_support::TempIndex index;
    std::vector<FileRow> files;
};

TEST_P(TextSourceTest, chooses_the_disk_and_says_why) {
    const std::string why = "read from the files on disk: ";
    const std::string unchunked_files =
        " indexed file(s) have no chunks yet (the next index pass parses them)";
    put(1, "a", "needle\n");
    SourceChoice none = text_source(index.db, {}, "needle", true, std::nullopt);
    EXPECT_EQ(none.reason, why + "this index has no table of the files' text");
    EXPECT_EQ(test_support::strings(lines(none.source, 1, "a")), Strings{"needle"});

    index.add_row(2, "b", 0);  // not among the searched files
    SourceChoice one = choose("needle");
    EXPECT_EQ(one.reason, why + "1" + unchunked_files);
    EXPECT_TRUE(std::holds_alternative<DiskText>(one.source));
    index.add_row(3, "c", 0);
    EXPECT_EQ(choose(std::nullopt).reason, why + "2" + unchunked_files);

    index.add_row(2, "b", 1);
    index.add_row(3, "c", 1);
    index.add_row(4, "neither kept nor on disk", 2);
    EXPECT_EQ(choose("needle").reason, std::nullopt);
    EXPECT_EQ(unchunked(), 0);
    EXPECT_EQ(*_chunk_state(index.db, index.layout).on_disk, (FileIds{2, 3}));
}

TEST_P(TextSourceTest, only_the_first_chunk_tells_whether_a_file_has_its_chunks) {
    const std::string remove = index.layout == chunk_store::COMPRESSED
                                   ? "DELETE FROM chunks WHERE id "
                                   : "DELETE FROM code_chunks WHERE rowid ";
    for (const bool first : {false, true}) {
        put(1, "a", numbered_lines(150));
        index.db.execute(remove + (first ? "= ?" : "> ?"), {CODE_CHUNK_STRIDE});
        EXPECT_EQ(unchunked(), first ? 1 : 0);
    }
}

TEST_P(TextSourceTest, candidates_are_the_chunks_that_may_match) {
    std::string text = numbered_lines(150);
    text.replace(text.find("line 70\n"), 7, "Needle!");
    put(1, "a", text);
    put(2, "empty", "");
    put(3, "other", "x \u00e9a 5%\u00e9b_\U0001F600 y\n");
    index.put(4, "not searched", "Needle\n");
    EXPECT_EQ(found("Needle"), "1:65 ");
    EXPECT_EQ(found("needle", false), "1:65 ");
    EXPECT_EQ(found("\u00e9\u00e9\u00e9"), "");
    // SQLite 3.40's LIKE finds none of these in the table of the code_chunks layout.
    for (const char* needle : {"\u00e9a", "\U0001F600", "5%\u00e9b_\U0001F600", "_\U0001F600 y"}) {
        EXPECT_NE(found(needle).find("3:1$"), std::string::npos) << needle;
    }
    // What the trigram index cannot answer reads every chunk.
    const std::string every = "1:1 1:65 1:129$ 2:1$ 3:1$ ";
    EXPECT_EQ(found(std::nullopt), every);
    EXPECT_EQ(found(std::string("a\0b", 3)), every);
    EXPECT_EQ(found("\u00e9\u00e9\u00e9", false), every);
    SourceChoice narrow = choose("Needle"), all = choose(std::nullopt);
    EXPECT_EQ(std::get<ChunkText>(narrow.source).possible_files(), std::vector<std::int64_t>{1});
    const SegmentList empty = segments(all.source, 2, "?");
    EXPECT_TRUE(empty[0].lines.empty());
    EXPECT_TRUE(segments(all.source, 2, "?").same_list(empty));
}

TEST_P(TextSourceTest, reads_lines_from_every_chunk_and_holds_the_last_file) {
    put(1, "a", numbered_lines(150));
    put(2, "empty", "");
    put(3, "kept", "in chunks, and on disk");
    index.db.execute("UPDATE files SET text_on_disk = 1 WHERE id = 3");
    index.folder.write("kept", "on disk");
    SourceChoice choice = choose("line 99"), kept = choose("disk");
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
    EXPECT_EQ(test_support::strings(segments(kept.source, 3, "kept")[0].lines), Strings{"on disk"});
    EXPECT_EQ(test_support::strings(lines(kept.source, 3, "kept")), Strings{"on disk"});
}

constexpr const char* UNCOMMITTED = "BEGIN; SAVEPOINT s; UPDATE files SET size = size + 1";

// What is read must be what was promised, or the caller must hear of it.
TEST_P(TextSourceTest, a_change_since_the_search_began_is_never_a_silent_miss) {
    const struct {
        const char *before, *change, *after;  ///< the search starts before the change, reads after
    } CASES[] = {{"", "UPDATE files SET size = size + 1", ""},
                 {UNCOMMITTED, "ROLLBACK", ""},
                 {UNCOMMITTED, "/* a comment first */ ROLLBACK TO s", "ROLLBACK"},
                 {UNCOMMITTED, "DELETE FROM files WHERE id = 7; ROLLBACK TO s", "ROLLBACK"},
                 {"", nullptr, ""}};
    put(1, "a", "needle\n");
    for (const auto& [before, change, after] : CASES) {
        index.db.execute_script(before);
        SourceChoice narrow = choose("needle"), every = choose(std::nullopt);
        if (change == nullptr) {
            Database(index.db.db_path(), Access::READ_WRITE).execute("DELETE FROM meta");
        } else if (std::string_view(change).ends_with("TO s")) {
            index.db.execute_script(change);
        } else {
            index.db.execute(change);
        }
        for (TextSource* source : {&narrow.source, &every.source}) {
            if (index.layout == chunk_store::COMPRESSED) {
                EXPECT_THROW(segments(*source, 1, "a"), chunk_store::IndexChanged) << before;
            } else {
                EXPECT_EQ(segments(*source, 1, "a").size(), 1u) << before;
            }
        }
        index.db.execute_script(after);
    }
}

TEST_P(TextSourceTest, texts_that_need_too_much_memory_are_read_late_or_refused) {
    put(1, "a", numbered_lines(200));
    put(2, "b", numbered_lines(70, "needle "));
    put(3, "on disk", numbered_lines(100));
    index.add_row(3, "on disk", 1);
    const auto candidates = [&](std::size_t held_bytes) {
        return _candidate_chunks(index.db, index.layout, files, "needle", true, {}, held_bytes);
    };
    const CandidateChunks held = candidates(MAX_HELD_BYTES), late = candidates(0);
    EXPECT_EQ(late.file_ids(), held.file_ids());
    EXPECT_TRUE(std::ranges::equal(*late.find(2), *held.find(2)));
    EXPECT_FALSE(late.find(1) || held.find(1));
    const std::size_t size =
        (*held.find(2))[0].lines.size_bytes() + (*held.find(2))[1].lines.size_bytes();
    for (const CandidateChunks& chunks : {held, late}) {
        EXPECT_NO_THROW(chunks.find(2, size));
        EXPECT_THROW(chunks.find(2, size - 1), chunk_store::TextTooLarge);
    }
    TextSource source = choose(std::nullopt).source;
    limit_text(source, 600);
    EXPECT_THROW(segments(source, 1, "a"), chunk_store::TextTooLarge);
    EXPECT_THROW(lines(source, 1, "a"), chunk_store::TextTooLarge);
    EXPECT_THROW(segments(source, 3, "on disk"), chunk_store::TextTooLarge);
    chunk_store::DatabaseLimit limit(index.db);
    EXPECT_NO_THROW(limit.take(1 << 20));
    EXPECT_THROW(limit.take(1 << 20), DatabaseError) << "more than the database holds";
    index.store(2, "nothing\n");
    EXPECT_THROW(late.find(2), chunk_store::IndexChanged);
}

TEST_P(TextSourceTest, a_reader_in_a_transaction_keeps_what_it_saw) {
    Database reader(index.db.db_path(), Access::READ_ONLY);
    std::optional<SourceChoice> choice;
    put(1, "a", "needle\n");
    for (const bool is_changed_meanwhile : {true, false}) {
        const Transaction snapshot(reader, Transaction::Kind::READ);
        choice = text_source(reader, files, "needle", true, index.layout);
        if (is_changed_meanwhile) index.store(1, "other text\n");
        EXPECT_EQ(segments(choice->source, 1, "a").size(), 1u);
        if (is_changed_meanwhile) index.store(1, "needle\n");
    }
    EXPECT_EQ(segments(choice->source, 1, "a").size(), 1u) << "the end of it undid nothing";
}

TEST_P(TextSourceTest, a_search_after_a_rollback_finds_what_was_there_before) {
    for (std::int64_t id = 1; id <= 8; ++id) put(id, "f" + std::to_string(id), "needle\n");
    {
        Transaction transaction(index.db, Transaction::Kind::WRITE);
        chunk_store::Packer packer(index.layout, nullptr);
        chunk_store::Writer writer(index.db, index.layout);
        for (std::int64_t id = 2; id <= 8; ++id) writer.put(id, packer.pack(code_chunks("other")));
        writer.flush();
        EXPECT_TRUE(found("needle").starts_with("1:1$ "));
    }
    EXPECT_EQ(found("needle"), "1:1$ 2:1$ 3:1$ 4:1$ ");
}

// For ThreadSanitizer: what two sources hand out may be one list, and its text and its line starts
// are made by whoever looks first.
TEST_P(TextSourceTest, threads_may_share_what_copies_of_a_source_hand_out) {
    put(1, "a", numbered_lines(2000));
    index.folder.write("disk", numbered_lines(2000));
    SourceChoice choice = choose(std::nullopt);
    SourceChoice disk = text_source(index.db, files, std::nullopt, true, std::nullopt);
    const std::vector<Lines> shared = {segments(choice.source, 1, "?")[0].lines,
                                       lines(choice.source, 1, "?"), lines(disk.source, 2, "disk")};
    std::vector<std::size_t> sizes(4);
    std::vector<std::jthread> threads;
    for (std::size_t& size : sizes) {
        threads.emplace_back([&size, shared, source = choice.source]() mutable {
            for (const Lines& list : shared) size += list.size() + list[0].size();
            size += segments(source, 1, "?")[3].lines.size();
        });
    }
    threads.clear();
    EXPECT_EQ(sizes, std::vector<std::size_t>(4, 64 + 2000 + 2000 + 3 * 6 + 64));
}

INSTANTIATE_TEST_SUITE_P(layouts, TextSourceTest, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace codetext::code_text
