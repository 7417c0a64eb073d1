// One thread does all. It waits for events and sorts them into changes. When a batch of changes is
// complete, or a search asks, it refreshes the index. What changes during a refresh makes events,
// and so the next batch. Directories are watched before the refresh that takes in their files; when
// the listing of a refresh names directories that were not watched, another refresh follows.

#include "indexer/watch/watcher.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <array>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "indexer/watch/pace.hpp"
#include "indexer/watch/request.hpp"
#include "indexer/watch/watched_tree.hpp"
#include "indexer/watch/watcher_lock.hpp"
#include "utils/open_below.hpp"

namespace codetext::indexer {
namespace {

using Clock = Pace::Clock;
using std::chrono::milliseconds;

/// The watcher was told to end, in the middle of something.
struct Stopped {};

/// What the watcher watches is gone: no later try can help.
class Gone : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Rounds up: a wait must not end before its time, only to begin again.
int milliseconds_until(Clock::time_point time) {
    const auto left = std::chrono::ceil<milliseconds>(time - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
}

class Watcher {
  public:
    Watcher(const std::filesystem::path& root, const WatchOptions& options)
        : _root(root),
          _options(options),
          _lock(root, options.owners),
          _requests(root, options.owners) {}

    void run() {
        try {
            _begin();
            while (true) _step();
        } catch (const Stopped&) {
        }
    }

  private:
    void _begin() {
        _start_watching();
        _requests.add_all();  // those of searches that have just come, or of ones that were killed
        _lock.set_busy(true);
        _refresh();
        _end_refresh(true);
        if (_tree && _options.watching) _options.watching(_tree->size());
    }

    void _step() {
        const bool is_due = _wait();
        _read_events();
        _check_places();
        if (!_requests.empty() || (is_due && !_is_git_at_work())) _take_in();
    }

    /// Waits until something happens. Returns whether a refresh is due.
    bool _wait() {
        constexpr milliseconds GIT_PAUSE(20);
        const std::optional<Pace::Time> due = _pace.due();
        if (!due) {
            _poll(-1);
        } else if (Clock::now() < *due) {
            _poll(milliseconds_until(*due));
        } else {
            _poll(_is_git_at_work() ? static_cast<int>(GIT_PAUSE.count()) : 0);
        }
        const std::optional<Pace::Time> now_due = _pace.due();
        return now_due && *now_due <= Clock::now();
    }

    /// Waits for events, at most for `timeout_ms` (-1: for ever). Throws Stopped.
    void _poll(int timeout_ms) const {
        std::array<struct pollfd, 2> waited = {
            {{_options.stop, POLLIN, 0}, {_inotify ? _inotify->descriptor() : -1, POLLIN, 0}}};
        if (::poll(waited.data(), waited.size(), timeout_ms) == -1 && errno != EINTR) {
            throw_system_error("cannot wait for events");
        }
        if (waited[0].revents != 0) throw Stopped();
    }

    bool _is_git_at_work() const { return _tree && _tree->is_git_at_work(); }

    void _read_events() {
        if (!_inotify) return;
        for (const FileEvent& event : _inotify->read()) {
            if (event.kind == FileEvent::Kind::OVERFLOW) {
                _requests.add_all();
                _report("more changed at once than the system tells of: refreshing everything");
            } else if (event.watch == _request_watch) {
                _requests.add(event.name);
            }
            if (_tree) _tree->take(event, _changes);
        }
        const bool has_changes =
            _changes.is_certain || !_changes.files.empty() || !_changes.directories.empty();
        if (has_changes) _pace.changed(Clock::now());
    }

    void _check_places() const {
        struct stat status {};
        if (::stat(_root.c_str(), &status) == -1 || !S_ISDIR(status.st_mode)) {
            throw Gone(_root.string() + " is gone");
        }
        if (!_lock.is_in_place()) throw Gone("the index of " + _root.string() + " was removed");
    }

    /// Brings the index up to date and answers the requests. A failure is reported, and tried again
    /// later.
    void _take_in() {
        _requests.acknowledge();
        _lock.set_busy(true);
        try {
            if (!_tree || _tree->settle(_changes)) _refresh();
            _end_refresh(true);
        } catch (const CannotWatch& error) {
            _poll_instead(error);
            _end_refresh(false);
        } catch (const std::exception& error) {
            _poll(0);  // a signal that ends us may have ended git, too
            _check_places();
            _report(error.what());
            if (_tree) _tree->lose_track(_changes);
            _pace.failed(Clock::now());
            _end_refresh(false);
        }
    }

    void _end_refresh(bool is_up_to_date) {
        _lock.set_busy(false);
        _requests.answer(is_up_to_date);
        if (is_up_to_date) _pace.refreshed(Clock::now(), _cost);
    }

    /// Runs the indexer until all directories that its listing names were watched before it began.
    void _refresh() {
        constexpr int MOST_ROUNDS = 5;
        for (int round = 0; round < MOST_ROUNDS; ++round) {
            _changes.is_certain = false;
            if (!_run_indexer()) return;
        }
        // Directories come faster than they can be watched. The next batch goes on.
        _changes.is_certain = true;
    }

    /// Returns whether directories were watched only after the listing.
    bool _run_indexer() {
        bool is_late = false;
        IndexOptions options;
        options.lock.owners = _options.owners;
        options.lock.work = Work::WATCH;
        options.lock.wait = [this](const IndexBusy&) {
            constexpr int PAUSE_MS = 20;
            _poll_stop(PAUSE_MS);
            return true;
        };
        options.progress = [this](std::int64_t done, std::int64_t total) {
            constexpr std::int64_t SOME = 16;
            if (done % SOME == 0) _poll_stop();
            if (_options.progress) _options.progress(done, total);
        };
        options.listed = [&](const std::vector<FileEntry>& files) { is_late = _follow(files); };
        const Clock::time_point begin = Clock::now();
        const IndexReport report = index_repository(_root, options);
        _cost = Clock::now() - begin;
        if (_options.refreshed) _options.refreshed(report, _cost);
        return is_late;
    }

    bool _follow(const std::vector<FileEntry>& files) {
        if (!_tree) return false;
        try {
            return _tree->follow(files);
        } catch (const CannotWatch& error) {
            _poll_instead(error);
            return false;
        }
    }

    void _poll_stop(int timeout_ms = 0) const {
        struct pollfd stop {
            _options.stop, POLLIN, 0
        };
        if (::poll(&stop, 1, timeout_ms) > 0) throw Stopped();
    }

    void _start_watching() {
        try {
            _watch_index(_options.limits);
            _tree.emplace(_root, *_inotify);
        } catch (const CannotWatch& error) {
            _poll_instead(error);
        }
    }

    /// Watches what others do with the index: searches leave requests, somebody may remove it.
    void _watch_index(Inotify::Limits limits) {
        _inotify = std::make_unique<Inotify>(limits);
        _request_watch = _inotify->watch(_requests.directory(), Inotify::Interest::NEW);
        const Descriptor outer = open_below(open_root(_root), schema::INDEX_DIRECTORY,
                                            O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (outer) _inotify->watch(outer, Inotify::Interest::OLD);
    }

    /// Gives back the watches of the tree. Those of the index are few, and tried again.
    void _poll_instead(const CannotWatch& error) {
        _report(std::string(error.what()) + "; the index is refreshed every few seconds instead");
        _tree.reset();
        _inotify.reset();
        _request_watch = -1;
        _pace.polls();
        try {
            _watch_index({});
            _requests.add_all();
        } catch (const CannotWatch&) {  // searches refresh the index themselves
            _inotify.reset();
        }
    }

    void _report(const std::string& trouble) const {
        if (_options.troubled) _options.troubled(trouble);
    }

    std::filesystem::path _root;
    const WatchOptions& _options;
    WatcherLock _lock;
    Requests _requests;
    std::unique_ptr<Inotify> _inotify;  ///< none where the system has none
    std::optional<WatchedTree> _tree;   ///< none while polling
    int _request_watch = -1;
    TreeChanges _changes;
    Pace _pace;
    Clock::duration _cost{};
};

}  // namespace

void watch_repository(const std::filesystem::path& root, const WatchOptions& options) {
    Watcher(root, options).run();
}

}  // namespace codetext::indexer
