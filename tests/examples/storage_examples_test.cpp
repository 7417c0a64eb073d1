// The examples of the headers in src/storage, each in the surroundings that it takes for granted.

#include <gtest/gtest.h>

#include "examples/seen.hpp"
#include "storage/chunk_store/code_chunks/table.hpp"
#include "storage/chunk_store/compressed/byte_codec.hpp"
#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/tables.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/inventory.hpp"
#include "storage/database/statement.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"

namespace codetext {

/// An index of the files 7 and 9.
class Examples : public ::testing::Test, public test::Takers {
  protected:
    Examples() : index(chunk_store::default_layout().value()), db(index.db), layout(index.layout) {
        files.push_back(index.put(7, "src/main.c", "int spin_lock;\nx = 1;\n"));
        files.push_back(index.put(9, "b.c", "int b;\n"));
    }
    test_support::TempIndex index;
    Database& db;
    const chunk_store::Layout layout;
    std::vector<code_text::FileRow> files;
    const std::filesystem::path root = index.folder.path(), path = db.db_path();
    const std::pair<std::int64_t, std::int64_t> rowids = chunk_store::file_rowids(11);
    const std::int64_t file_id = 11, first = rowids.first, end = rowids.second;
    const std::string text = "one\ntwo\n";
};

/// The same where the layout is the compressed one.
class CompressedExamples : public Examples {
  protected:
    void SetUp() override {
        if (layout != chunk_store::COMPRESSED) GTEST_SKIP() << "SQLite is before 3.43";
    }
};

TEST_F(Examples, database_as_a_whole) {
    db.execute("DELETE FROM files WHERE id = 7");
#include "example_of/storage/database.hpp"
    EXPECT_EQ(seen.text, "b.c,");
}

TEST_F(Examples, database) {
#include "example_of/storage/database/database.hpp"
    EXPECT_EQ(seen.text, "7,");
}

TEST_F(Examples, cursor) {
#include "example_of/storage/database/cursor.hpp"
    EXPECT_EQ(seen.text, "7,9,");
}

TEST_F(Examples, error) {
    const auto commit = [&] {
#include "example_of/storage/database/error.hpp"
    };
    EXPECT_THROW(commit(), DatabaseError) << "there is no transaction, and the disk has room";
}

TEST_F(Examples, row) {
    db.execute("UPDATE files SET size = 5000 WHERE id = 9");
#include "example_of/storage/database/row.hpp"
    EXPECT_EQ(seen.text, "9:b.c,");
}

// Only the database's own files have a connection: the example is compiled, as far as a template
// is, but not run.
template <typename Connection>
void statement_example(Connection& connection, Parameters parameters) {
    test::Seen use;
#include "example_of/storage/database/statement.hpp"
}

TEST_F(Examples, transaction) {
#include "example_of/storage/database/transaction.hpp"
    EXPECT_FALSE(db.fetchone("SELECT 1 FROM files WHERE id = 7"));
}

TEST_F(Examples, schema) {
#include "example_of/storage/schema.hpp"
    EXPECT_EQ(schema::version(db), schema::SCHEMA_VERSION);
}

TEST_F(Examples, verify) {
#include "example_of/storage/verify.hpp"
    EXPECT_EQ(seen.text, "");
}

namespace chunk_store {

TEST_F(CompressedExamples, chunk_store) {
#include "example_of/storage/chunk_store.hpp"
    EXPECT_EQ(seen.text, "int spin_lock;\nx = 1;,");
}

TEST_F(CompressedExamples, candidates) {
#include "example_of/storage/chunk_store/candidates.hpp"
    EXPECT_EQ(seen.text, "7,");
}

TEST_F(CompressedExamples, chunk_row) {
    index.put(file_id, "c.c", text);
#include "example_of/storage/chunk_store/chunk_row.hpp"
    EXPECT_EQ(seen.text, "1:one\ntwo,");
}

TEST_F(CompressedExamples, matching_rows) {
#include "example_of/storage/chunk_store/matching_rows.hpp"
    EXPECT_EQ(seen.text, "int spin_lock;\nx = 1;,");
}

TEST_F(CompressedExamples, byte_codec) {
    const Row row = db.fetchone("SELECT 1, x'0261620363'").value();
#include "example_of/storage/chunk_store/compressed/byte_codec.hpp"
    EXPECT_EQ(bytes, "ab");
    EXPECT_EQ(reader.rest(), "\3c");
}

TEST_F(CompressedExamples, dictionary) {
    db.execute("INSERT INTO chunk_dictionaries VALUES (3, x'6162')");
    const std::int64_t id_in_the_frame = 3;
#include "example_of/storage/chunk_store/compressed/dictionary.hpp"
    EXPECT_EQ(dictionary->bytes(), "ab");
}

TEST_F(CompressedExamples, packed_frame) {
    const std::vector<Chunk> chunks = {{1, 2, "one\ntwo"}};
    Dictionaries dictionaries;
    const DictionaryHandle dictionary;
    const std::int64_t rowid = first;
#include "example_of/storage/chunk_store/compressed/packed_frame.hpp"
    EXPECT_EQ(text, "one\ntwo");
}

TEST_F(CompressedExamples, posting_list) {
    const std::vector<std::uint16_t> numbers = {2, 9, 40};
    const std::uint32_t count = 3;
#include "example_of/storage/chunk_store/compressed/posting_list.hpp"
    EXPECT_EQ(same, numbers);
}

TEST_F(CompressedExamples, trigram_shard) {
    const std::vector<std::uint32_t> trigrams_of_the_first_chunk = {0x616263};
#include "example_of/storage/chunk_store/compressed/trigram_shard.hpp"
    EXPECT_EQ(candidates(db, trigram_query("abc").value()).file_ids()[0], file_id);
}

TEST_F(CompressedExamples, trigrams) {
#include "example_of/storage/chunk_store/compressed/trigrams.hpp"
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(trigrams.size(), 8u);
}

TEST_F(CompressedExamples, tables) {
    const PackedFile packed = Packer(layout, nullptr).pack(code_text::code_chunks(text));
    ShardWriter shards(db);
#include "example_of/storage/chunk_store/compressed/tables.hpp"
    EXPECT_EQ(candidates(db, trigram_query("two").value()).file_ids().size(), 1u);
}

TEST_F(Examples, code_chunks_table) {
    if (layout != CODE_CHUNKS) code_chunks::create_table(db);
    const PackedFile packed = Packer(CODE_CHUNKS, nullptr).pack(code_text::code_chunks(text));
#include "example_of/storage/chunk_store/code_chunks/table.hpp"
    EXPECT_EQ(seen.text, "one\ntwo,");
}

TEST_F(Examples, inventory) {
    index.add_row(13, "new.c", 0);
#include "example_of/storage/chunk_store/inventory.hpp"
    EXPECT_EQ(seen.text, "13,");
}

TEST_F(Examples, layout) {
#include "example_of/storage/chunk_store/layout.hpp"
    EXPECT_EQ(seen.text, "1,") << "one row";
}

TEST_F(Examples, writer) {
#include "example_of/storage/chunk_store/writer.hpp"
    EXPECT_EQ(stored_rows(db, this->layout, first, end).size(), 1u);
}

}  // namespace chunk_store

namespace code_text {

TEST_F(Examples, chunk_text) {
    const FileRow& file = files[1];
    auto source = std::get<ChunkText>(text_source(db, files, "int", true, layout).source);
#include "example_of/storage/code_text/chunk_text.hpp"
    EXPECT_EQ(seen.text, "int b;,");
    EXPECT_EQ(all.text(), "int b;");
}

TEST_F(Examples, chunking) {
#include "example_of/storage/code_text/chunking.hpp"
    EXPECT_EQ(seen.text, "1:2:one\ntwo,");
}

TEST_F(Examples, context) {
    const Lines lines("a\nb\nc\nd\ne\nf");
    const std::int64_t match_line = 2;
#include "example_of/storage/code_text/context.hpp"
    EXPECT_EQ(around.size(), 4u);
    EXPECT_EQ(around.front(), (ContextLine{1, "a"}));
}

TEST_F(Examples, disk_text) {
    index.folder.write("c.c", "int needle;\n");
    const FileRow file{file_id, "c.c", "c", std::nullopt};
#include "example_of/storage/code_text/disk_text.hpp"
    EXPECT_EQ(seen.text, "int needle;,");
}

struct Regex {
    std::optional<std::int64_t> search(std::string_view) const { return std::nullopt; }
};

TEST_F(Examples, line_matches) {
    const Segment segment{65, Lines("y\n  x = 1"), true};
#include "example_of/storage/code_text/line_matches.hpp"
    EXPECT_EQ(seen.text, "66:2:  x = 1,");
}

TEST_F(Examples, segment) {
    const SegmentList segments({{1, Lines("a\nb"), false}, {3, Lines("c"), true}});
#include "example_of/storage/code_text/segment.hpp"
    EXPECT_EQ(seen.text, "1:a,1:b,3:c,");
}

TEST_F(Examples, text_source) {
    const std::string needle = "spin_lock";
    const FileRow& file = files[0];
#include "example_of/storage/code_text/text_source.hpp"
    EXPECT_EQ(seen.text, "") << "there is no reason to read the disk";
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].lines[0], "int spin_lock;");
}

}  // namespace code_text
}  // namespace codetext
