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
    OldIndex() : db_path(index_path(folder.path())), db(make(db_path)) {
        db.execute_script(
            "CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;"
            "INSERT INTO meta VALUES ('schema_version', '3.0.0');"
            "CREATE TABLE files(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, language TEXT "
            "NOT NULL, size INTEGER NOT NULL, mtime_ns INTEGER NOT NULL, content_hash INTEGER NOT "
            "NULL);"
            "PRAGMA application_id = " +
            std::to_string(APPLICATION_ID) + ";" + std::string(code_text::CODE_CHUNKS_DDL));
    }
    void put(std::int64_t file_id, const std::string& path, const std::string& language,
             const std::vector<Chunk>& chunks, bool exact = false) {
        db.execute("INSERT INTO files VALUES (?, ?, ?, 1, 1, 1)", {file_id, path, language});
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            db.execute(
                "INSERT INTO code_chunks(rowid, start_line, end_line, text, exact) "
                "VALUES (?1, ?2, ?3, iif(?5, 'other', ?4), iif(?5, ?4, NULL))",
                {file_id * chunk_store::CHUNK_STRIDE + static_cast<std::int64_t>(i),
                 chunks[i].start_line, chunks[i].end_line, chunks[i].text, exact ? 1 : 0});
        }
    }
    std::string on_disk() const {
        std::string all;
        for (const Row& row :
             db.fetchall("SELECT path FROM files WHERE text_on_disk ORDER BY id")) {
            all += row.text(0) + ",";
        }
        return all;
    }

    TempFolder folder;
    std::filesystem::path db_path;
    Database db;

  private:
    static Database make(const std::filesystem::path& path) {
        std::filesystem::create_directories(path.parent_path());
        return Database(path, Access::CREATE);
    }
};

std::vector<Chunk> chunks_of(std::size_t first_bytes, std::size_t second_bytes) {
    return {{1, 1, std::string(first_bytes, 'x')}, {2, 2, std::string(second_bytes, 'y')}};
}

TEST(schema, upgrade_keeps_large_data_on_disk) {
    OldIndex old;
    old.put(1, "limit", "json", {{1, 1, std::string(32768, 'x')}});
    old.put(2, "over", "json", {{1, 1, std::string(32769, 'x')}});
    old.put(3, "two at the limit", "json", chunks_of(20000, 12767));
    old.put(4, "two over", "json", chunks_of(20000, 12768));
    std::string accents;
    for (int i = 0; i < 16385; ++i) accents += "\u00e9";
    old.put(5, "multi-byte", "json", {{1, 1, accents}});
    old.put(6, "exact counts", "json", {{1, 1, std::string(32769, 'x')}}, true);
    old.put(7, "no chunk", "json", {});
    old.put(8, "code", "c", {{1, 1, std::string(100000, 'x')}});
    old.put(9, "other case", "JSON", {{1, 1, std::string(100000, 'x')}});

    const std::vector<UpgradeStep> steps = upgrade(old.db);
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(old.on_disk(), "over,two over,multi-byte,exact counts,");
    EXPECT_EQ(version(old.db), SCHEMA_VERSION);
    EXPECT_EQ(chunk_store::layout(old.db), chunk_store::default_layout());
    // The one problem left is the file that never had a chunk.
    EXPECT_EQ(schema::verify(old.db), std::vector<std::string>{"no chunk: has no chunks yet"});
    EXPECT_TRUE(upgrade(old.db).empty());

    // No table of chunks is left to look at, or nothing that is not marked already.
    Cursor cursor(old.db);
    EXPECT_EQ(code_text::keep_large_data_on_disk(cursor), 0);
    EXPECT_NO_THROW(open_index(old.db_path, Access::READ_WRITE));
}

TEST(schema, large_data_step_leaves_marked_files_alone) {
    OldIndex old;
    old.put(1, "marked", "json", {{1, 1, std::string(40000, 'x')}});
    old.put(2, "large", "json", {{1, 1, std::string(40000, 'x')}});
    old.db.execute_script(
        "ALTER TABLE files ADD COLUMN text_on_disk INTEGER NOT NULL DEFAULT 0;"
        "UPDATE files SET text_on_disk = 1 WHERE id = 1");
    Cursor cursor(old.db);
    EXPECT_EQ(code_text::keep_large_data_on_disk(cursor), 1);
    EXPECT_EQ(old.db
                  .fetchone("SELECT group_concat(path) FROM files f WHERE EXISTS (SELECT 1 FROM "
                            "code_chunks WHERE rowid = f.id * 1048576)")
                  ->text(0),
              "marked");
    EXPECT_EQ(code_text::keep_large_data_on_disk(cursor), 0);
}

TEST(schema, upgrade_moves_the_exact_text) {
    OldIndex old;
    const std::string exact = "a\nnul here";
    old.put(1, "nul", "c", {{1, 2, exact}}, true);
    upgrade(old.db);
    const auto layout = *chunk_store::layout(old.db);
    const auto [first, end] = chunk_store::file_rowids(1);
    const auto rows = chunk_store::stored_rows(old.db, layout, first, end);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].text.view(), exact);
}

TEST(schema, a_step_that_fails_leaves_the_index_as_it_was) {
    OldIndex old;
    for (std::int64_t id = 1; id <= 30; ++id) {
        std::string text;
        for (int i = 0; i < 3000; ++i) text += static_cast<char>('!' + (i * id * 7919 % 90));
        old.put(id, "f" + std::to_string(id), "c", {{1, 1, text}});
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
    const std::filesystem::path path = index_path(folder.path());
    open_or_create_index(folder.path());
    Database(path, Access::READ_WRITE)
        .execute("UPDATE meta SET value = '9.0.0' WHERE key = 'schema_version'");
    EXPECT_THROW(open_index(path, Access::READ_ONLY), UnusableIndex);
    folder.write("not_a_database", std::string(5000, 'x'));
    EXPECT_THROW(open_index(folder.path() / "not_a_database", Access::READ_ONLY), UnusableIndex);
    Database(folder.path() / "other.db", Access::CREATE).execute("CREATE TABLE t(x)");
    EXPECT_THROW(open_index(folder.path() / "other.db", Access::READ_WRITE), UnusableIndex);
    EXPECT_THROW(open_index(folder.path() / "missing", Access::READ_ONLY), DatabaseError);
    OldIndex old;
    EXPECT_THROW(open_index(old.db_path, Access::READ_ONLY), UnusableIndex);
    EXPECT_NO_THROW(open_any_version(old.db_path, Access::READ_ONLY));
}

}  // namespace
}  // namespace codetext::schema
