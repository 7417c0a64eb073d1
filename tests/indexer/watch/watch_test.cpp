// The watcher where the system fails it, where others do harm, and its sense of time.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

#include "indexer/listing/file_list.hpp"
#include "indexer/watch/pace.hpp"
#include "indexer/watch/repositories.hpp"
#include "indexer/watch/request.hpp"
#include "indexer/watch/watched_tree.hpp"
#include "indexer/watch/watcher.hpp"
#include "indexer/watch/watcher_lock.hpp"
#include "storage/temp_index.hpp"
#include "utils/platform.hpp"
#include "utils/process.hpp"

namespace codetext::indexer {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using test_support::TempFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
constexpr auto TRUSTED = schema::Owners::TRUSTED;

bool eventually(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!holds() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(5));
    }
    return holds();
}

/// A watcher in a thread of its own, until the object goes.
class Watching {
  public:
    Watching(const fs::path& root, Inotify::Limits limits) : _root(root) {
        EXPECT_EQ(platform::make_pipe(_stop), 0);
        WatchOptions options;
        options.stop = _stop[0];
        options.limits = limits;
        options.troubled = [this](const std::string& trouble) {
            const std::lock_guard lock(_mutex);
            _troubles += trouble + '\n';
        };
        _thread = std::jthread([this, options] { watch_repository(_root, options); });
    }
    ~Watching() {
        EXPECT_EQ(::write(_stop[1], "", 1), 1);
        _thread.join();
        for (const int end : _stop) ::close(end);
    }
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;

    bool takes_in() const {
        return eventually([this] { return ask_watcher(_root, TRUSTED); });
    }
    std::string troubles() {
        const std::lock_guard lock(_mutex);
        return _troubles;
    }

  private:
    fs::path _root;
    std::array<int, 2> _stop{};
    std::mutex _mutex;
    std::string _troubles;
    std::jthread _thread;
};

std::int64_t files_in(const fs::path& root) {
    return Database(schema::index_path(root), Access::READ_ONLY)
        .fetchone("SELECT count(*) FROM files")
        ->integer(0);
}

TEST(watcher, goes_on_where_the_system_tells_it_too_little) {
    const struct {
        Inotify::Limits limits;
        std::string trouble;
    } CASES[] = {
        {{}, ""},
        {{.events = 0}, "more changed at once than the system tells of"},
        {{.watches = 0}, "fs.inotify.max_user_watches); the index is refreshed every few"},
        {{.watches = 5}, "fs.inotify.max_user_watches); the index is refreshed every few"}};
    for (const auto& [limits, trouble] : CASES) {
        const TempFolder folder;
        folder.write("a/b/c/d/e.c", "e");
        Watching watching(folder.path(), limits);
        ASSERT_TRUE(watching.takes_in());
        for (int i = 1; i < 40; ++i)
            folder.write(std::to_string(i % 7) + "/" + std::to_string(i), "x");
        ASSERT_TRUE(watching.takes_in());
        EXPECT_EQ(files_in(folder.path()), 40) << trouble;
        fs::rename(folder.path() / "1", folder.path() / "a/b/1");
        folder.write("a/b/1/new", "x");
        ASSERT_TRUE(watching.takes_in());
        EXPECT_EQ(files_in(folder.path()), 41) << trouble;
        folder.write("unasked", "x");
        EXPECT_TRUE(eventually([&] { return files_in(folder.path()) == 42; })) << trouble;
        EXPECT_THAT(watching.troubles(), HasSubstr(trouble));
        EXPECT_EQ(watching.troubles().empty(), trouble.empty());
    }
}

TEST(watcher, refuses_while_it_cannot_refresh_the_index_and_then_tries_again) {
    const TempFolder folder;
    folder.write("a.c", "a");
    Watching watching(folder.path(), {});
    ASSERT_TRUE(watching.takes_in());
    const fs::path lock = folder.path() / ".codetext/index/lock";
    fs::remove(lock);
    fs::create_directory(lock);
    folder.write("b.c", "b");
    EXPECT_TRUE(eventually([&] { return !watching.troubles().empty(); }));
    EXPECT_FALSE(ask_watcher(folder.path(), TRUSTED));
    EXPECT_THAT(watching.troubles(), HasSubstr("cannot open " + lock.string()));
    fs::remove(lock);
    EXPECT_TRUE(eventually([&] { return files_in(folder.path()) == 2; }))
        << "without another event";
    EXPECT_TRUE(watching.takes_in());
}

