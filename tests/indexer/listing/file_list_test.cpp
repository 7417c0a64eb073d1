#include "indexer/listing/file_list.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "indexer/listing/file_status.hpp"
#include "utils/descriptor.hpp"
#include "utils/open_below.hpp"
#include "utils/platform.hpp"
#include "utils/process.hpp"
#include "utils/reference.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::indexer {
namespace {

namespace fs = std::filesystem;
using test_support::TempFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Runs git in `directory` with a configuration of its own.
void git(const fs::path& directory, const std::string& arguments) {
    std::vector<std::string> command = reference::words(
        "git -c user.name=t -c user.email=t@t -c protocol.file.allow=always -C . " + arguments);
    *std::find(command.begin(), command.end(), ".") = directory;
    const auto result = run_process(command, {"PATH=/usr/local/bin:/usr/bin:/bin",
                                              "HOME=/nonexistent", "GIT_CONFIG_NOSYSTEM=1"});
    if (result.status != 0) throw std::runtime_error(arguments + ": " + result.errors);
}

void write(const TempFolder& folder, const std::vector<std::string>& names) {
    for (const std::string& name : names) folder.write(name, name);
}

// A git work tree whose files are tracked and committed.
void make_repository(const TempFolder& folder, const std::string& prefix,
                     const std::string& tracked) {
    fs::create_directories(folder.path() / prefix);
    git(folder.path() / prefix, "init -q -b main");
    for (const std::string& name : reference::words(tracked)) write(folder, {prefix + name});
    git(folder.path() / prefix, "add -f .");
    git(folder.path() / prefix, "commit -q --allow-empty -m all");
}

std::vector<std::string> paths(const fs::path& root, unsigned threads = 2) {
    std::vector<std::string> result;
    for (const FileEntry& file : list_files(root, threads).files) result.push_back(file.path);
    return result;
}

void make_fifo(const fs::path& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }

class FileListTest : public ::testing::Test {
  protected:
    TempFolder folder;
};

TEST_F(FileListTest, outside_git_is_every_regular_file_in_path_order) {
    write(folder, {"a/b.c", "a.c", "a0", "a/.hidden", "a/b/c/d", "two\nlines", "z/\xC3\xA9",
                   ".git/config", ".codetext/index/code.db", "a/.codetext/x", "a/.git/x"});
    fs::create_symlink("a.c", folder.path() / "link");
    fs::create_symlink("a", folder.path() / "a_link");
    fs::create_directory(folder.path() / "empty");
    make_fifo(folder.path() / "fifo");
    for (const unsigned threads : {1U, 4U}) {
        EXPECT_THAT(
            paths(folder.path(), threads),
            ElementsAre("a.c", "a/.hidden", "a/b.c", "a/b/c/d", "a0", "two\nlines", "z/\xC3\xA9"))
            << threads << " threads";
    }
}

TEST(file_list, has_size_and_time_and_reports_paths_that_are_no_utf8) {
    for (const bool in_git : {false, true}) {
        TempFolder folder;
        write(folder, {"caf\xE9", "d/\xFF/x", "plain"});
        if (in_git) make_repository(folder, "", "");
        const FileList list = list_files(folder.path(), 2);
        EXPECT_THAT(list.warnings, ElementsAre(HasSubstr("caf\uFFFD"), HasSubstr("d/\uFFFD/x")));
        ASSERT_EQ(list.files.size(), 1U);
        struct stat status {};
        ASSERT_EQ(::lstat((folder.path() / "plain").c_str(), &status), 0);
        EXPECT_EQ(list.files[0].stamp, stamp_of(status));
    }
}

TEST_F(FileListTest, in_git_is_what_git_names_and_is_a_regular_file) {
    make_repository(folder, "",
                    ".gitignore sub/kept.log gone now_link now_fifo now_directory behind/a_link "
                    "src/main.c .codetext/forced folder/x");
    folder.write(".gitignore", "*.log\nbuild/\n");
    write(folder, {"new", "src/two\nlines", "ignored.log", "src/ignored.log", "build/out",
                   "elsewhere/a_link"});
    for (const char* name : {"gone", "now_link", "now_fifo", "now_directory", "behind", "folder"}) {
        fs::remove_all(folder.path() / name);
    }
    fs::create_symlink("new", folder.path() / "now_link");
    fs::create_directory(folder.path() / "now_directory");
    fs::create_directory_symlink("elsewhere", folder.path() / "behind");
    folder.write("folder", "a file now");
    make_fifo(folder.path() / "now_fifo");
    make_fifo(folder.path() / "fifo");

    EXPECT_THAT(paths(folder.path()), ElementsAre(".gitignore", "elsewhere/a_link", "folder", "new",
                                                  "src/main.c", "src/two\nlines", "sub/kept.log"));
    EXPECT_THAT(list_files(folder.path(), 2).warnings, IsEmpty());
    fs::create_directories(folder.path() / "src/.git");  // that of no repository: it has no HEAD
    EXPECT_THAT(paths(folder.path() / "src"), ElementsAre("main.c", "two\nlines"));
    const std::vector<std::string> too_long = {"new", std::string(300, 'x')};
    const std::vector<std::string> outside = {"../" + folder.path().filename().string() + "/new"};
    EXPECT_THAT(look_at_paths(open_root(folder.path()), outside, 1).warnings,
                ElementsAre(HasSubstr("leads out")));
    EXPECT_THAT(look_at_paths(open_root(folder.path()), too_long, 2).warnings,
                ElementsAre(HasSubstr("File name too long")));
}

TEST_F(FileListTest, repositories_inside_follow_their_own_rules) {
    const fs::path root = folder.path(), module = root / "module";
    make_repository(folder, "module/", "m.c");
    make_repository(folder, "top/", "t.c");
    make_repository(folder, "top/clone/", "c.c deep/.gitignore");
    make_repository(folder, "top/clone/deep/inner/", "i.c");
    write(folder, {"plain", "top/clone/new.c", "top/clone/deep/x.o", "top/new.o"});
    folder.write("top/clone/deep/.gitignore", "*.o\n");
    for (const char* name : {" sub", " bare"}) {
        git(root / "top", "submodule add -q " + module.string() + name);
    }
    fs::remove_all(root / "top/bare");
    fs::create_directory(root / "top/bare");
    git(root / "top", "worktree add -q tree");
    git(root / "top", "worktree add -q ../beside");

    const std::vector<std::string> top = reference::words(
        ".gitmodules clone/c.c clone/deep/.gitignore clone/deep/inner/i.c clone/new.c new.o "
        "sub/m.c t.c tree/t.c");
    EXPECT_EQ(paths(root / "top"), top);
    std::vector<std::string> all = {"beside/t.c", "module/m.c", "plain"};
    for (const std::string& path : top) all.push_back("top/" + path);
    EXPECT_EQ(paths(root), all) << "from a directory that is no work tree";
}

TEST_F(FileListTest, a_broken_repository_inside_is_left_out_with_a_warning) {
    EXPECT_TRUE(list_files(folder.path(), 2).files.empty());
    EXPECT_THROW(list_files(folder.path() / "none", 2), std::runtime_error);
    write(folder, {"a", "broken/.git/HEAD", "broken/b"});
    const FileList list = list_files(folder.path(), 2);
    EXPECT_EQ(list.files.size(), 1U);
    EXPECT_THAT(list.warnings, ElementsAre(HasSubstr("broken")));
    EXPECT_THROW(list_files(folder.path() / "broken", 2), std::runtime_error);
}

TEST_F(FileListTest, warns_of_a_directory_that_it_cannot_read) {
    write(folder, {"a"});
    // The path of the last directory is longer than any that the system takes.
    std::string path;
    Descriptor at(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY));
    for (int i = 0; i < 17; ++i) {
        const std::string name(250, 'd');
        path += name + '/';
        ASSERT_EQ(::mkdirat(at.number(), name.c_str(), 0700), 0);
        at = Descriptor(::openat(at.number(), name.c_str(), O_RDONLY | O_DIRECTORY));
    }
    const FileList list = list_files(folder.path(), 2);
    EXPECT_EQ(list.files.size(), 1U);
    EXPECT_THAT(list.warnings,
                ElementsAre("cannot read the directory " + path + ": File name too long"));
}

