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
    old.put(1, "limit", "json", {text_of(32768)});
    old.put(2, "over", "json", {text_of(32769)});
    old.put(3, "two at the limit", "json", {text_of(20000), text_of(12767)});
    old.put(4, "two over", "json", {text_of(20000), text_of(12768)});
    std::string accents;
    for (int i = 0; i < 16385; ++i) accents += "\u00e9";
    old.put(5, "multi-byte", "json", {accents});
    old.put(6, "exact counts", "json", {text_of(32769)}, true);
    old.put(7, "no chunk", "json", {});
    old.put(8, "code", "c", {text_of(100000)});
    old.put(9, "other case", "JSON", {text_of(100000)});
    old.put(10, "nul", "c", {"exact"}, true);

    EXPECT_EQ(upgrade(old.db).size(), 2u);
    EXPECT_EQ(old.paths("text_on_disk"), "over,two over,multi-byte,exact counts");
    EXPECT_EQ(version(old.db), SCHEMA_VERSION);
    const auto layout = *chunk_store::layout(old.db);
    EXPECT_EQ(layout, chunk_store::default_layout());
    const auto [first, end] = chunk_store::file_rowids(10);
    EXPECT_EQ(chunk_store::stored_rows(old.db, layout, first, end).at(0).text.view(), "exact");
    // The one problem left is the file that never had a chunk.
    EXPECT_EQ(schema::verify(old.db), std::vector<std::string>{"no chunk: has no chunks yet"});
    EXPECT_TRUE(upgrade(old.db).empty());

    // No table of chunks is left to look at, or nothing that is not marked already.
    Cursor cursor(old.db);
    EXPECT_EQ(code_text::keep_large_data_on_disk(cursor), 0);
    EXPECT_NO_THROW(open_index(old.db.db_path(), Access::READ_WRITE));
}

TEST(schema, large_data_step_leaves_marked_files_alone) {
    OldIndex old;
    old.put(1, "marked", "json", {text_of(40000)});
    old.put(2, "large", "json", {text_of(40000)});
    old.db.execute_script(
        "ALTER TABLE files ADD COLUMN text_on_disk INTEGER NOT NULL DEFAULT 0;"
        "UPDATE files SET text_on_disk = 1 WHERE id = 1");
    Cursor cursor(old.db);
    EXPECT_EQ(code_text::keep_large_data_on_disk(cursor), 1);
    EXPECT_EQ(old.paths("EXISTS (SELECT 1 FROM code_chunks WHERE rowid = f.id * 1048576)"),
              "marked");
    EXPECT_EQ(code_text::keep_large_data_on_disk(cursor), 0);
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
    const auto pages = old.db.fetchone("PRAGMA page_count")->integer(0);
    int failures = 0;
    for (const int more : {0, 1, 2, 4, 8}) {
        const std::string from = version(old.db), whole = dump();
        old.db.fetchone("PRAGMA max_page_count = " + std::to_string(pages + more));
        try {
            upgrade(old.db);
            break;
        } catch (const DatabaseError& error) {
            ++failures;
            EXPECT_EQ(error.kind(), DatabaseError::Kind::DISK_FULL) << error.what();
            if (version(old.db) == from) {
                EXPECT_EQ(dump(), whole);
            }
        }
    }
    if (chunk_store::default_layout() == chunk_store::COMPRESSED) {
        EXPECT_GT(failures, 1) << "the disk never filled in the middle of a step";
    }
    old.db.fetchone("PRAGMA max_page_count = 1000000");
    upgrade(old.db);
    EXPECT_EQ(version(old.db), SCHEMA_VERSION);
    EXPECT_EQ(schema::verify(old.db), std::vector<std::string>{});
}

TEST(schema, makes_an_index_where_a_killed_run_left_a_blank_file) {
    TempFolder folder;
    const std::filesystem::path root = folder.path() / "a?b#c%41";  // no part of a URI's syntax
    const std::filesystem::path path = index_path(root);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path).close();
    EXPECT_EQ(version(open_or_create_index(root)), SCHEMA_VERSION);
    EXPECT_GT(std::filesystem::file_size(path), 0u);
    EXPECT_TRUE(std::filesystem::exists(root / ".codetext" / ".gitignore"));
    EXPECT_NO_THROW(open_index(path, Access::READ_ONLY));
}

TEST(schema, refuses_what_it_cannot_use) {
    TempFolder folder;
    open_or_create_index(folder.path())
        .execute("UPDATE meta SET value = '9.0.0' WHERE key = 'schema_version'");
    EXPECT_THROW(open_index(index_path(folder.path()), Access::READ_ONLY), UnusableIndex);
    folder.write("not_a_database", std::string(5000, 'x'));
    EXPECT_THROW(open_index(folder.path() / "not_a_database", Access::READ_ONLY), UnusableIndex);
    Database(folder.path() / "other.db", Access::CREATE).execute("CREATE TABLE t(x)");
    EXPECT_THROW(open_index(folder.path() / "other.db", Access::READ_WRITE), UnusableIndex);
    EXPECT_THROW(open_index(folder.path() / "missing", Access::READ_ONLY), DatabaseError);
    OldIndex old;
    EXPECT_THROW(open_index(old.db.db_path(), Access::READ_ONLY), UnusableIndex);
    EXPECT_NO_THROW(open_any_version(old.db.db_path(), Access::READ_ONLY));
}

}  // namespace
}  // namespace codetext::schema