TEST(watcher, touches_nothing_outside_of_its_directory_and_waits_for_nobody) {
    const std::string request = "request-0123456789abcdef0123456789abcdef";
    const struct {
        const char* what;
        std::function<void(const fs::path&, const fs::path&)> make;  // the directory, an outer file
        bool is_refused;
    } CASES[] = {
        {"junk",
         [&](const auto& at, const auto& outer) {
             fs::create_directories(at);
             for (int i = 0; i < 6000; ++i)
                 Descriptor(::creat((at / std::to_string(i)).c_str(), 0600));
             fs::create_symlink(outer, at / request);
             ::mkfifo((at / "request-fifo").c_str(), 0600);
             fs::create_directory(at / ("request-f" + request.substr(9)));
         },
         false},
        {"a link",
         [](const auto& at, const auto& outer) { fs::create_symlink(outer.parent_path(), at); },
         true},
        {"a FIFO", [](const auto& at, const auto&) { ::mkfifo(at.c_str(), 0600); }, true},
        {"a lock that is a FIFO",
         [](const auto& at, const auto&) {
             ::mkfifo((at.parent_path() / "watcher").c_str(), 0600);
         },
         true},
        {"a lock elsewhere",
         [](const auto& at, const auto& outer) {
             fs::create_symlink(outer, at.parent_path() / "watcher");
         },
         true},
        {"a lock of two names",
         [](const auto& at, const auto& outer) {
             fs::create_hard_link(outer, at.parent_path() / "watcher");
         },
         true}};
    for (const auto& [what, make, is_refused] : CASES) {
        const TempFolder folder;
        const fs::path root = folder.path() / "root", outer = folder.path() / "outside/file";
        folder.write("root/a.c", "a");
        folder.write("outside/file", "untouched");
        index_repository(root);
        make(root / ".codetext/index/requests", outer);
        const fs::file_time_type time = fs::last_write_time(outer);
        EXPECT_FALSE(WatcherSight(root, TRUSTED).lives()) << what;
        if (is_refused) {
            EXPECT_ANY_THROW(watch_repository(root, {})) << what;
        } else {
            Watching watching(root, {});
            EXPECT_TRUE(watching.takes_in()) << what;
            folder.write("root/b.c", "b");
            EXPECT_TRUE(watching.takes_in()) << what;
            EXPECT_EQ(files_in(root), 2) << what;
        }
        if (what == std::string("a link")) {
            const WatcherLock deaf(root, TRUSTED);
            EXPECT_THROW(ask_watcher(root, TRUSTED), schema::UnusableIndex);
        }
        EXPECT_EQ(folder.read("outside/file"), "untouched") << what;
        EXPECT_EQ(fs::last_write_time(outer), time) << what;
        EXPECT_EQ(
            std::distance(fs::directory_iterator(outer.parent_path()), fs::directory_iterator()), 1)
            << what;
    }
}

TEST(watched_tree, keeps_track_of_directories_that_move_before_it_hears_of_it) {
    const TempFolder folder;
    folder.write("a/deep/x.c", "x");
    folder.write("b.c", "x");
    Inotify inotify({});
    WatchedTree tree(folder.path(), inotify);
    TreeChanges changes;
    const auto follow = [&] { return tree.follow(list_files(folder.path(), 1).files); };
    const auto is_due = [&] {
        for (const FileEvent& event : inotify.read()) tree.take(event, changes);
        return tree.settle(changes);
    };
    EXPECT_TRUE(follow());
    EXPECT_EQ(tree.size(), 3);
    EXPECT_FALSE(follow()) << "nothing is new";
    EXPECT_TRUE(is_due()) << "the first time";
    EXPECT_FALSE(is_due());
    fs::rename(folder.path() / "a", folder.path() / "c");
    tree.lose_track(changes);
    EXPECT_TRUE(follow()) << "the walk finds it under its new name";
    EXPECT_TRUE(is_due());
    EXPECT_EQ(tree.size(), 3);
    for (const char* made : {"c/deep/y.c", "c/new/z", "c/new/.git/HEAD"}) {
        folder.write(made, "x");
        EXPECT_TRUE(is_due()) << made;
        follow();
        EXPECT_FALSE(is_due()) << made;
    }
    fs::remove_all(folder.path() / "c");
    tree.lose_track(changes);
    follow();
    EXPECT_EQ(tree.size(), 1);
}

TEST(repositories, each_says_what_it_ignores_itself) {
    const TempFolder folder;
    const fs::path top = folder.path(), root = top / "sub/tree";
    for (const fs::path& path : {top, root / "inner"}) run_process({"git", "init", "-q", path}, {});
    folder.write(".gitignore", "build/\n:odd\n");
    folder.write("sub/tree/inner/.gitignore", "out/\n");
    for (const char* path : {"build", "out", "inner/build", "inner/out", ":odd", "inner/:(x)"}) {
        fs::create_directories(root / path);
    }
    Repositories repositories(root);
    repositories.add("inner");
    EXPECT_THAT(repositories.without_ignored(
                    {"out", "build", "inner/build", "inner/out", "inner", ":odd", "inner/:(x)"}),
                ElementsAre("inner", "inner/:(x)", "inner/build", "out"));
    EXPECT_THAT(repositories.places(),
                ::testing::IsSupersetOf(
                    {top / ".git", top / ".git/info", root / "inner/.git", top, top / "sub"}));
    EXPECT_FALSE(repositories.is_git_at_work());
    folder.write("sub/tree/inner/.git/index.lock", "");
    EXPECT_TRUE(repositories.is_git_at_work());
    fs::last_write_time(root / "inner/.git/index.lock",
                        fs::file_time_type::clock::now() - std::chrono::seconds(31));
    EXPECT_FALSE(repositories.is_git_at_work()) << "it was left behind";
}

TEST(pace, batches_changes_and_grows_pauses) {
    const Pace::Time start{};
    const auto at = [&](int ms) { return start + milliseconds(ms); };
    Pace pace;
    EXPECT_EQ(pace.due(), std::nullopt);
    int now = 0;
    for (; now < 1000; now += 30) {
        pace.changed(at(now));
        ASSERT_EQ(pace.due(), at(std::min(now + 60, 400)));
    }
    for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
        pace.failed(at(now));
        pace.changed(at(now + 1));
        ASSERT_EQ(pace.due(), at(now + pause * 1000)) << "events hasten no retry";
    }
    pace.refreshed(at(now), milliseconds(150));
    EXPECT_EQ(pace.due(), std::nullopt);
    pace.failed(at(now));
    EXPECT_EQ(pace.due(), at(now + 1000));
    pace.polls();
    for (const auto& [cost, interval] : {std::pair(1, 2'000), {150, 3'000}, {9'000, 60'000}}) {
        pace.refreshed(at(now), milliseconds(cost));
        EXPECT_EQ(pace.due(), at(now + interval));
    }
}

}  // namespace
}  // namespace codetext::indexer
