// `codetext index`, `status`, `upgrade` and `verify`, as their users run them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cli/program.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Runs SQL on the repository's index behind the program's back.
void tamper(const Repository& repository, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((repository.root() / ".codetext/index/code.db").c_str(), &db),
              SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(db);
}

TEST(index_command, sums_up_what_it_did) {
    Repository repository;
    repository.write("src/main.c", "int main() {}\n");
    repository.write("data.json", std::string(40000, 'j'));
    repository.write("logo.png", std::string("\x89PNG\0", 5));
    Outcome outcome = run({"index"}, repository.root());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out,
                StartsWith("indexed 2 files (2 new, 0 changed, 0 gone, 1 kept on disk, "
                           "1 binary skipped, 0 unreadable) in "));
    EXPECT_EQ(outcome.err, "") << "no progress line where there is no terminal";
    EXPECT_EQ(repository.read(".codetext/.gitignore"), "*\n");

    repository.write("src/main.c", "int main() { return 1; }\n");
    fs::remove(repository.root() / "data.json");
    outcome = run({"index", "--jobs", "3"}, repository.root() / "src");
    EXPECT_THAT(outcome.out,
                StartsWith("indexed 1 files (0 new, 1 changed, 1 gone, 0 kept on disk, "
                           "1 binary skipped, 0 unreadable) in "));
}

TEST(index_command, reports_what_it_leaves_out_and_succeeds) {
    Repository repository;
    repository.write("huge", "");
    fs::resize_file(repository.root() / "huge", std::uintmax_t{3} << 30);
    repository.write("caf\xE9", "x");
    const Outcome outcome = run({"index"}, repository.root());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("codetext: cannot read huge: File too large\n"),
                      HasSubstr("codetext: left out, its path is no UTF-8: caf\uFFFD\n")));
}

TEST(index_command, knows_status_upgrade_and_verify) {
    Repository repository;
    repository.write("a.c", "a\n");
    ASSERT_EQ(run({"index", "--layout", "code_chunks"}, repository.root()).status, 0);
    EXPECT_THAT(
        run({"status"}, repository.root()).out,
        AllOf(HasSubstr("schema          3.2.0\n"), HasSubstr("layout          code_chunks\n"),
              HasSubstr("files           1 (2 bytes)\n"), HasSubstr("chunks          1\n")));
    EXPECT_EQ(run({"upgrade"}, repository.root()).out, "up to date: schema 3.2.0\n");
    EXPECT_EQ(run({"verify"}, repository.root()).out, "the index is whole\n");

    tamper(repository, "DELETE FROM code_chunks");
    const Outcome damaged = run({"verify"}, repository.root());
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.out, "");
    EXPECT_THAT(run({"status"}, repository.root()).out, HasSubstr("without chunks  1\n"));
}

TEST(index_command, refuses_clearly) {
    Repository empty;
    Repository blocked;
    blocked.write(".codetext", "in the way");
    Repository no_database;
    no_database.write(".codetext/index/code.db", std::string(5000, 'x'));
    Repository newer;
    ASSERT_EQ(run({"index"}, newer.root()).status, 0);
    tamper(newer, "UPDATE meta SET value = '9.0.0' WHERE key = 'schema_version'");
    Repository broken_git;
    broken_git.write(".git/HEAD", "nonsense");
    empty.write("file", "");

    const struct {
        const Repository& repository;
        std::vector<std::string> arguments;
        std::string error;
    } CASES[] = {{empty, {"index", "missing"}, "missing: No such file or directory"},
                 {empty, {"index", "file"}, "file: Not a directory"},
                 {empty, {"status"}, "run `codetext index` first"},
                 {empty, {"upgrade"}, "run `codetext index` first"},
                 {empty, {"verify"}, "run `codetext index` first"},
                 {empty, {"index", "--layout", "flat"}, "--layout"},
                 {empty, {"index", "--jobs", "0"}, "--jobs"},
                 {empty, {"index", "--jobs", "many"}, "--jobs"},
                 {blocked, {"index"}, "cannot make"},
                 {no_database, {"index"}, "is no SQLite database"},
                 {no_database, {"status"}, "is no SQLite database"},
                 {newer, {"index"}, "9.0.0"},
                 {newer, {"status"}, "9.0.0"},
                 {newer, {"upgrade"}, "9.0.0"},
                 {newer, {"verify"}, "9.0.0"},
                 {broken_git, {"index"}, "git cannot list the files of"}};
    for (const auto& [repository, arguments, error] : CASES) {
        const Outcome outcome = run(arguments, repository.root());
        EXPECT_EQ(outcome.status, 2) << arguments[0] << " " << error;
        EXPECT_THAT(outcome.err, HasSubstr(error));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_FALSE(fs::exists(empty.root() / ".codetext")) << "nothing is left behind";
}

}  // namespace
}  // namespace codetext::test