TEST_F(FileListTest, passes_on_what_each_listing_of_git_warns_of) {
    make_repository(folder, "repository/", "");
    const std::string path = ::getenv("PATH"), log = folder.path() / "log";
    folder.write("git", "#!/bin/sh\ncase \"$*\" in *ls-files*) echo $$ | tee -a " + log +
                            " >&2;; *) PATH=" + path + " exec git \"$@\";; esac\n");
    fs::permissions(folder.path() / "git", fs::perms::owner_all);
    ::setenv("PATH", (folder.path().string() + ":" + path).c_str(), 1);
    const FileList list = list_files(folder.path() / "repository", 2);
    ::setenv("PATH", path.c_str(), 1);
    std::vector<std::string> lines = reference::words(folder.read("log"), '\n');
    EXPECT_GT(lines.size(), 1U);
    lines.pop_back();  // nothing is behind the last line break
    EXPECT_THAT(list.warnings, ::testing::UnorderedElementsAreArray(lines));
}

TEST_F(FileListTest, names_a_path_in_conflict_once) {
    make_repository(folder, "", "both");
    for (const std::string branch : {"left", "right"}) {
        git(folder.path(), "checkout -q -b " + branch + " main");
        folder.write("both", branch);
        git(folder.path(), "commit -q -a -m " + branch);
    }
    EXPECT_THROW(git(folder.path(), "merge left"), std::runtime_error);
    EXPECT_THAT(paths(folder.path()), ElementsAre("both"));
}

