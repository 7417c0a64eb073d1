// Trees that a stranger made, and too little of something: nothing outside the tree is read or
// written, nothing is waited for, and no answer is short without a word.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "cli/program.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

/// A repository with an index, and beside it what it must not reach.
struct Tree {
    TempFolder folder;
    fs::path root = folder.path() / "root";
    Tree() {
        folder.write("root/src/a.c", "needle inside\n");
        folder.write("root/src/data.json", "needle " + std::string(40000, 'j'));
        folder.write("outside/a.c", "needle secret\n");
        folder.write("outside/data.json", "needle secret" + std::string(40000, 'j'));
        folder.write("outside/file", "untouched");
        EXPECT_EQ(run({"index"}, root).status, 0);
    }
};

TEST(hostile_tree, what_belongs_to_the_index_is_no_link_and_no_fifo) {
    for (const std::string name :
         {"", "/index", "/.gitignore", "/index/lock", "/index/code.db", "/index/code.db-wal",
          "/index/code.db-shm", "/index/code.db-journal"}) {
        for (const bool is_fifo : {false, true}) {
            const Tree tree;
            const fs::path path = tree.root.string() + "/.codetext" + name;
            const bool is_directory = fs::is_directory(path);
            // A link to an equal thing elsewhere, or a FIFO.
            fs::remove_all(tree.folder.path() / "moved");
            if (fs::exists(path)) fs::rename(path, tree.folder.path() / "moved");
            if (is_fifo) {
                ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
            } else if (fs::exists(tree.folder.path() / "moved")) {
                fs::create_symlink(tree.folder.path() / "moved", path);
            } else {
                fs::create_symlink(tree.folder.path() / "outside/file", path);
            }
            const std::string program = "timeout 20 " CODETEXT_PROGRAM;
            const Outcome index = run_command({"sh", "-c", program + " index"}, tree.root);
            const bool is_harmless = is_fifo && name == "/index/lock";
            EXPECT_EQ(index.status, is_harmless ? 0 : 2) << name << is_fifo << index.errors;
            EXPECT_EQ(tree.folder.read("outside/file"), "untouched") << name;
            if (name == "/.gitignore" || name == "/index/lock") continue;
            EXPECT_EQ(run_command({"sh", "-c", program + " search code needle"}, tree.root).status,
                      2)
                << name << is_fifo << is_directory;
        }
    }
}

TEST(hostile_tree, an_index_is_private_and_another_user_s_is_used_only_when_asked) {
    const Tree tree;
    const fs::path directory = tree.root / ".codetext";
    EXPECT_EQ(fs::status(directory).permissions(), fs::perms::owner_all);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(directory.c_str(), 12345, 12345), 0);
        for (const char* command :
             {"index", "search code needle", "status", "verify", "upgrade", "clean"}) {
            const Outcome refused = run(words(command), tree.root);
            EXPECT_EQ(refused.status, 2) << command;
            EXPECT_THAT(refused.errors, HasSubstr("another user (id 12345)"));
            if (std::string_view(command) == "clean") break;
            EXPECT_EQ(run(words(command) + Arguments{"--any-owner"}, tree.root).status, 0)
                << command;
        }
        ASSERT_EQ(::chown(directory.c_str(), 0, 0), 0);
    }
    tree.folder.write("root/.codetext/mine", "kept");
    EXPECT_EQ(run({"clean"}, tree.root).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), 1);
    fs::remove(directory / "mine");
    EXPECT_EQ(run({"index"}, tree.root).status, 0);
    EXPECT_EQ(run({"clean"}, tree.root / "src").status, 0);
    EXPECT_FALSE(fs::exists(directory));
    EXPECT_THAT(run({"clean"}, tree.root).output, HasSubstr("no index in"));
}

TEST(hostile_tree, a_directory_that_became_a_link_leads_nowhere) {
    const Tree tree;
    fs::rename(tree.root / "src", tree.root / "was");
    fs::create_symlink(tree.folder.path() / "outside", tree.root / "src");
    for (const char* source : {"disk", "auto"}) {
        const Outcome found = search({"needle", "--source", source}, tree.root);
        EXPECT_THAT(found.output, ::testing::Not(HasSubstr("secret"))) << source;
    }
    EXPECT_EQ(run({"index"}, tree.root).status, 0);
    EXPECT_THAT(search({"needle", "-l"}, tree.root).output, "was/a.c\nwas/data.json\n");
}

TEST(hostile_tree, with_few_descriptors_it_does_all_or_says_that_it_cannot) {
    if (IS_SANITIZED) GTEST_SKIP();
    TempFolder folder;
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::to_string(i);
        folder.write("d" + name + "/e/f/" + name + ".c", "needle " + name + "\n");
    }
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    const std::string all = search({"needle"}, folder.path()).output;
    for (const char* command :
         {"index", "search code needle", "search code needle --source disk"}) {
        int complete = 0, failed = 0;
        for (int limit = 3; limit < 24; ++limit) {
            if (command == std::string("index")) fs::remove_all(folder.path() / ".codetext");
            const Outcome outcome = run_command(
                {"sh", "-c",
                 "ulimit -n " + std::to_string(limit) + "; exec " CODETEXT_PROGRAM " " + command},
                folder.path());
            const bool is_whole = command == std::string("index")
                                      ? outcome.output.starts_with("indexed 40 files (40 new")
                                      : outcome.output == all;
            EXPECT_TRUE(outcome.status == 0 ? is_whole
                                            : outcome.status >= 2 && outcome.errors != "")
                << command << " with " << limit << ": " << outcome.status << outcome.output
                << outcome.errors;
            ++(outcome.status == 0 ? complete : failed);
        }
        EXPECT_GT(complete, 0) << command;
        EXPECT_GT(failed, 0) << command;
        run({"index"}, folder.path());
    }
}

TEST(hostile_tree, a_file_that_cannot_be_read_is_counted_and_named) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may read every file";
    const Tree tree;
    fs::permissions(tree.root / "src/data.json", fs::perms::none);
    const Outcome found = search({"needle"}, tree.root);
    EXPECT_EQ(found.status, 2);
    EXPECT_EQ(found.output, "src/a.c:1:needle inside\n");
    EXPECT_THAT(found.errors, HasSubstr("1 file(s) could not be read"));
}

}  // namespace
}  // namespace codetext::test
