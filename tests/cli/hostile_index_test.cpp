// Indexes as a stranger may have made them. Whatever such an index holds, a command ends, says what
// is wrong, and reads nothing outside of the repository.

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <fstream>

#include "cli/program.hpp"
#include "storage/database/checksum_vfs.hpp"
#include "storage/database/page_checksum.hpp"
#include "storage/schema.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const std::string LAYOUTS[] = {"compressed", "code_chunks"};

/// Runs SQL as any program may that knows of the pages' checksums, with nothing switched off.
void change(const fs::path& database, const std::string& sql) {
    sqlite3* db = nullptr;
    constexpr int FLAGS = SQLITE_OPEN_READWRITE;
    ASSERT_EQ(sqlite3_open_v2(database.c_str(), &db, FLAGS, checksum_vfs()), SQLITE_OK);
    char* error = nullptr;
    sqlite3_exec(db, ("PRAGMA journal_mode = DELETE; " + sql).c_str(), nullptr, nullptr, &error);
    EXPECT_EQ(error, nullptr) << sql << ": " << (error ? error : "");
    sqlite3_free(error);
    sqlite3_close(db);
}

/// A repository whose index a stranger has changed.
class HostileIndex {
  public:
    explicit HostileIndex(const std::string& layout, const std::string& sql = "") {
        folder.write("sub/a.c", "int needle;\n");
        folder.write("b.txt", "another needle\n");
        EXPECT_EQ(run({"index", "--layout", layout}, folder.path()).status, 0);
        if (!sql.empty()) change(database(), sql);
    }
    fs::path database() const { return schema::index_path(folder.path()); }
    std::string answer(const Arguments& arguments, int status) const {
        const Outcome outcome = run(arguments, folder.path());
        EXPECT_EQ(outcome.status, status) << outcome.output << outcome.errors;
        return outcome.output + outcome.errors;
    }

    TempFolder folder;
};

bool can_make(const std::string& layout) {
    return layout == "code_chunks" || chunk_store::default_layout() == chunk_store::COMPRESSED;
}

TEST(hostile_index, tables_of_another_program_are_refused_before_they_are_read) {
    const std::string endless =
        " AS WITH RECURSIVE r(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM r) SELECT ";
    const std::string EDITS[] = {
        "CREATE VIEW more AS SELECT 1",
        "CREATE TABLE more(x)",
        "CREATE INDEX more ON files(size)",
        "CREATE TRIGGER more AFTER INSERT ON files BEGIN DELETE FROM meta; END",
        "ALTER TABLE files ADD COLUMN more AS (path)",
        "ALTER TABLE skipped_files RENAME COLUMN reason TO why",
        "DROP TABLE files; CREATE VIEW files" + endless +
            "x AS id, 'p' AS path, 'c' AS language, "
            "1 AS text_on_disk FROM r",
        "DROP TABLE meta; CREATE VIEW meta" + endless + "'k' || x AS key, 'v' AS value FROM r",
        "DROP TABLE meta; CREATE VIRTUAL TABLE meta USING fts5(key, value)",
        "DROP TABLE meta",
        "DROP TRIGGER IF EXISTS unchunked_new_file; DROP TABLE code_chunks",
        "PRAGMA writable_schema = ON; UPDATE sqlite_master SET type = x'00' WHERE name = 'meta'",
        "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, 'TEXT', 'T EXT')",
    };
    for (const std::string& edit : EDITS) {
        SCOPED_TRACE(edit);
        const bool of_compressed = edit.find("unchunked") != std::string::npos;
        if (of_compressed && !can_make("compressed")) continue;
        // Only one layout has the trigger, and only the other the table.
        const HostileIndex index("code_chunks", of_compressed ? "" : edit);
        if (of_compressed) {
            const HostileIndex other("compressed", edit.substr(0, edit.find(';')));
            other.answer({"status"}, 2);
            continue;
        }
        for (const std::string command : {"status", "verify", "upgrade", "index"}) {
            EXPECT_EQ(index.answer({command}, 2),
                      "codetext: " + index.database().string() +
                          " is not a codetext index, or a damaged one; move it away and run "
                          "`codetext index`\n");
        }
    }
}