// What plain git names in a repository of every shape that decides how its index is read.
TEST(file_list, is_what_git_names_in_repositories_of_other_shapes) {
    for (const std::string shape :
         {"init -q --object-format=sha256 .", "update-index --split-index",
          "sparse-checkout set --cone --sparse-index kept"}) {
        TempFolder folder;
        if (shape.starts_with("init")) git(folder.path(), shape);
        make_repository(folder, "", ".gitignore kept/a.c kept/b.o left/c.c");
        folder.write(".gitignore", "*.o\n");
        if (!shape.starts_with("init")) git(folder.path(), shape);
        write(folder, {"new.c", "kept/new.o"});
        std::vector<std::string> expected = {".gitignore", "kept/a.c", "kept/b.o", "left/c.c",
                                             "new.c"};
        if (shape.starts_with("sparse")) expected.erase(expected.begin() + 3);
        EXPECT_EQ(paths(folder.path()), expected) << shape;
    }
}

/// A configuration in which each key of git's that names a program runs `script`.
std::string config_that_runs(const std::string& script) {
    std::string config =
        "[core]\nrepositoryFormatVersion = 1\n[extensions]\npartialClone = evil\n"
        "[protocol]\nallow = always\n[remote \"evil\"]\npromisor = true\nurl = ext::" +
        script + "\n";
    for (const std::string& key : reference::words(
             "core.fsmonitor core.sshCommand core.gitProxy core.editor core.pager core.askPass "
             "core.alternateRefsCommand credential.helper diff.external diff.x.command "
             "diff.x.textconv filter.x.clean filter.x.smudge filter.x.process merge.x.driver "
             "gpg.program interactive.diffFilter pager.ls-files alias.ls-files "
             "remote.evil.uploadpack remote.evil.vcs uploadpack.packObjectsHook sequence.editor "
             "trailer.x.command")) {
        const std::string_view name = key;
        config += "[" + std::string(name.substr(0, name.find('.')));
        if (const auto inner = name.substr(name.find('.') + 1); inner.find('.') != inner.npos) {
            config += " \"" + std::string(inner.substr(0, inner.find('.'))) + "\"";
        }
        config += "]\n" + std::string(name.substr(name.rfind('.') + 1)) + " = " + script + "\n";
    }
    return config;
}

