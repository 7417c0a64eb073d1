// The examples of the headers in src/storage, each in the surroundings that it takes for granted.

#include <gtest/gtest.h>

#include <set>

#include "storage/chunk_store/code_chunks/table.hpp"
#include "storage/chunk_store/compressed/tables.hpp"
#include "storage/chunk_store/inventory.hpp"
#include "storage/database/statement.hpp"
#include "storage/temp_index.hpp"

namespace codetext {
namespace {

using namespace std::string_literals;
using Numbers = std::vector<std::int64_t>;

/// An index of the files 7 and 9.
class Examples : public ::testing::Test {
  protected:
    Examples() : index(chunk_store::default_layout().value()), db(index.db), layout(index.layout) {
        files.push_back(index.put(7, "src/main.c", "int spin_lock;\nx = 1;\n"));
        files.push_back(index.put(9, "b.c", "int b;\n"));
    }
    test_support::TempIndex index;
    Database& db;
    const chunk_store::Layout layout;
    std::vector<code_text::FileRow> files;
};

TEST_F(Examples, database_as_a_whole) {
    const std::filesystem::path path = db.db_path();
    std::set<std::string> used;
    const auto use = [&](const std::string& name) { used.insert(name); };
#include "example_of/storage/database.hpp"
    EXPECT_EQ(used, (std::set<std::string>{"src/main.c", "b.c"}));
}

TEST_F(Examples, database) {
    const std::filesystem::path path = db.db_path();
    std::int64_t used = 0;
    const auto use = [&](std::int64_t id) { used = id; };
#include "example_of/storage/database/database.hpp"
    EXPECT_EQ(used, 7);
}

TEST_F(Examples, cursor) {
    std::int64_t used = 0;
    const auto use = [&](std::int64_t id) { used += id; };
#include "example_of/storage/database/cursor.hpp"
    EXPECT_EQ(used, 7 + 9);
}

TEST_F(Examples, error) {
    const auto commit = [&] {
#include "example_of/storage/database/error.hpp"
    };
    EXPECT_THROW(commit(), DatabaseError) << "there is no transaction, and the disk has room";
}

TEST_F(Examples, row) {
    db.execute("UPDATE files SET size = 5000 WHERE id = 9");
    std::string used;
    const auto use = [&](std::int64_t, std::string_view path) { used += path; };
#include "example_of/storage/database/row.hpp"
    EXPECT_EQ(used, "b.c");
}

// Only the database's own files have a connection: the example is compiled, as far as a template
// is, but not run.
template <typename Connection>
void statement_example(Connection& connection, Parameters parameters) {
    const auto use = [](const RowView&) {};
#include "example_of/storage/database/statement.hpp"
}

TEST_F(Examples, transaction) {
#include "example_of/storage/database/transaction.hpp"
    EXPECT_FALSE(db.fetchone("SELECT 1 FROM files WHERE id = 7"));
}

TEST_F(Examples, schema) {
    const std::filesystem::path root = index.folder.path();
    const std::string path = this->db.db_path();
#include "example_of/storage/schema.hpp"
    EXPECT_EQ(db.db_path(), path);
}

}  // namespace

namespace chunk_store {

/// The same where the layout is the compressed one.
class CompressedExamples : public Examples {
  protected:
    void SetUp() override {
        if (layout != COMPRESSED) GTEST_SKIP() << "this SQLite makes the other layout";
    }
    std::string used;
};

TEST_F(CompressedExamples, chunk_store) {
    const auto use = [&](const ChunkRow& row) { used += row.text.view(); };
#include "example_of/storage/chunk_store.hpp"
    EXPECT_EQ(used, "int spin_lock;\nx = 1;");
}

TEST_F(CompressedExamples, candidates) {
    const auto look_at = [&](std::int64_t file_id) { used += std::to_string(file_id) + ","; };
#include "example_of/storage/chunk_store/candidates.hpp"
    EXPECT_EQ(used, "7,");
}

TEST_F(CompressedExamples, chunk_row) {
    const auto [first, end] = file_rowids(9);
    const auto use = [&](std::int64_t line, std::string_view text) {
        used = std::to_string(line) + ":" + std::string(text);
    };
#include "example_of/storage/chunk_store/chunk_row.hpp"
    EXPECT_EQ(used, "1:int b;");
}

TEST_F(CompressedExamples, matching_rows) {
    const auto use = [&](const ChunkRow& row) { used += row.text.view(); };
#include "example_of/storage/chunk_store/matching_rows.hpp"
    EXPECT_EQ(used, "int spin_lock;\nx = 1;");
}

TEST_F(CompressedExamples, tables) {
    const std::int64_t file_id = 11;
    const PackedFile packed = Packer(layout, nullptr).pack(code_text::code_chunks("one\n"));
    ShardWriter shards(db);
#include "example_of/storage/chunk_store/compressed/tables.hpp"
    EXPECT_EQ(candidates(db, trigram_query("one").value()).file_ids().size(), 1u);
}

TEST_F(Examples, code_chunks_table) {
    if (layout != CODE_CHUNKS) code_chunks::create_table(db);
    const std::int64_t file_id = 11;
    const auto [first, end] = file_rowids(file_id);
    const PackedFile packed = Packer(CODE_CHUNKS, nullptr).pack(code_text::code_chunks("one\n"));
    std::string used;
    const auto use = [&](const ChunkRow& row) { used += row.text.view(); };
#include "example_of/storage/chunk_store/code_chunks/table.hpp"
    EXPECT_EQ(used, "one");
}

TEST_F(Examples, inventory) {
    index.add_row(13, "new.c", 0);
    std::vector<std::int64_t> parsed;
    const auto parse_again = [&](std::int64_t file_id) { parsed.push_back(file_id); };
#include "example_of/storage/chunk_store/inventory.hpp"
    EXPECT_EQ(parsed, (Numbers{13}));
}

TEST_F(Examples, layout) {
    std::size_t used = 0;
    const auto use = [&](const std::vector<ChunkRow>& rows) { used = rows.size(); };
#include "example_of/storage/chunk_store/layout.hpp"
    EXPECT_EQ(used, 1u);
}

TEST_F(Examples, writer) {
    const std::string text = "one\ntwo\n";
    const std::int64_t file_id = 11;
#include "example_of/storage/chunk_store/writer.hpp"
    EXPECT_TRUE(db.fetchone(layout == COMPRESSED
                                ? "SELECT 1 FROM chunks WHERE id = 11 * 1048576"
                                : "SELECT 1 FROM code_chunks WHERE rowid = 11 * 1048576"));
}

}  // namespace chunk_store

namespace code_text {

TEST_F(Examples, chunking) {
    std::vector<Chunk> stored;
    const auto store = [&](std::int64_t first, std::int64_t last, const std::string& text) {
        stored.push_back({first, last, text});
    };
#include "example_of/storage/code_text/chunking.hpp"
    EXPECT_EQ(stored, (std::vector<Chunk>{{1, 2, "one\ntwo"}}));
}

TEST_F(Examples, context) {
    const Lines lines("a\nb\nc\nd\ne\nf");
    const std::int64_t match_line = 2;
#include "example_of/storage/code_text/context.hpp"
    EXPECT_EQ(around.size(), 4u);
    EXPECT_EQ(around.front(), (ContextLine{1, "a"}));
}

struct Regex {
    std::optional<std::int64_t> search(std::string_view line) const {
        const std::size_t place = line.find('b');
        if (place == std::string_view::npos) return std::nullopt;
        return static_cast<std::int64_t>(place);
    }
};

TEST_F(Examples, disk_text) {
    index.folder.write("c.c", "int needle;\n");
    const std::filesystem::path root = index.folder.path();
    const FileRow file{11, "c.c", "c", std::nullopt};
    std::string used;
    const auto use = [&](const Lines& lines) { used += lines.text(); };
#include "example_of/storage/code_text/disk_text.hpp"
    EXPECT_EQ(used, "int needle;");
}

TEST_F(Examples, line_matches) {
    const Segment segment{65, Lines("y\n  x = 1"), true};
    std::string shown;
    const auto show = [&](std::int64_t number, std::int64_t column, std::string_view line) {
        shown += std::to_string(number) + ":" + std::to_string(column) + ":" + std::string(line);
    };
#include "example_of/storage/code_text/line_matches.hpp"
    EXPECT_EQ(shown, "66:2:  x = 1");
}

TEST_F(Examples, segment) {
    const SegmentList segments({{1, Lines("a\nb"), false}, {3, Lines("c"), true}});
    std::string used;
    const auto use = [&](std::int64_t first, std::string_view line) {
        used += std::to_string(first) + ":" + std::string(line) + ",";
    };
#include "example_of/storage/code_text/segment.hpp"
    EXPECT_EQ(used, "1:a,1:b,3:c,");
}

TEST_F(Examples, text_source) {
    const std::string needle = "spin_lock";
    const FileRow& file = files[0];
    const auto report = [](const std::string& why) { FAIL() << why; };
#include "example_of/storage/code_text/text_source.hpp"
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].lines[0], "int spin_lock;");
}

}  // namespace code_text
}  // namespace codetext
