// `codetext watch` and `search code --fresh`, as their users run them.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "cli/program.hpp"
#include "indexer/listing/file_list.hpp"
#include "indexer/watch/request.hpp"
#include "indexer/watch/watcher_lock.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

/// Waits until `holds` returns true, for a minute at most.
bool eventually(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// A running `codetext watch`. It is killed with the object unless it has ended.
class Watch {
  public:
    Watch(const fs::path& root, std::string output) : _output(std::move(output)) {
        _process = ::fork();
        if (_process != 0) return;
        for (const int target : {STDOUT_FILENO, STDERR_FILENO}) {
            ::dup2(::open(_output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), target);
        }
        ::execl(CODETEXT_PROGRAM, CODETEXT_PROGRAM, "watch", root.c_str(), nullptr);
        ::_exit(127);
    }
    ~Watch() {
        if (_process > 0) end(SIGKILL);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Its exit status, 128 + N for signal N, when it has ended; -1 before.
    int status() {
        int status = 0;
        if (_process > 0 && ::waitpid(_process, &status, WNOHANG) == _process) {
            _process = -1;
            _status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return _status;
    }
    int end(int signal = 0) {
        if (signal != 0) ::kill(_process, signal);
        eventually([&] { return status() != -1; });
        return _status;
    }
    std::string said() const { return run_command({"cat", _output}, "/").output; }

  private:
    std::string _output;
    pid_t _process = -1;
    int _status = -1;
};

/// A tree that changes at random, and beside it what does not belong to it. Every file has one
/// line.
class Play {
  public:
    const TempFolder folder;
    const fs::path root = folder.path() / "root", outside = folder.path() / "outside";

    explicit Play(unsigned seed, bool has_git) : _random(seed) {
        folder.write("outside/secret/s.c", "needle secret\n");
        fs::create_directory(root);
        if (!has_git) return;
        git("init -q");
        for (int i = 0; i < 300; ++i)
            write("many/" + std::to_string(i % 20) + "/" + std::to_string(i), i);
        git("add -A");
        git("commit -qm first");
        git("checkout -qb side");
        for (int i = 0; i < 300; ++i)
            write("more/" + std::to_string(i % 30) + "/" + std::to_string(i), i);
        git("rm -rqf many");
        git("add -A");
        git("commit -qm second");
    }

    void git(const std::string& arguments) const {
        run_command(
            words("git -c user.name=x -c user.email=x@y -c init.defaultBranch=main " + arguments),
            root);
    }

    /// Changes something; returns what.
    std::string change() {
        const std::string at = _directory(),
                          name = _one_of({at, at, ""}) + _one_of({"a.c", "b.o", "c d"});
        std::error_code ignored;
        switch (_number(16)) {
            case 0:
                return fs::remove(root / name, ignored), "remove " + name;
            case 1:
                return fs::remove_all(root / at, ignored), "remove " + at;
            case 2:
            case 3: {
                const std::string to = "moved" + std::to_string(_number(3));
                return fs::rename(root / at, root / to, ignored), "move " + at + " to " + to;
            }
            case 4:
                return fs::rename(root / at, outside / "taken", ignored), "move out " + at;
            case 5:
                return fs::rename(outside / "taken", root / at, ignored), "move in " + at;
            case 6: {
                const std::string rules = _one_of({"", "build/\n*.o\n", "a\n", "moved1/\n"});
                return folder.write("root/" + _one_of({"", "a/"}) + ".gitignore", rules),
                       "rules " + rules;
            }
            case 7:
                return git("checkout -qf " + _one_of({"main", "side"})), "checkout";
            case 8:
                return git(_one_of({"add -A", "add -f " + at})), "add " + at;
            case 9:
                return git("rm -rq --cached ."), "track none";
            case 10:
                return git("init -q " + at), "init " + at;
            case 11:
                return fs::remove_all(root / at / ".git", ignored), "no git in " + at;
            case 12:
                return fs::create_directory_symlink(outside / "secret",
                                                    root / ("link" + std::to_string(_number(3))),
                                                    ignored),
                       "link";
            default:
                return write(name, _version++), "write " + name;
        }
    }

    /// What a search for `needle` must find now.
    std::string expected() const {
        std::string lines;
        for (const indexer::FileEntry& file : indexer::list_files(root, 1).files) {
            const std::string text = folder.read("root/" + file.path);
            if (text.starts_with("needle")) lines += file.path + ":1:" + text;
        }
        return lines;
    }

    void write(const std::string& name, int version) const {
        folder.write("root/" + name, "needle " + std::to_string(version) + "\n");
    }

  private:
    std::size_t _number(std::size_t below) { return _random() % below; }
    std::string _one_of(const std::vector<std::string>& texts) {
        return texts[_number(texts.size())];
    }
    std::string _directory() {
        return _one_of({"a/", "a/b/", "a/b/c/", "build/", "build/deep/", "moved0/", "moved1/b/",
                        "new" + std::to_string(_number(4)) + "/x/y/"});
    }

    std::mt19937 _random;
    int _version = 1000;
};

/// Whether the watcher itself takes all in, soon.
bool ask(const fs::path& root) {
    return eventually([&] { return indexer::ask_watcher(root, schema::Owners::TRUSTED); });
}

TEST(watch, takes_in_whatever_happens_to_a_tree) {
    const char* wanted = std::getenv("CODETEXT_WATCH_SEEDS");
    const unsigned seeds = wanted == nullptr ? 2 : static_cast<unsigned>(std::atoi(wanted));
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        Play play(seed, seed % 2 == 1);
        Watch watch(play.root, play.folder.path() / "said");
        for (int i = 0; i < 50; ++i) {
            std::string done;
            for (int few = 0; few <= i % 3; ++few) done += play.change() + "; ";
            SCOPED_TRACE(std::to_string(seed) + ", " + std::to_string(i) + ": " + done);
            ASSERT_TRUE(ask(play.root)) << watch.said();
            ASSERT_EQ(search({"needle", "--source", "index"}, play.root).output, play.expected());
        }
        // Without being asked, too.
        fs::create_directories(play.root / "last/of");
        play.write("last/of/all.c", -1);
        EXPECT_TRUE(eventually([&] { return search({"needle -1"}, play.root).status == 0; }));
        EXPECT_EQ(watch.end(SIGTERM), 0) << watch.said();
        EXPECT_EQ(run({"verify"}, play.root).status, 0);
    }
}

TEST(watch, ignored_files_and_its_own_index_do_not_keep_it_busy) {
    Play play(1, true);
    play.folder.write("root/.gitignore", "build/\nempty/\n*.o\n");
    fs::create_directories(play.root / "empty/deep");
    play.write("build/x.c", 1);
    Watch watch(play.root, play.folder.path() / "said");
    ASSERT_TRUE(ask(play.root));
    // An index that is held busy refuses every run. The watcher must not need one.
    const Outcome held = run_command(
        {"flock", ".codetext/index/lock", "sh", "-c",
         "for i in 1 2 3 4 5; do echo needle >build/$i.c; echo >many.o; mkdir -p build/$i; done;"
         "timeout 30 " CODETEXT_PROGRAM " search code --fresh needle"},
        play.root);
    EXPECT_EQ(held.output, play.expected());
    EXPECT_EQ(held.status, 0) << held.errors;
    EXPECT_THAT(watch.said(), ::testing::Not(HasSubstr(" ms\n"))) << "no batch found a change";

    play.folder.write("root/.gitignore", "*.o\n");
    ASSERT_TRUE(ask(play.root));
    play.write("empty/deep/x.c", 1);
    play.write("many.o", 2);
    ASSERT_TRUE(ask(play.root));
    play.git("add -f many.o");
    ASSERT_TRUE(ask(play.root));
    EXPECT_EQ(search({"needle"}, play.root).output, play.expected());
    EXPECT_EQ(watch.end(SIGINT), 0);
}

TEST(watch, waits_for_another_run_and_ends_cleanly_in_the_middle) {
    const Play play(1, false);
    play.write("a.c", 1);
    ASSERT_EQ(run({"index"}, play.root).status, 0);
    const Descriptor lock(::open((play.root / ".codetext/index/lock").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.number(), LOCK_EX), 0);
    Watch first(play.root, play.folder.path() / "first");
    const auto lives = [&] {
        return indexer::WatcherSight(play.root, schema::Owners::TRUSTED).lives();
    };
    ASSERT_TRUE(eventually(lives));
    EXPECT_EQ(first.end(SIGTERM), 0) << "it ends while it waits";
    Watch second(play.root, play.folder.path() / "second");
    ASSERT_TRUE(eventually(lives));
    ASSERT_EQ(::flock(lock.number(), LOCK_UN), 0);
    EXPECT_TRUE(ask(play.root));
    EXPECT_THAT(run({"status"}, play.root).output, HasSubstr("\nwatched         by process "));
    EXPECT_EQ(second.end(SIGTERM), 0);
    EXPECT_THAT(second.said(), HasSubstr("watching " + play.root.string()));
}

TEST(watch, ends_with_a_message_where_it_cannot_go_on) {
    const struct {
        const char *what, *command, *message;
    } CASES[] = {{"another watcher", "\"$0\" watch", "another codetext watch is running on"},
                 {"an index in use", "\"$0\" clean", "codetext watch is running on"},
                 {"no root", "mv ../root ../gone", " is gone"},
                 {"no index", "rm -r .codetext", "was removed"},
                 {"another index", "mv .codetext ../old; \"$0\" index", "was removed"}};
    for (const auto& [what, command, message] : CASES) {
        const Play play(1, false);
        play.write("a.c", 1);
        Watch watch(play.root, play.folder.path() / "said");
        ASSERT_TRUE(ask(play.root)) << watch.said();
        const Outcome outcome = run_command({"sh", "-c", command, CODETEXT_PROGRAM}, play.root);
        if (std::string_view(command).find("$0\" index") == std::string_view::npos &&
            outcome.status == 2) {
            EXPECT_THAT(outcome.errors, HasSubstr(message));
            EXPECT_TRUE(ask(play.root)) << what << ": the first one lives on";
            continue;
        }
        EXPECT_EQ(watch.end(), 2) << what;
        EXPECT_THAT(watch.said(), HasSubstr(message));
    }
}

TEST(search_fresh, refreshes_the_index_itself_or_says_why_it_cannot) {
    const Play play(1, false);
    play.write("a.c", 1);
    const Outcome none = search({"--fresh", "needle"}, play.root);
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.errors, HasSubstr("run `codetext index` first"));
    ASSERT_EQ(run({"index"}, play.root).status, 0);
    play.write("b.c", 2);
    EXPECT_EQ(search({"needle"}, play.root).output, "a.c:1:needle 1\n");
    EXPECT_EQ(search({"needle", "--fresh"}, play.root).output, play.expected());
    {
        // A watcher that was killed, or stopped for good, leaves the search to itself.
        Watch watch(play.root, play.folder.path() / "said");
        ASSERT_TRUE(ask(play.root));
        watch.end(SIGKILL);
        play.write("c.c", 3);
        EXPECT_EQ(search({"needle", "--fresh"}, play.root).output, play.expected());
        const indexer::WatcherLock deaf(play.root, schema::Owners::TRUSTED);
        play.write("d.c", 4);
        EXPECT_EQ(search({"needle", "--fresh"}, play.root).output, play.expected());
        EXPECT_TRUE(fs::is_empty(play.root / ".codetext/index/requests"));
    }
    fs::remove(play.root / ".codetext/index/lock");
    fs::create_directory(play.root / ".codetext/index/lock");
    const Outcome blocked = search({"--fresh", "needle"}, play.root);
    EXPECT_EQ(blocked.status, 2);
    EXPECT_THAT(blocked.errors,
                HasSubstr("codetext: --fresh: the index cannot be refreshed: cannot open"));
    EXPECT_EQ(blocked.output, "");
}

}  // namespace
}  // namespace codetext::test