TEST_F(FileListTest, runs_no_program_that_a_repository_names) {
    const fs::path script = folder.path() / "script", ran = folder.path() / "ran";
    folder.write("script", "#!/bin/sh\necho \"$0 $*\" >> " + ran.string() + "\nexit 1\n");
    fs::permissions(script, fs::perms::owner_all);
    make_repository(folder, "top/", ".gitignore .gitattributes d/.gitignore d/a.c");
    folder.write("top/.gitattributes", "* filter=x diff=x merge=x\n");
    git(folder.path() / "top", "update-index --skip-worktree d/.gitignore");
    fs::remove(folder.path() / "top/d/.gitignore");
    write(folder, {"top/d/new.c"});
    for (const char* prefix : {"bare/", ".git/hooks/"}) {
        for (const char* name : {"HEAD", "config", "objects/x", "refs/x", "post-index-change"}) {
            folder.write(std::string("top/") + prefix + name, "ref: refs/heads/main\n");
        }
    }
    // The blob of d/.gitignore is lacking, as in a partial clone.
    for (const auto& entry : fs::recursive_directory_iterator(folder.path() / "top/.git/objects")) {
        if (entry.is_regular_file()) fs::remove(entry.path());
    }
    for (const char* config : {"top/.git/config", "top/bare/config"}) {
        folder.write(config, config_that_runs(script));
    }
    EXPECT_THAT(paths(folder.path() / "top"), ::testing::IsSupersetOf({"d/a.c", "d/new.c"}));
    paths(folder.path() / "top/bare");
    EXPECT_FALSE(fs::exists(ran)) << folder.read("ran");
    git(folder.path() / "top", "ls-files --others --exclude-standard");
    EXPECT_THAT(folder.read("ran"), HasSubstr("script")) << "the trap works on plain git";
}

TEST_F(FileListTest, another_user_s_repository_is_refused_as_git_refuses_it) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    make_repository(folder, "", "a.c");
    ASSERT_EQ(::chown((folder.path() / ".git").c_str(), 12345, 12345), 0);
    const auto message = [&]() -> std::string {
        try {
            return paths(folder.path()).front();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    EXPECT_THAT(message(), HasSubstr("dubious ownership"));
    ::setenv("SUDO_UID", "12345", 1);
    EXPECT_EQ(message(), "a.c");
    ::unsetenv("SUDO_UID");
    folder.write("config", "[safe]\ndirectory = *\n");
    ::setenv("GIT_CONFIG_GLOBAL", (folder.path() / "config").c_str(), 1);
    EXPECT_EQ(message(), "a.c");
    ::unsetenv("GIT_CONFIG_GLOBAL");
}

TEST_F(FileListTest, follows_the_user_s_configuration_and_is_not_redirected_by_the_environment) {
    make_repository(folder, "here/", "here.c forced.o");
    make_repository(folder, "there/", "there.c");
    write(folder, {"here/skip.o", "here/skip.mine"});
    folder.write("here/.git/info/exclude", "*.o\n");
    folder.write("ignore_mine", "*.mine\n");
    folder.write("config", "[core]\nexcludesFile=" + (folder.path() / "ignore_mine").string());
    ::setenv("GIT_CONFIG_GLOBAL", (folder.path() / "config").c_str(), 1);
    const std::string there = folder.path() / "there";
    const std::pair<const char*, std::string> VARIABLES[] = {
        {"GIT_DIR", there + "/.git"},
        {"GIT_WORK_TREE", there},
        {"GIT_INDEX_FILE", there + "/.git/index"},
        {"GIT_CONFIG_PARAMETERS", "'core.worktree'='" + there + "'"}};
    for (const auto& [name, value] : VARIABLES) {
        ::setenv(name, value.c_str(), 1);
        EXPECT_THAT(paths(folder.path() / "here"), ElementsAre("forced.o", "here.c")) << name;
        ::unsetenv(name);
    }
    fs::create_symlink("here.c", folder.path() / "here/.gitignore");
    EXPECT_THAT(list_files(folder.path() / "here", 2).warnings,
                ElementsAre(HasSubstr(".gitignore")))
        << "what git warns of is passed on";
    ::unsetenv("GIT_CONFIG_GLOBAL");
}

}  // namespace
}  // namespace codetext::indexer