TEST(hostile_index, values_that_no_run_writes_are_damage) {
    const std::string COMPRESSED = "compressed", CODE_CHUNKS = "code_chunks", BOTH = "";
    const auto path = [](const std::string& sql) {
        return "UPDATE files SET path = " + sql + " WHERE path = 'b.txt'";
    };
    const std::string OUT = "leads out of the repository",
                      FRAME = "UPDATE chunk_frames SET body = x'";
    const struct {
        std::string layout, sql, in_search, in_verify;
    } CASES[] = {
        {BOTH, path("'/etc/hostname'"), OUT, OUT},
        {BOTH, path("'../b.txt'"), OUT, OUT},
        {BOTH, path("'sub/../b.txt'"), OUT, OUT},
        {BOTH, path("'sub//a.c'"), OUT, OUT},
        {BOTH, path("''"), OUT, OUT},
        {BOTH, path("'b' || char(0)"), OUT, OUT},
        {BOTH, path("printf('%.*c', 70000, 'x')"), OUT, OUT},
        {BOTH, "UPDATE files SET language = printf('%.*c', 999, 'x')", "has no language", ""},
        {BOTH, "UPDATE files SET id = 9223372036854775807 - id", "", "no file has the id"},
        {BOTH, "UPDATE meta SET value = printf('%.*c', 99999, '3')", "not a codetext index",
         "not a codetext index"},
        {COMPRESSED, "UPDATE chunk_frames SET id = id + 1", "", "no frame begins"},
        // One chunk that ends the file, from line 1: one line of 1.5 GB.
        {COMPRESSED, FRAME + "0301000180bca1ca0500'", "too large", "too large"},
        // The same, of 2^41 lines; then from line 2^62.
        {COMPRESSED, FRAME + "030100808080808080400100'", "line numbers", "line numbers"},
        {COMPRESSED, FRAME + "0380808080808080808040000100'", "line numbers", "line numbers"},
        {COMPRESSED, "UPDATE trigram_segments SET id = 1099511627776", "no shard", "no shard"},
        {COMPRESSED, "UPDATE trigram_segments SET files = zeroblob(2000000)", "too large",
         "too large"},
        {COMPRESSED, "UPDATE trigram_lists SET body = zeroblob(2000000)", "too large", "too large"},
        {CODE_CHUNKS, "UPDATE code_chunks_content SET c0 = 9223372036854775807", "line numbers",
         "line numbers"},
        {CODE_CHUNKS, "UPDATE code_chunks_content SET c1 = 9223372036854775807", "line numbers",
         "line numbers"},
        {CODE_CHUNKS, "UPDATE code_chunks_content SET c1 = -9223372036854775807", "line numbers",
         "line numbers"},
    };
    for (const auto& [wanted, sql, in_search, in_verify] : CASES) {
        for (const std::string& layout : LAYOUTS) {
            if ((!wanted.empty() && wanted != layout) || !can_make(layout)) continue;
            SCOPED_TRACE(layout + ": " + sql);
            const HostileIndex index(layout, sql);
            if (!in_search.empty()) {
                for (const std::string more : {"--limit=9", "--context=1"}) {
                    EXPECT_THAT(
                        index.answer({"search", "code", "needle", "--source=index", more}, 2),
                        testing::HasSubstr(in_search));
                }
            }
            if (in_verify.empty()) continue;
            const Outcome verified = run({"verify"}, index.folder.path());
            EXPECT_TRUE(verified.status == 1 || verified.status == 2) << verified.status;
            EXPECT_THAT(verified.output + verified.errors, testing::HasSubstr(in_verify));
        }
    }
}

void put_number(std::string& bytes, std::size_t at, std::size_t size, std::uint64_t number) {
    for (; size > 0; --size, number >>= 8) bytes[at + size - 1] = static_cast<char>(number);
}

/// Gives the tree of a table five levels of pages, each of which names the next 200 times.
void make_endless(const fs::path& database, const std::string& table) {
    constexpr std::size_t LEVELS = 5, CHILDREN = 200, PAGE = 32768, CELL = 5, HEAD = 12;
    constexpr std::size_t CONTENT = PAGE - page_checksum::BYTES;
    const std::int64_t root =
        Database(database, Access::READ_ONLY)
            .fetchone("SELECT rootpage FROM sqlite_master WHERE name = ?", {table})
            ->integer(0);
    std::string bytes = (std::ostringstream() << std::ifstream(database).rdbuf()).str();
    const std::string leaf = bytes.substr(static_cast<std::size_t>(root - 1) * PAGE, PAGE);
    std::size_t child = bytes.size() / PAGE + 1;
    bytes += leaf;
    for (std::size_t level = 1; level <= LEVELS; ++level) {
        std::string page(PAGE, '\0');
        page[0] = 5;  // an inner page of a table
        put_number(page, 3, 2, CHILDREN);
        put_number(page, 5, 2, CONTENT - CHILDREN * CELL);
        put_number(page, 8, 4, child);
        for (std::size_t i = 0; i < CHILDREN; ++i) {
            const std::size_t cell = CONTENT - (i + 1) * CELL;
            put_number(page, HEAD + 2 * i, 2, cell);
            put_number(page, cell, 4, child);
            page[cell + 4] = 1;
        }
        if (level == LEVELS) {
            bytes.replace(static_cast<std::size_t>(root - 1) * PAGE, PAGE, page);
        } else {
            bytes += page;
            child = bytes.size() / PAGE;
        }
    }
    put_number(bytes, 28, 4, bytes.size() / PAGE);
    for (std::size_t at = 0; at < bytes.size(); at += PAGE) {
        page_checksum::put(std::span(bytes).subspan(at, PAGE),
                           static_cast<std::int64_t>(at / PAGE) + 1);
    }
    std::ofstream(database, std::ios::trunc) << bytes;
}

TEST(hostile_index, a_table_without_end_ends) {
    if (IS_SANITIZED) GTEST_SKIP() << "it takes minutes";
    for (const std::string one : {"compressed files search code e --source=index",
                                  "compressed trigram_segments search code needle --source=index",
                                  "code_chunks code_chunks_docsize status"}) {
        SCOPED_TRACE(one);
        const Arguments parts = words(one);
        if (!can_make(parts[0])) continue;
        const HostileIndex index(parts[0], "SELECT 1");
        make_endless(index.database(), parts[1]);
        index.answer({parts.begin() + 2, parts.end()}, 2);
        EXPECT_NE(run({"verify"}, index.folder.path()).status, 0);
    }
}

}  // namespace
}  // namespace codetext::test
