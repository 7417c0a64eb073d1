#include <gmock/gmock.h>
#include <sqlite3.h>

#include "storage/database/page_check.hpp"
#include "storage/temp_index.hpp"

namespace codetext {
namespace {

namespace fs = std::filesystem;
using Kind = DatabaseError::Kind;

/// A database of small pages: rows in a tree of some depth, an index, BLOBs with overflow pages.
class PageChecksum : public ::testing::Test {
  protected:
    PageChecksum() {
        db.execute("PRAGMA page_size = 512");
        db.fetchone("PRAGMA journal_mode = WAL");
        db.execute_script(
            "CREATE TABLE t(id INTEGER PRIMARY KEY, text, body);"
            "CREATE INDEX t_by_text ON t(text); PRAGMA user_version = 4");
        fill(1, 200);
        db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
    }
    void fill(int from, int to) {
        db.execute(
            "WITH n(i) AS (SELECT ?1 UNION ALL SELECT i + 1 FROM n WHERE i < ?2) "
            "INSERT OR REPLACE INTO t SELECT i, 'text ' || (i * 7919 % 1009), "
            "CAST(printf('%0*d', i * i % 3001, i) AS BLOB) FROM n",
            {from, to});
    }
    static std::string content(const fs::path& path) {
        const Database opened(path, Access::READ_ONLY);
        std::string all;
        for (const Row& row : opened.fetchall("SELECT id || text, body FROM t ORDER BY id")) {
            all += row.text(0) + row.blob(1);
        }
        return all + opened.fetchone("SELECT group_concat(text) FROM t ORDER BY text")->text(0);
    }
    /// The content, or the kind of the failure.
    static std::variant<std::string, Kind> outcome(const fs::path& path) {
        try {
            return content(path);
        } catch (const DatabaseError& error) {
            if (error.kind() == Kind::DAMAGED_PAGE) {
                EXPECT_THAT(error.what(), testing::HasSubstr("`codetext verify --repair`"));
            }
            return error.kind();
        }
    }
    void write_copy(const std::string& bytes) const { folder.write("copy.db", bytes); }

    test_support::TempFolder folder;
    fs::path path = folder.path() / "x.db", copy = folder.path() / "copy.db";
    Database db{path, Access::CREATE};
};

TEST_F(PageChecksum, no_damage_gives_another_answer) {
    const std::string whole = content(path), bytes = folder.read("x.db");
    std::mt19937 random(20261123);
    int refused = 0;
    for (int round = 0; round < 1200; ++round) {
        std::string hurt = bytes;
        const std::size_t pages = bytes.size() / 512, page = random() % pages * 512;
        // Every bit of the header, then heads and cells of pages, cuts, and pages that moved.
        std::size_t bit = static_cast<std::size_t>(round);
        if (round >= 800) bit = (page + random() % (round % 2 == 0 ? 16 : 512)) * 8 + random() % 8;
        if (round % 10 == 9) {
            hurt.resize(random() % bytes.size());
        } else if (round % 10 == 8) {
            hurt.replace(page, 512, bytes, random() % pages * 512, 512);
        } else {
            hurt[bit / 8] = static_cast<char>(hurt[bit / 8] ^ 1 << bit % 8);
        }
        write_copy(hurt);
        const auto found = outcome(copy);
        const bool answers = std::holds_alternative<std::string>(found);
        refused += answers ? 0 : 1;
        if (answers) {
            EXPECT_EQ(std::get<std::string>(found), whole) << round;
        }
        EXPECT_EQ(check_pages(copy).is_whole(), hurt == bytes) << round;
    }
    // What the content does not need may be hurt: free pages and the rest of a locked one.
    EXPECT_GT(refused, 1100);
}

TEST_F(PageChecksum, is_no_false_alarm_whatever_a_writer_does) {
    std::mt19937 random(7);
    db.execute("PRAGMA cache_size = 4");  // pages of an open transaction go to the log and back
    for (int round = 0; round < 60; ++round) {
        std::optional<Transaction> transaction(std::in_place, db, Transaction::Kind::WRITE);
        for (int step = 0; step < 4; ++step) {
            const int from = static_cast<int>(random() % 400);
            db.execute_script("SAVEPOINT s");
            fill(from, from + static_cast<int>(random() % 60));
            db.execute("DELETE FROM t WHERE id % 17 = ?", {static_cast<int>(random() % 17)});
            db.fetchall("SELECT * FROM t ORDER BY text");
            db.execute_script(random() % 3 == 0 ? "ROLLBACK TO s" : "RELEASE s");
        }
        if (random() % 4 != 0) transaction->commit();
        transaction.reset();
        EXPECT_FALSE(content(path).empty());
        if (random() % 5 == 0) db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
        if (random() % 9 == 0) db.execute("VACUUM");
    }
    EXPECT_EQ(db.fetchone("PRAGMA integrity_check")->text(0), "ok");
    db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
    const PageCheck check = check_pages(path);
    EXPECT_TRUE(check.is_whole());
    EXPECT_TRUE(check.has_checksums);
    EXPECT_GT(check.pages, 100);
}

TEST_F(PageChecksum, a_damaged_log_is_neither_read_nor_stored) {
    db.execute("UPDATE t SET body = CAST('x' || body AS BLOB)");
    const std::string stored = folder.read("x.db");
    std::string log = folder.read("x.db-wal");
    ASSERT_GT(log.size(), 100 * 512u);
    // The content of the frame in the middle.
    log[32 + (log.size() - 32) / 536 / 2 * 536 + 24 + 300] ^= 4;
    std::fstream(folder.path() / "x.db-wal", std::ios::in | std::ios::out | std::ios::binary)
        << log;
    EXPECT_EQ(outcome(path), (std::variant<std::string, Kind>(Kind::DAMAGED_PAGE)));
    EXPECT_THROW(db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)"), DatabaseError);
    const PageCheck check = check_pages(path);
    EXPECT_EQ(check.damaged_pages, 0) << "nothing damaged got a checksum";
    EXPECT_NE(folder.read("x.db"), stored) << "what came before the damage is stored";
}

TEST_F(PageChecksum, what_another_program_writes_reads_as_damage) {
    write_copy(folder.read("x.db"));
    sqlite3* plain = nullptr;
    ASSERT_EQ(sqlite3_open(copy.c_str(), &plain), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(plain, "UPDATE t SET text = 'other' WHERE id = 100", nullptr, nullptr,
                           nullptr),
              SQLITE_OK);
    sqlite3_close(plain);
    EXPECT_EQ(outcome(copy), (std::variant<std::string, Kind>(Kind::DAMAGED_PAGE)));
    EXPECT_GT(check_pages(copy).damaged_pages, 0);
}

}  // namespace
}  // namespace codetext
