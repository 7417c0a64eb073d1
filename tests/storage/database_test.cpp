#include "storage/database.hpp"

#include <gmock/gmock.h>

#include <limits>

#include "storage/temp_index.hpp"

namespace codetext {
namespace {

using namespace std::string_literals;

class DatabaseTest : public ::testing::Test {
  protected:
    DatabaseTest() { db.execute("CREATE TABLE t(id INTEGER PRIMARY KEY, value)"); }
    test_support::TempFolder folder;
    Database db{folder.path() / "x.db", Access::CREATE};
};

TEST_F(DatabaseTest, keeps_values_whole) {
    const std::string text = "a\0b\xC3\xA9"s;
    const std::int64_t large = std::numeric_limits<std::int64_t>::min();
    db.execute("INSERT INTO t VALUES (1, ?), (2, ?), (3, ?), (4, ?), (5, ?)",
               {text, large, BlobView{"\0\xFF"s}, "", nullptr});
    const auto rows = db.fetchall("SELECT value FROM t ORDER BY id");
    EXPECT_EQ(rows[1].integer(0), large);
    EXPECT_EQ(rows[2].blob(0), "\0\xFF"s);
    EXPECT_EQ(rows[3].text(0), "");
    EXPECT_TRUE(rows[4].is_null(0));
    EXPECT_THROW(rows[1].text(0), DatabaseError);
    const auto expect_first = [&](const auto& row) {
        EXPECT_EQ(row.text(0), text);
        EXPECT_THROW(row.integer(0), DatabaseError);
        EXPECT_THROW(row.text(1), std::out_of_range);
        return Visit::STOP;
    };
    expect_first(rows[0]);
    db.each("SELECT value FROM t ORDER BY id", {}, expect_first);
}

TEST_F(DatabaseTest, leaves_no_statement_open_on_failure) {
    db.execute("INSERT INTO t VALUES (1, 'one'), (2, 'two')");
    EXPECT_THROW(db.each("SELECT value FROM t", {},
                         [](const RowView&) -> Visit { throw std::runtime_error("visitor"); }),
                 std::runtime_error);
    EXPECT_THROW(db.execute("INSERT INTO t VALUES (1, 'again')"), DatabaseError);
    EXPECT_THAT([&] { db.execute("SELECT ?"); }, testing::Throws<DatabaseError>(testing::Property(
                                                     &DatabaseError::statement, "SELECT ?")));
    // A statement left open would lock the table.
    EXPECT_NO_THROW(db.execute("DROP TABLE t"));
}

TEST_F(DatabaseTest, ends_what_takes_too_many_steps_and_counts_them_for_each_call) {
    const auto count = [&](std::int64_t rows) {
        const std::string sql =
            "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) SELECT count(*) "
            "FROM n";
        return db.fetchone(sql, {rows})->integer(0);
    };
    for (int call = 0; call < 9; ++call) EXPECT_EQ(count(150'000), 150'000);
    EXPECT_THROW(count(20'000'000), DatabaseError);
}

TEST_F(DatabaseTest, a_log_that_cannot_be_read_is_not_passed_over) {
    const auto beside = [this](const char* name) { return folder.path() / name; };
    db.fetchone("PRAGMA journal_mode = WAL");
    db.execute("INSERT INTO t VALUES (1, 'old')");
    db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
    db.execute("INSERT INTO t VALUES (2, 'new')");
    std::filesystem::copy_file(beside("x.db"), beside("y.db"));
    // Stands for a reader who may not make the file that SQLite keeps there: it follows no link.
    std::filesystem::create_symlink("nowhere", beside("y.db-shm"));
    const Database whole(beside("y.db"), Access::READ_ONLY);
    EXPECT_EQ(whole.fetchone("SELECT count(*) FROM t")->integer(0), 1);
    std::filesystem::copy_file(beside("x.db-wal"), beside("y.db-wal"),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_THROW(Database(beside("y.db"), Access::READ_ONLY), DatabaseError);
}

TEST_F(DatabaseTest, a_reader_takes_back_a_change_that_was_cut_short) {
    db.execute(
        "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
        "INSERT INTO t SELECT i, printf('%-3000s', 'whole') FROM n");
    db.execute("PRAGMA cache_size = 2");
    Transaction transaction(db, Transaction::Kind::WRITE);
    db.execute("UPDATE t SET value = printf('%-3000s', 'cut')");  // does not fit the memory
    for (const char* suffix : {"", "-journal"}) {
        std::filesystem::copy_file(db.db_path().string() + suffix,
                                   (folder.path() / "y.db").string() + suffix);
    }
    ASSERT_GT(std::filesystem::file_size(folder.path() / "y.db-journal"), 512u);
    const Database reader(folder.path() / "y.db", Access::READ_ONLY);
    EXPECT_EQ(reader.fetchone("SELECT count(*) FROM t WHERE value LIKE 'whole%'")->integer(0), 300);
}

}  // namespace
}  // namespace codetext
