#include "storage/schema.hpp"

#include <gtest/gtest.h>

#include "storage/temp_index.hpp"
#include "storage/verify.hpp"

namespace codetext::schema {
namespace {

using test_support::TempFolder;

/// An index as version 3.0.0 left it: no text_on_disk, chunks in code_chunks.
class OldIndex {
  public:
    OldIndex() {
        db.execute_script(
            "CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;"
            "INSERT INTO meta VALUES ('schema_version', '3.0.0');"
            "CREATE TABLE files(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, language TEXT "
            "NOT NULL, size INTEGER NOT NULL, mtime_ns INTEGER NOT NULL, content_hash INTEGER NOT "
            "NULL); PRAGMA application_id = " +
            std::to_string(APPLICATION_ID) + ";" + std::string(code_text::CODE_CHUNKS_DDL));
    }
    /// Each of `texts` becomes a chunk of one line.
    void put(std::int64_t file_id, const std::string& path, const std::string& language,
             const std::vector<std::string>& texts, bool exact = false) {
        db.execute("INSERT INTO files VALUES (?, ?, ?, 1, 1, 1)", {file_id, path, language});
        for (std::int64_t i = 0; i < std::ssize(texts); ++i) {
            db.execute(
                "INSERT INTO code_chunks(rowid, start_line, end_line, text, exact) "
                "VALUES (?1, ?2, ?2, iif(?4, 'other', ?3), iif(?4, ?3, NULL))",
                {file_id * chunk_store::CHUNK_STRIDE + i, i + 1, texts[static_cast<std::size_t>(i)],
                 exact ? 1 : 0});
        }
    }
    std::string paths(const std::string& where) const {
        return db.fetchone("SELECT group_concat(path) FROM files f WHERE " + where)->text(0);
    }

    TempFolder folder;
    Database db{folder.path() / "old.db", Access::CREATE};
};

std::string text_of(std::size_t bytes) { return std::string(bytes, 'x'); }

TEST(schema, upgrade_keeps_large_data_on_disk_and_the_exact_text) {
    OldIndex old;
    std::string accents;
    for (int i = 0; i < 16385; ++i) accents += "\u00e9";
    old.put(1, "limit", "json", {text_of(32768)});
    old.put(2, "over", "json", {text_of(32769)});
    old.put(3, "two at the limit", "json", {text_of(20000), text_of(12767)});
    old.put(4, "two over", "json", {text_of(20000), text_of(12768)});
    old.put(5, "multi-byte", "json", {accents});
    old.put(6, "exact counts", "json", {text_of(32769)}, true);
    old.put(7, "no chunk", "json", {});
    old.put(8, "code", "c", {text_of(100000)});
    old.put(9, "other case", "JSON", {text_of(100000)});
    old.put(10, "nul", "c", {"exact"}, true);

    EXPECT_EQ(upgrade(old.db).size(), 3u);
    EXPECT_EQ(old.paths("text_on_disk"), "over,two over,multi-byte,exact counts");
    EXPECT_EQ(version(old.db), SCHEMA_VERSION);
    const auto layout = *chunk_store::layout(old.db);
    EXPECT_EQ(layout, chunk_store::default_layout());
    const auto [first, end] = chunk_store::file_rowids(10);
    EXPECT_EQ(chunk_store::stored_rows(old.db, layout, first, end).at(0).text.view(), "exact");
    // The one problem left is the file that never had a chunk.
    EXPECT_EQ(schema::verify(old.db), std::vector<std::string>{"no chunk: has no chunks yet"});
    EXPECT_TRUE(upgrade(old.db).empty());
    EXPECT_NO_THROW(open_index(old.db.db_path(), Access::READ_WRITE));
}

TEST(schema, a_step_that_fails_leaves_the_index_as_it_was) {
    OldIndex old;
    for (std::int64_t id = 1; id <= 30; ++id) {
        std::string text;
        for (int i = 0; i < 3000; ++i) text += static_cast<char>('!' + (i * id * 7919 % 90));
        old.put(id, "f" + std::to_string(id), "c", {text});
    }
    // The whole content of the database, but for what SQLite itself keeps.
    const auto dump = [&] {
        std::string all = version(old.db);
        for (const char* sql : {"SELECT rowid || ':' || text FROM code_chunks ORDER BY rowid",
                                "SELECT id || path || language FROM files ORDER BY id",
                                "SELECT name || coalesce(sql, '') FROM sqlite_master ORDER BY 1"}) {
            for (const Row& row : old.db.fetchall(sql)) all += row.text(0) + "\n";
        }
        return all;
    };
    std::int64_t pages = old.db.fetchone("PRAGMA page_count")->integer(0);
    int failures = 0;
    for (bool fails = true; fails; ++pages) {
        const std::string from = version(old.db), whole = dump();
        old.db.fetchone("PRAGMA max_page_count = " + std::to_string(pages));
        try {
            upgrade(old.db);
            fails = false;
        } catch (const DatabaseError& error) {
            ++failures;
            EXPECT_EQ(error.kind(), DatabaseError::Kind::DISK_FULL) << error.what();
            EXPECT_TRUE(version(old.db) != from || dump() == whole);
        }
    }
    EXPECT_TRUE(failures > 1 || chunk_store::default_layout() != chunk_store::COMPRESSED);
    EXPECT_EQ(schema::verify(old.db), std::vector<std::string>{});
}

}  // namespace
}  // namespace codetext::schema
