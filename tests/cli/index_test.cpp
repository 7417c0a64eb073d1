// `codetext index`, `status`, `upgrade` and `verify`, as their users run them.

#include <gmock/gmock.h>

#include "cli/program.hpp"
#include "storage/temp_index.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Runs SQL on the repository's index behind the program's back.
void tamper(const TempFolder& repository, const std::string& sql) {
    Database(schema::index_path(repository.path()), Access::READ_WRITE).execute(sql);
}

TEST(index_command, sums_up_what_it_did_and_reports_what_it_left_out) {
    TempFolder repository;
    const fs::path root = repository.path();
    repository.write("src/main.c", "int main() {}\n");
    repository.write("data.json", std::string(40000, 'j'));
    repository.write("logo.png", std::string("\x89PNG\0", 5));
    Outcome outcome = run({"index"}, root);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output,
                StartsWith("indexed 2 files (2 new, 0 changed, 0 gone, 1 kept on disk, "
                           "1 binary skipped, 0 unreadable) in "));
    EXPECT_EQ(outcome.errors, "") << "no progress line where there is no terminal";
    EXPECT_EQ(repository.read(".codetext/.gitignore"), "*\n");

    repository.write("src/main.c", "int main() { return 1; }\n");
    fs::remove(root / "data.json");
    repository.write("huge", "");
    fs::resize_file(root / "huge", std::uintmax_t{3} << 30);
    repository.write("caf\xE9", "x");
    outcome = run({"index", "--jobs", "3"}, root / "src");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output,
                StartsWith("indexed 1 files (0 new, 1 changed, 1 gone, 0 kept on disk, "
                           "1 binary skipped, 1 unreadable) in "));
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("codetext: cannot read huge: File too large\n"),
                      HasSubstr("codetext: left out, its path is not UTF-8: caf\uFFFD\n")));
}

TEST(index_command, tells_a_repository_without_files_from_a_run_that_failed) {
    TempFolder repository;
    const fs::path root = repository.path();
    EXPECT_EQ(run({"index"}, root).status, 0);
    EXPECT_EQ(search({"x"}, root).status, 1);
    const TempFolder folder;
    for (const std::string name : {"--", "#[a]", "index"}) {
        folder.write(name + "/x", "");
        for (const char* command : {"index", "status", "upgrade", "verify"}) {
            EXPECT_EQ(run({command, "--", name}, folder.path()).status, 0) << command << name;
        }
    }
}

/// Runs codetext where no file can grow beyond `bytes`, which stands for a full disk.
Outcome run_limited(std::uintmax_t bytes, const std::string& command, const fs::path& cwd) {
    return run_command({"sh", "-c",
                        "trap '' XFSZ; exec prlimit --fsize=" + std::to_string(bytes) + " '" +
                            CODETEXT_PROGRAM + "' " + command},
                       cwd);
}

TEST(index_command, loses_nothing_where_the_disk_is_full) {
    TempFolder repository;
    const fs::path root = repository.path(), path = schema::index_path(root);
    repository.write("first.txt", test_support::numbered_lines(100'000) + "first\n");
    EXPECT_THAT(run_limited(20'000, "index", root).errors, HasSubstr(path));
    ASSERT_EQ(run({"index"}, root).status, 0);
    const std::uintmax_t size = fs::file_size(path);
    EXPECT_EQ(run_limited(0, "search code first", root).output, "first.txt:100001:first\n");
    repository.write("second.txt", test_support::numbered_lines(20'000) + "second\n");
    const Outcome outcome = run_limited(size, "index", root);
    EXPECT_EQ(outcome.status, 0) << "it has room for the log and none for the database";
    EXPECT_THAT(outcome.errors, HasSubstr("all is stored, but stays in the log"));
    EXPECT_EQ(search({"second"}, root).output, "second.txt:20001:second\n");

    EXPECT_EQ(run({"index"}, root).errors, "");
    EXPECT_GT(fs::file_size(path), size);
    EXPECT_EQ(run({"verify"}, root).status, 0);
}

TEST(index_command, knows_status_upgrade_and_verify) {
    TempFolder repository;
    repository.write("a.c", "a\n");
    const auto output = [&](const std::string& line) {
        return run(words(line), repository.path()).output;
    };
    output("index --layout code_chunks");
    EXPECT_THAT(
        output("status"),
        AllOf(HasSubstr("schema          3.3.0\n"), HasSubstr("layout          code_chunks\n"),
              HasSubstr("files           1 (2 bytes)\n"), HasSubstr("chunks          1\n")));
    EXPECT_EQ(output("upgrade"), "up to date: schema 3.3.0\n");
    EXPECT_EQ(output("verify"), "the index is whole\n");
    const std::string to_full_disk = CODETEXT_PROGRAM " status >/dev/full";
    EXPECT_EQ(run_command({"sh", "-c", to_full_disk}, repository.path()).status, 2);

    tamper(repository, "DELETE FROM code_chunks");
    const Outcome damaged = run({"verify"}, repository.path());
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.output, "");
    EXPECT_THAT(output("status"), HasSubstr("without chunks  1\n"));
    EXPECT_THAT(output("index"), HasSubstr("1 new"));
    EXPECT_EQ(output("verify"), "the index is whole\n") << "the next run completes it";
}

TEST(program, helps_and_names_the_command_that_it_does_not_have) {
    const TempFolder folder;
    const struct {
        std::string arguments, output, error;
    } CASES[] = {
        {"--help", "Usage: codetext COMMAND", ""},
        {"-h", "Usage: codetext COMMAND", ""},
        {"--version", "codetext ", ""},
        {"-V", "codetext ", ""},
        {"status -h", "Usage: codetext status ", ""},
        {"search --help", "Usage: codetext search code ", ""},
        {"search code x --help", "Usage: codetext search code ", ""},
        {"search code --type-list", "\nh: *.h, ", ""},
        {"serach code x", "", "unknown command serach; did you mean search code?\n"},
        {"flush", "", "unknown command flush; the commands are index, search code, status, "},
        {"--colour", "", "unknown option --colour; options of a command follow its name\n"},
        {"", "", "a command is missing; the commands are index, search code, status, "},
        {"-- search code x", "", "a command is missing; the commands are index, search code, "},
        {"-", "", "unknown command -; the commands are index, search code, status, "},
        {"--=x", "", "unknown option --=x; options of a command follow its name\n"},
        {"search cod x", "", "unknown command search cod; did you mean search code?\n"},
        {"search", "", "unknown command search; did you mean search code?\n"},
        {"status a b", "", "too many arguments: b\n"}};
    for (const auto& [arguments, output, error] : CASES) {
        const Outcome outcome = run(words(arguments), folder.path());
        EXPECT_EQ(outcome.status, error.empty() ? 0 : 2) << arguments;
        EXPECT_THAT(outcome.output, HasSubstr(output));
        EXPECT_THAT(outcome.errors, StartsWith(error.empty() ? "" : "codetext: " + error));
    }
}

TEST(program, writes_progress_colors_and_headings_to_a_terminal) {
    const TempFolder repository;
    repository.write("a.c", "foo\n");
    const auto shown = [&](const std::string& settings, const std::string& command) {
        const Arguments terminal = {"script", "-qec", CODETEXT_PROGRAM " " + command, "/dev/null"};
        return run_command(Arguments{"env"} + words(settings) + terminal, repository.path()).output;
    };
    EXPECT_THAT(shown("TERM=xterm", "index"),
                StartsWith("\rindexing 1 of 1 files\r\033[Kindexed 1 files"));
    EXPECT_EQ(shown("TERM=xterm NO_COLOR=", "search code foo"),
              "\033[35ma.c\033[0m\r\n\033[32m1\033[0m:\033[1;31mfoo\033[0m\r\n");
    EXPECT_EQ(shown("TERM=dumb NO_COLOR=", "search code foo"), "a.c\r\n1:foo\r\n");
    EXPECT_EQ(shown("TERM=xterm NO_COLOR=1", "search code --no-heading foo"), "a.c:1:foo\r\n");
}

TEST(index_command, repairs_what_is_damaged_and_a_search_reads_the_disk_meanwhile) {
    const struct {
        std::string damage, repaired;
    } CASES[] = {
        {"", "the index is whole"},
        {"DELETE FROM chunk_frames WHERE id / 1048576 = (SELECT id FROM files WHERE path = 'a.c')",
         "read 1 file(s) again; the index is whole now"},
        {"DELETE FROM trigram_segments", "made the index anew from 3 file(s)"},
        {"a bit", "made the index anew from 3 file(s)"}};
    for (const auto& [damage, repaired] : CASES) {
        if (chunk_store::default_layout() != chunk_store::COMPRESSED) GTEST_SKIP();
        const TempFolder repository;
        const fs::path root = repository.path();
        for (const char* name : {"a.c", "b.c", "c.c"}) {
            repository.write(name, "needle " + std::string(name));
        }
        ASSERT_EQ(run({"index"}, root).status, 0);
        const std::string all = "a.c:1:needle a.c\nb.c:1:needle b.c\nc.c:1:needle c.c\n";
        if (damage == "a bit") {
            const std::string name = ".codetext/index/code.db";
            std::string bytes = repository.read(name);
            bytes[bytes.find("needle")] ^= 4;
            repository.write(name, bytes);
        } else if (!damage.empty()) {
            tamper(repository, damage);
        }
        SCOPED_TRACE(damage);
        const Outcome meanwhile = search({"needle"}, root);
        EXPECT_EQ(meanwhile.output, all);
        EXPECT_EQ(meanwhile.errors.find("verify --repair") != std::string::npos, damage != "");
        EXPECT_EQ(search({"needle", "--source", "index"}, root).status, damage.empty() ? 0 : 2);
        const Outcome repair = run({"verify", "--repair"}, root);
        EXPECT_EQ(repair.status, 0) << repair.errors;
        EXPECT_THAT(repair.output, HasSubstr(repaired + "\n"));
        EXPECT_EQ(run({"verify"}, root).status, 0);
        EXPECT_EQ(search({"needle", "--source", "index"}, root).output, all);
    }
}

TEST(index_command, refuses_clearly) {
    const TempFolder empty, blocked, no_database, no_file, no_table, loop, newer, broken_git, blank;
    empty.write("file", "");
    blocked.write(".codetext", "in the way");
    no_database.write(".codetext/index/code.db", std::string(5000, 'x'));
    fs::create_directories(schema::index_path(no_file.path()));
    ASSERT_EQ(run({"index"}, no_table.path()).status, 0);
    tamper(no_table, "DROP TABLE meta");
    fs::create_directory(loop.path() / ".codetext");
    fs::create_symlink("index", loop.path() / ".codetext/index");
    ASSERT_EQ(run({"index"}, newer.path()).status, 0);
    tamper(newer, "UPDATE meta SET value = '9.0.0' WHERE key = 'schema_version'");
    broken_git.write(".git/HEAD", "nonsense");
    blank.write(".codetext/index/code.db", "");

    const std::string readers = "status,upgrade,verify,search code x", all = "index," + readers,
                      unfilled = "is not filled yet: run `codetext index`";
    const struct {
        const TempFolder& repository;
        std::string commands, error;
    } CASES[] = {
        {empty, "index missing", "missing: No such file or directory"},
        {empty, "index file", "file: Not a directory"},
        {empty, "status,upgrade,verify", "run `codetext index` first"},
        {no_file, all,
         no_file.path() / ".codetext/index/code.db is not a regular file; move it away"},
        {no_table, all,
         no_table.path() / ".codetext/index/code.db is not a codetext index, or a damaged"},
        {empty, "index --layout flat", "--layout"},
        {empty, "index --jobs 0,index --jobs many", "--jobs"},
        {blocked, "index", ".codetext is not a directory; move it away"},
        {no_database, "index,status,search code x", "code.db is not a SQLite database"},
        {loop, readers, ".codetext/index is not a directory; move it away"},
        {newer, all, "9.0.0"},
        {broken_git, "index", "git cannot list the files of"},
        {broken_git, "status,verify,search code x", unfilled},
        {blank, readers, unfilled}};
    for (const auto& [repository, commands, error] : CASES) {
        for (const std::string& command : words(commands, ',')) {
            const Outcome outcome = run(words(command), repository.path());
            EXPECT_EQ(outcome.status, 2) << command << " " << error;
            EXPECT_THAT(outcome.errors, HasSubstr(error));
            EXPECT_EQ(outcome.output, "");
        }
    }
    EXPECT_FALSE(fs::exists(empty.path() / ".codetext")) << "nothing is left behind";
}

}  // namespace
}  // namespace codetext::test
